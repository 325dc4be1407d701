#include "foundation/general.h"
#include "foundation/log.h"
#include "gui/report_window.h"
#include "gui/settings_window.h"
#include "order/report_log.h"
#include "window_fixture.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QRadioButton>
#include <QSet>
#include <QTimer>

namespace {

// Every control can be reached by its accessible name (its caption, its label or its object
// name) and from the keyboard (it is in the window's tab chain).
void expectAccessibleNames(QWidget* window) {
    QSet<QWidget*> chain;
    for (QWidget* w = window->nextInFocusChain(); w && w != window; w = w->nextInFocusChain())
        chain.insert(w);
    for (QWidget* w : window->findChildren<QWidget*>()) {
        if (w->objectName().isEmpty() || w->objectName().startsWith("qt_") ||
            !w->isVisibleTo(window) || w->window() != window)
            continue;
        auto* label = qobject_cast<QLabel*>(w);
        const bool link = label && label->text().contains("<a ");
        if (!qobject_cast<QAbstractButton*>(w) && !qobject_cast<QLineEdit*>(w) &&
            !qobject_cast<QAbstractScrollArea*>(w) && !link)
            continue;
        QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(w);
        ASSERT_NE(iface, nullptr);
        EXPECT_FALSE(iface->text(QAccessible::Name).isEmpty()) << w->objectName().toStdString();
        if (w->isEnabled()) {
            EXPECT_TRUE(chain.contains(w) && (w->focusPolicy() & Qt::TabFocus))
                << w->objectName().toStdString();
        }
    }
}

// Answers every message box that opens while it lives: keeps its text and closes it.
struct BoxAnswerer {
    QStringList texts;
    QTimer timer;
    BoxAnswerer() {
        QObject::connect(&timer, &QTimer::timeout, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                texts << box->text();
                box->accept();
            }
        });
        timer.start(10);
    }
};

const QString kServices = QStringLiteral("CompanyServicesHost");

using Windows = WindowTest;

TEST_F(Windows, VersionCheckAtStartUp) {
    // The version file's answer (nullptr: the server refuses) and whether a reminder shows;
    // the reading of the answer itself has its own table.
    const std::pair<const char*, bool> rows[] = {
        {"3.0.373", true}, {"3.0.372", false}, {nullptr, false}};
    for (const auto& [answer, reminds] : rows) {
        if (answer)
            write_file(samples + "/bqdver.txt", answer);
        sim->set_fault(kServices, answer ? Simulator::Fault::None : Simulator::Fault::Refused);
        Form1 f(shell, [](int) {});
        BoxAnswerer boxes;
        QElapsedTimer t;
        t.start();
        EXPECT_FALSE(f.load(""));
        EXPECT_LT(t.elapsed(), 3000);
        EXPECT_EQ(boxes.texts.size(), reminds ? 1 : 0) << (answer ? answer : "refused");
        f.context().Inet2[0].manager()->clearConnectionCache();
    }
    EXPECT_EQ(sim->requests(kServices), std::vector<std::string>(2, "/bqdver.txt"));
}

TEST_F(Windows, ImportReadsTheFileAsTheChosenFilterSays) {
    const QString file = test_root() + "/list.rtf", huge = test_root() + "/huge.txt";
    write_file(file, "EP1234567,EP7654321\r\n");
    QFile big(huge);
    ASSERT_TRUE(big.open(QIODevice::WriteOnly) && big.resize(qint64(100) << 20));
    form->show();
    form->setText1("KEEP");
    auto choose = [&](const QString& path, int filter) { // filter 0: cancel
        flushDeletes();
        action("importw")->trigger();
        auto* dialog = form->findChild<QFileDialog*>("importDialog");
        ASSERT_TRUE(dialog && dialog->windowModality() == Qt::WindowModal);
        if (filter == 0)
            return dialog->reject();
        dialog->selectNameFilter(dialog->nameFilters().at(filter - 1));
        dialog->selectFile(path);
        static_cast<QDialog*>(dialog)->accept();
    };
    // Cancelled, an .rtf without CODEN: records, a file too large: the list stays. The .rtf
    // read as comma-separated text gives its numbers.
    for (auto [path, filter] : {std::pair{file, 0}, {file, 1}, {huge, 5}}) {
        choose(path, filter);
        EXPECT_EQ(form->text1(), "KEEP") << filter;
    }
    EXPECT_EQ(form->status(), "Not imported: the file is larger than 4 MB");
    choose(file, 3);
    EXPECT_EQ(form->text1(), "EP1234567\r\nEP7654321\r\n");
    flushDeletes();
    EXPECT_EQ(form->findChild<QFileDialog*>(), nullptr);
}

