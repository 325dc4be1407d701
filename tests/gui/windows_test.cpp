#include "foundation/general.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "gui/form1.h"
#include "gui/report_window.h"
#include "gui/settings_window.h"
#include "order/report_log.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>

#include <gtest/gtest.h>

namespace {

template <typename T> T* child(QWidget* w, const char* name) {
    T* c = w->findChild<T*>(QString::fromLatin1(name));
    EXPECT_NE(c, nullptr) << name;
    return c;
}

QString caption(QWidget* w) {
    if (auto* b = qobject_cast<QAbstractButton*>(w))
        return b->text();
    if (auto* l = qobject_cast<QLabel*>(w))
        return l->text();
    return {};
}

void screenshot(QWidget* w, const char* name) {
    w->show();
    QApplication::processEvents();
    const QString file = QStringLiteral(BQ_BINARY_DIR "/screenshots/") + QLatin1String(name);
    QDir().mkpath(QStringLiteral(BQ_BINARY_DIR "/screenshots"));
    ASSERT_TRUE(w->grab().save(file)) << name;
}

// Every control can be reached by its accessible name: its caption, its label or its
// object name.
void expectAccessibleNames(QWidget* window) {
    for (QWidget* w : window->findChildren<QWidget*>()) {
        if (w->objectName().isEmpty() || w->objectName().startsWith("qt_") ||
            !w->isVisibleTo(window))
            continue;
        if (!qobject_cast<QAbstractButton*>(w) && !qobject_cast<QLineEdit*>(w) &&
            !qobject_cast<QPlainTextEdit*>(w) && !qobject_cast<QListWidget*>(w))
            continue;
        QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(w);
        ASSERT_NE(iface, nullptr);
        EXPECT_FALSE(iface->text(QAccessible::Name).isEmpty()) << w->objectName().toStdString();
    }
}

class Windows : public ::testing::Test {
protected:
    void SetUp() override {
        pdf = test_root() + "/gui-pdf";
        set_settings({{"PDFDIR", pdf}, {"TEMPDIR", test_root() + "/gui-tmp"}});
        form = std::make_unique<Form1>(shell, [this](int code) { endedWith = code; });
    }
    QString pdf;
    RecordingShell shell;
    int endedWith = -1;
    std::unique_ptr<Form1> form;
};

TEST_F(Windows, MainWindowHasEveryControlAndMenu) {
    form->load("");
    struct Control {
        const char* name;
        const char* caption;
    } controls[] = {
        {"Command1", "&Order"},
        {"cancel", "Cancel Job"},
        {"Check1", "Use new Espacenet"},
        {"depatis", "Download from Depatisnet"},
        {"fp", " Front page only"},
        {"Command2", "Search INPADOC"},
        {"Label5", "Desktop Edition - Version 3.0"},
    };
    for (const Control& c : controls)
        EXPECT_EQ(caption(child<QWidget>(form.get(), c.name)), QString::fromLatin1(c.caption))
            << c.name;
    EXPECT_EQ(child<QPushButton>(form.get(), "Command1")->toolTip(),
              "Click here to start your order");
    EXPECT_EQ(child<QLineEdit>(form.get(), "Text3")->toolTip(),
              "Please enter a Patent number in Espacenet format");
    EXPECT_TRUE(child<QLabel>(form.get(), "Lversion")->text().startsWith("Version:3.0 Build:"));
    EXPECT_TRUE(child<QLabel>(form.get(), "Lversion")->text().endsWith(" (10/Oct/14)"));
    EXPECT_EQ(form->windowTitle(), " Tarnwell -  Brightquill Desktop");
    EXPECT_FALSE(child<QPushButton>(form.get(), "cancel")->isVisibleTo(form.get()));

    QStringList menus;
    for (QAction* a : form->menuBar()->actions()) {
        menus << a->objectName() + "=" + a->text();
        if (a->menu())
            for (QAction* s : a->menu()->actions())
                menus << "  " + (s->isSeparator() ? QStringLiteral("-")
                                                  : s->objectName() + "=" + s->text());
    }
    EXPECT_EQ(menus,
              QStringList({"=&File", "  msetup=&Setup", "  softupdate=&Update software",
                           "  vlog=&View log", "  -", "  mexit=E&xit", "meed=&Explore downloaded",
                           "importw=&Import", "=&Tips", "  uespace=E&spacenet tips",
                           "  huspto=&USPTO tips", "  whatnew=What's &new",
                           "fmam=E&quivalent-lookup", "mhelp=&Help"}));
    expectAccessibleNames(form.get());
    screenshot(form.get(), "Form1.png");
}

TEST_F(Windows, TextBoxesSpeakCrLf) {
    form->setText1("EP1\r\nEP2");
    EXPECT_EQ(child<QPlainTextEdit>(form.get(), "Text1")->toPlainText(), "EP1\nEP2");
    child<QPlainTextEdit>(form.get(), "Text1")->setPlainText("a\nb\n");
    EXPECT_EQ(form->text1(), "a\r\nb\r\n");
}

TEST_F(Windows, RunningOrderDisablesCommandsAndShowsCancel) {
    form->setOrderRunning(true);
    EXPECT_TRUE(child<QPushButton>(form.get(), "cancel")->isVisibleTo(form.get()));
    EXPECT_FALSE(child<QPushButton>(form.get(), "Command1")->isEnabled());
    EXPECT_TRUE(child<QPushButton>(form.get(), "Command2")->isEnabled());
    EXPECT_TRUE(child<QCheckBox>(form.get(), "fp")->isEnabled());
    for (QAction* a : form->menuBar()->actions())
        EXPECT_FALSE(a->isEnabled()) << a->text().toStdString();
    form->setOrderRunning(false);
    for (QAction* a : form->menuBar()->actions())
        EXPECT_TRUE(a->isEnabled()) << a->text().toStdString();
}

TEST_F(Windows, CloseDuringAnOrderEndsAtOnceWithoutRestart) {
    form->setOrderRunning(true);
    form->close();
    EXPECT_EQ(endedWith, 0);
    EXPECT_TRUE(form->context().state.order_cancelled);
    EXPECT_TRUE(shell.started.isEmpty());
}

TEST_F(Windows, CancelStartsTheProgramAgainWithTheList) {
    form->setExecutable("/opt/bq/brightquill");
    form->setText1("EP1\r\nWO2");
    form->setText2("Case 7");
    form->setOrderRunning(true);
    child<QPushButton>(form.get(), "cancel")->click();
    EXPECT_EQ(shell.started, QStringList({"/opt/bq/brightquill [EP1,WO2]"}));
    EXPECT_EQ(endedWith, 0);
}

TEST_F(Windows, ReportListsOpensAndPrints) {
    RunContext& ctx = form->context();
    const QString folder = test_root() + "/report dir/";
    QDir().mkpath(folder);
    write_file(folder + "EP1234567.pdf", "%PDF");
    write_file(folder + "WO04012345.pdf", "%PDF");
    ctx.state.report_folder = folder;
    ctx.state.report_text = report_line("EP1234567", "Downloaded (3 Pages )") + "\r\n" +
                            report_line("WO04012345", "Downloaded (7 Pages )") + "\r\n" +
                            report_line("JP2001123456", "Not found (Patent not found)") + "\r\n";
    ReportWindow report(ctx, "Case 7");
    EXPECT_EQ(report.windowTitle(), "Brightquill - Download Report");
    EXPECT_TRUE(child<QLabel>(&report, "Label2")->text().startsWith("Ref: Case 7   Date: "));
    ASSERT_EQ(report.list()->count(), 3);
    report.openLine(0);
    report.openLine(2); // not found: nothing opens
    EXPECT_EQ(shell.opened, QStringList({folder + "EP1234567.pdf"}));
    child<QPushButton>(&report, "Command4")->click(); // check all
    report.list()->item(0)->setCheckState(Qt::Unchecked);
    child<QPushButton>(&report, "Command3")->click(); // print checked
    EXPECT_EQ(shell.printed, QStringList({folder + "WO04012345.pdf"}));
    child<QPushButton>(&report, "Command5")->click();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(report.list()->item(i)->checkState(), Qt::Unchecked);
    child<QPushButton>(&report, "Command2")->click();
    EXPECT_EQ(shell.opened.last(), folder);
    for (const char* b : {"Command1", "Command2", "Command3", "Command4", "Command5"})
        EXPECT_FALSE(child<QPushButton>(&report, b)->toolTip().isEmpty()) << b;
    expectAccessibleNames(&report);
    screenshot(&report, "report.png");
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
    EXPECT_EQ(dialog->windowTitle(), "Bright Quill Options");
    EXPECT_TRUE(child<QRadioButton>(dialog, "Optionproxy")->isChecked());
    EXPECT_EQ(child<QLineEdit>(dialog, "proxy")->text(), "proxy.example:3128");
    EXPECT_TRUE(child<QCheckBox>(dialog, "Check1")->isChecked());
    EXPECT_FALSE(child<QCheckBox>(dialog, "Check2")->isChecked());
    EXPECT_EQ(child<QLineEdit>(dialog, "Text2")->text(), pdf);
    expectAccessibleNames(dialog);
    screenshot(dialog, "Dialog.png");

    // Switching to direct access keeps the stored proxy; folders are made one level deep.
    const QString newTemp = test_root() + "/made-by-dialog";
    child<QLineEdit>(dialog, "Text1")->setText(newTemp);
    child<QRadioButton>(dialog, "Optiondirect")->setChecked(true);
    child<QLineEdit>(dialog, "proxy")->setText("");
    child<QCheckBox>(dialog, "Check2")->setChecked(true);
    child<QPushButton>(dialog, "OKButton")->click();
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
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
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(ReadRegistry(settings_key, "TEMPDIR", ""), newTemp);
    EXPECT_TRUE(form->isVisible());
}

TEST_F(Windows, ProxyIsWrittenOnlyWithTheProxyOption) {
    set_settings({{"ACT", "3"}, {"PROXY", "old:1"}});
    SettingsDialog dialog(form->context());
    child<QLineEdit>(&dialog, "proxy")->setText("");
    dialog.OKButton_Click();
    EXPECT_EQ(ReadRegistry(settings_key, "PROXY", "default"), "");
    set_settings({{"ACT", "9"}});
    SettingsDialog unknown(form->context());
    for (const char* o : {"Optiondefault", "Optiondirect", "Optionproxy"})
        EXPECT_FALSE(child<QRadioButton>(&unknown, o)->isChecked()) << o;
    unknown.OKButton_Click();
    EXPECT_EQ(ReadRegistry(settings_key, "ACT", ""), "9"); // no option chosen: nothing written
}

} // namespace