TEST_F(Windows, FamilySearchRunsBesideAnOrder) {
    set_settings({{"CustomerNumber", "4711"}, {"CustomerCode", "93"}});
    form->setOrderRunning(true);
    child<QLineEdit>(form.get(), "Text3")->setText("WO 01/12345");
    form->setText2("A/B 1.2");
    child<QPushButton>(form.get(), "Command2")->click();
    const QString page = pdf + "/AB_12/WO0112345.htm";
    EXPECT_EQ(shell.opened, QStringList({page}));
    EXPECT_TRUE(read_file(page).contains("<td>EP1200000 A1</td>"));
    EXPECT_EQ(sim->requests(kServices).back(),
              "/Desktop_BQ/famlegalmulti.asp?PN=WO0112345&u=4711&Kk=93");

    // Return in Text3 searches too; a service that is down leaves the offline page.
    child<QLineEdit>(form.get(), "Text3")->setText("WO 01/12345");
    sim->set_fault(kServices, Simulator::Fault::Refused);
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(child<QLineEdit>(form.get(), "Text3"), &enter);
    EXPECT_TRUE(read_file(page).contains("is offline!!"));
    EXPECT_EQ(shell.opened.size(), 2);
}

TEST_F(Windows, EquivalentsArePastedIntoTheList) {
    form->show();
    form->setOrderRunning(true);
    action("fmam")->trigger(); // not during an order
    EXPECT_EQ(window("fexplorer"), nullptr);
    form->setOrderRunning(false);
    form->setText1("EP9\r\n\r\n");
    action("fmam")->trigger();
    auto* fexplorer = window<QDialog>("fexplorer");
    ASSERT_NE(fexplorer, nullptr);
    EXPECT_FALSE(form->isVisible());
    auto* pn = child<QLineEdit>(fexplorer, "pn");
    auto* lookup = child<QPushButton>(fexplorer, "Command1");
    auto* list = child<QListWidget>(fexplorer, "List1");
    auto* paste = child<QPushButton>(fexplorer, "ppaste");

    struct Row {
        const char* number;
        Simulator::Fault fault;
        const char* message;
    } rows[] = {{"  ", Simulator::Fault::None, "Please enter a patent number"},
                {"EP1000001", Simulator::Fault::Refused, "Error connecting to the server"}};
    for (const Row& r : rows) {
        BoxAnswerer boxes;
        sim->set_fault(kServices, r.fault);
        pn->setText(r.number);
        lookup->click();
        EXPECT_EQ(boxes.texts, QStringList({r.message}));
        EXPECT_EQ(list->count(), 0);
        EXPECT_FALSE(paste->isVisibleTo(fexplorer));
    }
    sim->set_fault(kServices, Simulator::Fault::None);
    pn->setText(" EP1000001 ");
    lookup->click();
    ASSERT_EQ(list->count(), 4);
    EXPECT_TRUE(paste->isVisibleTo(fexplorer));
    EXPECT_EQ(sim->requests(kServices).back(), "/desktop_bq/ti.asp?pn=EP1000001");
    list->item(0)->setCheckState(Qt::Checked);
    list->item(2)->setCheckState(Qt::Checked);
    paste->click();
    flushDeletes();
    EXPECT_EQ(form->text1(), "EP9\r\nEP1000001\r\nJP2001123456\r\n");
    EXPECT_EQ(window("fexplorer"), nullptr);
    EXPECT_TRUE(form->isVisible());

    // Closed while the service is slow: the window waits for the dropped request, then goes.
    sim->options().slowMs = 2000;
    sim->set_fault(kServices, Simulator::Fault::Slow);
    action("fmam")->trigger();
    fexplorer = window<QDialog>("fexplorer");
    child<QLineEdit>(fexplorer, "pn")->setText("EP1000001");
    QTimer::singleShot(100, [&] { child<QPushButton>(fexplorer, "CancelButton")->click(); });
    QElapsedTimer t;
    t.start();
    child<QPushButton>(fexplorer, "Command1")->click();
    EXPECT_LT(t.elapsed(), 1500);
    flushDeletes();
    EXPECT_EQ(window("fexplorer"), nullptr);
    EXPECT_TRUE(form->isVisible());
}

TEST_F(Windows, HelpMailAndUpdate) {
    form->show();
    action("mhelp")->trigger();
    EXPECT_TRUE(read_file(application_folder() + "help.htm")
                    .contains("'http://" + sim->host("CompanyWebHost").toLatin1() + "/help/'"));
    Q_EMIT child<QLabel>(form.get(), "Label4")->linkActivated("mailto:");
    EXPECT_EQ(shell.opened,
              QStringList({application_folder() + "help.htm", "mailto:support@tarnwell.invalid"}));

    action("huspto")->trigger();
    form->setExecutable("/opt/bq/brightquill");
    action("softupdate")->trigger();
    EXPECT_EQ(shell.started, QStringList({"/opt/bq/bqup5 [/opt/bq/brightquill]"}));
    EXPECT_EQ(endedWith, 0);
    EXPECT_EQ(window("usptoTip"), nullptr);
}

TEST_F(Windows, KeyboardAndNames) {
    form->load("");
    for (QAction* a : form->menuBar()->actions())
        EXPECT_TRUE(a->text().contains('&')) << a->text().toStdString();
    expectAccessibleNames(form.get());
    for (const char* entry : {"huspto", "uespace", "whatnew"})
        action(entry)->trigger();
    Q_EMIT child<QLabel>(form.get(), "Label9")->linkActivated("#"); // What's new once more
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(form->findChildren<QDialog*>("Form2").size(), 1);
    for (const char* name : {"usptoTip", "epooTip", "Form2"}) {
        ASSERT_NE(window(name), nullptr) << name;
        expectAccessibleNames(window(name));
    }
    child<QPushButton>(window("Form2"), "Command1")->click();
    EXPECT_EQ(window("Form2"), nullptr);
    action("fmam")->trigger();
    QWidget* fexplorer = window("fexplorer");
    child<QLineEdit>(fexplorer, "pn")->setText("EP1000001");
    child<QPushButton>(fexplorer, "Command1")->click();
    expectAccessibleNames(fexplorer);
}

TEST_F(Windows, AnOrderLocksTheCommandsAndCancelOrCloseEndIt) {
    form->setExecutable("/opt/bq/brightquill");
    form->setText1("EP1\r\nWO2");
    form->setOrderRunning(true);
    EXPECT_TRUE(child<QPushButton>(form.get(), "cancel")->isVisibleTo(form.get()));
    EXPECT_FALSE(child<QPushButton>(form.get(), "Command1")->isEnabled());
    for (QAction* a : form->menuBar()->actions())
        EXPECT_FALSE(a->isEnabled()) << a->text().toStdString();
    form->close(); // ends at once, without the restart that cancel gives
    EXPECT_EQ(endedWith, 0);
    EXPECT_TRUE(form->context().state.order_cancelled);
    EXPECT_TRUE(shell.started.isEmpty());
    child<QPushButton>(form.get(), "cancel")->click();
    EXPECT_EQ(shell.started, QStringList({"/opt/bq/brightquill [EP1,WO2]"}));
    form->setOrderRunning(false);
    for (QAction* a : form->menuBar()->actions())
        EXPECT_TRUE(a->isEnabled()) << a->text().toStdString();
}

TEST_F(Windows, ReportListsOpensAndPrints) {
    RunContext& ctx = form->context();
    const QString folder = test_root() + "/report dir/";
    QDir().mkpath(folder);
    write_file(folder + "EP1234567.pdf", "%PDF");
    write_file(folder + "WO04012345.pdf", "%PDF");
    write_file(folder + "MTJP2.htm", "<html>");
    ctx.state.report_folder = folder;
    ctx.state.report_text = report_line("EP1234567", "Downloaded (3 Pages )") + "\r\n" +
                            report_line("WO04012345", "Downloaded (7 Pages )") + "\r\n" +
                            report_line("JP2001123456", "Not found (Patent not found)") + "\r\n" +
                            report_line("MTJP2", "Translated") + "\r\n";
    ReportWindow report(ctx, "Case 7");
    ASSERT_EQ(report.list()->count(), 4);
    report.openLine(0);
    report.openLine(2); // not found: nothing opens
    report.openLine(3); // no PDF: the translation's page
    EXPECT_EQ(shell.opened, QStringList({folder + "EP1234567.pdf", folder + "MTJP2.htm"}));
    child<QPushButton>(&report, "Command4")->click(); // check all
    report.list()->item(0)->setCheckState(Qt::Unchecked);
    child<QPushButton>(&report, "Command3")->click(); // print checked
    EXPECT_EQ(shell.printed, QStringList({folder + "WO04012345.pdf"}));
    child<QPushButton>(&report, "Command5")->click(); // uncheck all
    EXPECT_EQ(report.list()->item(1)->checkState(), Qt::Unchecked);
    child<QPushButton>(&report, "Command2")->click();
    EXPECT_EQ(shell.opened.last(), folder);
    expectAccessibleNames(&report);
}

TEST_F(Windows, SettingsDialogShowsAndWritesTheStore) {
    set_settings({{"ACT", "3"},
                  {"PROXY", " proxy.example:3128 "},
                  {"PARPAGEDESKTOP", "10"},
                  {"ADDBOOKMARKS", "0"},
                  {"PROXYUSERID", "u:p@"}});
    form->show();
    form->msetup_Click();
    SettingsDialog* dialog = form->settingsDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_FALSE(form->isVisible()); // the main window waits behind the dialog
    EXPECT_TRUE(child<QRadioButton>(dialog, "Optionproxy")->isChecked());
    EXPECT_EQ(child<QLineEdit>(dialog, "proxy")->text(), "proxy.example:3128");
    EXPECT_TRUE(child<QCheckBox>(dialog, "Check1")->isChecked());
    EXPECT_FALSE(child<QCheckBox>(dialog, "Check2")->isChecked());
    EXPECT_EQ(child<QLineEdit>(dialog, "Text2")->text(), pdf);
    expectAccessibleNames(dialog);

    // Switching to direct access keeps the stored proxy; folders are made one level deep.
    const QString newTemp = test_root() + "/made-by-dialog";
    child<QLineEdit>(dialog, "Text1")->setText(newTemp);
    child<QRadioButton>(dialog, "Optiondirect")->setChecked(true);
    child<QLineEdit>(dialog, "proxy")->setText("");
    child<QCheckBox>(dialog, "Check2")->setChecked(true);
    child<QPushButton>(dialog, "OKButton")->click();
    flushDeletes();
    EXPECT_EQ(form->settingsDialog(), nullptr);
    EXPECT_TRUE(form->isVisible());
    EXPECT_EQ(ReadRegistry(settings_key, "ACT", ""), "2");
    EXPECT_EQ(ReadRegistry(settings_key, "PROXY", ""), "proxy.example:3128");
    EXPECT_EQ(ReadRegistry(settings_key, "TEMPDIR", ""), newTemp);
    EXPECT_EQ(ReadRegistry(settings_key, "ADDBOOKMARKS", ""), "1");
    EXPECT_EQ(ReadRegistry(settings_key, "PARPAGEDESKTOP", ""), "1");
    EXPECT_TRUE(QDir(newTemp).exists());

    // Cancel writes nothing.
    form->msetup_Click();
    child<QLineEdit>(form->settingsDialog(), "Text1")->setText("/elsewhere");
    child<QPushButton>(form->settingsDialog(), "CancelButton")->click();
    flushDeletes();
    EXPECT_EQ(ReadRegistry(settings_key, "TEMPDIR", ""), newTemp);
    EXPECT_TRUE(form->isVisible());

    // The proxy option writes its box even when empty; an unknown ACT chooses no option, and
    // then nothing is written.
    set_settings({{"ACT", "3"}, {"PROXY", "old:1"}});
    SettingsDialog proxy(form->context());
    child<QLineEdit>(&proxy, "proxy")->setText("");
    proxy.OKButton_Click();
    EXPECT_EQ(ReadRegistry(settings_key, "PROXY", "default"), "");
    set_settings({{"ACT", "9"}});
    SettingsDialog unknown(form->context());
    for (const char* o : {"Optiondefault", "Optiondirect", "Optionproxy"})
        EXPECT_FALSE(child<QRadioButton>(&unknown, o)->isChecked()) << o;
    unknown.OKButton_Click();
    EXPECT_EQ(ReadRegistry(settings_key, "ACT", ""), "9"); // no option chosen: nothing written
}

} // namespace
