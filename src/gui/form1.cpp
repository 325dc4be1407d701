#include "gui/form1.h"

#include "foundation/general.h"
#include "foundation/list_import.h"
#include "foundation/registry.h"
#include "gui/desktop_notification.h"
#include "gui/report_window.h"
#include "gui/screenshot_tour.h"
#include "gui/settings_window.h"
#include "gui/tool_windows.h"
#include "order/order_run.h"
#include "order/report_log.h"
#include "order/summary.h"
#include "tools/family_search.h"
#include "tools/help_tips.h"
#include "tools/version_check.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QElapsedTimer>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>

namespace {

// Text boxes hold CR LF between lines to the program, a line break on the screen.
QString toWindowsForm(QString text) {
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    return text;
}

QString toScreenForm(QString text) {
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return text;
}

QLabel* hint(const QString& text, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setEnabled(false);
    return l;
}

} // namespace

Form1::Form1(Shell& shell, std::function<void(int)> endProgram, QWidget* parent)
    : QMainWindow(parent), shell_(shell), endProgram_(std::move(endProgram)) {
    setObjectName(QStringLiteral("Form1"));
    setWindowTitle(QStringLiteral(" Tarnwell -  Brightquill Desktop"));
    ctx_ = std::make_unique<RunContext>(*this, shell_);
    buildWidgets();
    buildMenus();
    executable_ = QCoreApplication::applicationFilePath();
}

Form1::~Form1() {
    // The equivalents window is a window of its own, not a child.
    if (fexplorer_) {
        fexplorer_->disconnect(this);
        delete fexplorer_;
    }
}

void Form1::buildWidgets() {
    auto* central = new QWidget(this);
    central->setObjectName(QStringLiteral("central"));
    auto* grid = new QGridLayout(central);

    auto* label1 = new QLabel(QStringLiteral("&Patent(s):"), central);
    Text1 = new QPlainTextEdit(central);
    Text1->setObjectName(QStringLiteral("Text1"));
    Text1->setTabChangesFocus(true);
    label1->setBuddy(Text1);
    Text1->setAccessibleName(QStringLiteral("Patent(s):"));
    grid->addWidget(label1, 0, 0);
    grid->addWidget(hint(QStringLiteral("(one patent per line)"), central), 0, 1);
    grid->addWidget(Text1, 1, 0, 1, 2);

    auto* label2 = new QLabel(QStringLiteral("&Reference:"), central);
    Text2 = new QLineEdit(central);
    Text2->setObjectName(QStringLiteral("Text2"));
    label2->setBuddy(Text2);
    Text2->setAccessibleName(QStringLiteral("Reference:"));
    grid->addWidget(label2, 2, 0);
    grid->addWidget(hint(QStringLiteral("(reference or billing code)"), central), 2, 1);
    grid->addWidget(Text2, 3, 0, 1, 2);

    Check1 = new QCheckBox(QStringLiteral("Use new Espacenet"), central);
    Check1->setObjectName(QStringLiteral("Check1"));
    depatis = new QCheckBox(QStringLiteral("Download from Depatisnet"), central);
    depatis->setObjectName(QStringLiteral("depatis"));
    fp = new QCheckBox(QStringLiteral(" Front page only"), central);
    fp->setObjectName(QStringLiteral("fp"));
    auto* boxes = new QHBoxLayout;
    boxes->addWidget(Check1);
    boxes->addWidget(depatis);
    boxes->addWidget(fp);
    boxes->addStretch();
    grid->addLayout(boxes, 4, 0, 1, 2);

    Command1 = new QPushButton(QStringLiteral("&Order"), central);
    Command1->setObjectName(QStringLiteral("Command1"));
    Command1->setToolTip(QStringLiteral("Click here to start your order"));
    Command1->setAutoDefault(true);
    Command1->setAccessibleDescription(Command1->toolTip());
    Command1->setDefault(true);
    cancel = new QPushButton(QStringLiteral("Cancel Job"), central);
    cancel->setObjectName(QStringLiteral("cancel"));
    cancel->setVisible(false);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(Command1);
    buttons->addWidget(cancel);
    buttons->addStretch();
    grid->addLayout(buttons, 5, 0, 1, 2);

    LB = new QLabel(central);
    LB->setObjectName(QStringLiteral("LB"));
    LB->setAccessibleName(QStringLiteral("LB"));
    LB->setFrameShape(QFrame::StyledPanel);
    LB->setMinimumHeight(LB->fontMetrics().height() + 8);
    // Beside the status line: how far the order is, in numbers and in pages of the document
    // that is arriving. Hidden while no order runs.
    progress = new QProgressBar(central);
    progress->setObjectName(QStringLiteral("progress"));
    progress->setAccessibleName(QStringLiteral("Order progress"));
    progress->setToolTip(
        QStringLiteral("Numbers done out of the list, and pages of the document arriving"));
    progress->setAccessibleDescription(progress->toolTip());
    progress->setMinimumWidth(
        LB->fontMetrics().horizontalAdvance(QStringLiteral("0000 of 0000, page 0000 of 0000")));
    progress->setVisible(false);
    auto* statusRow = new QHBoxLayout;
    statusRow->addWidget(LB, 1);
    statusRow->addWidget(progress);
    grid->addLayout(statusRow, 6, 0, 1, 2);

    Text3 = new QLineEdit(central);
    Text3->setObjectName(QStringLiteral("Text3"));
    Text3->setAccessibleName(QStringLiteral("Text3"));
    Text3->setToolTip(QStringLiteral("Please enter a Patent number in Espacenet format"));
    Text3->setAccessibleDescription(Text3->toolTip());
    Text3->setPlaceholderText(QStringLiteral("INPADOC family of a number, e.g. US4500000"));
    Command2 = new QPushButton(QStringLiteral("Inpadoc family search"), central);
    Command2->setObjectName(QStringLiteral("Command2"));
    Command2->setToolTip(QStringLiteral("Search INPADOC"));
    Command2->setAccessibleDescription(Command2->toolTip());
    auto* family = new QHBoxLayout;
    family->addWidget(Text3, 1);
    family->addWidget(Command2);
    grid->addLayout(family, 7, 0, 1, 2);

    Label5 = new QLabel(QStringLiteral("Desktop Edition - Version 3.0"), central);
    Label5->setObjectName(QStringLiteral("Label5"));
    Lversion = new QLabel(central);
    Lversion->setObjectName(QStringLiteral("Lversion"));
    Label9 = new QLabel(QStringLiteral("<a href=\"#\">What's new in Version 3</a>"), central);
    Label9->setObjectName(QStringLiteral("Label9"));
    Label9->setAccessibleName(QStringLiteral("What's new in Version 3"));
    Label9->setToolTip(QStringLiteral("Click here to find What's new"));
    Label9->setAccessibleDescription(Label9->toolTip());
    Label9->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    const QString contact = contact_address();
    Label4 = new QLabel(QStringLiteral("<a href=\"%1\">%2</a>")
                            .arg(contact_link().toHtmlEscaped(), contact.toHtmlEscaped()),
                        central);
    Label4->setObjectName(QStringLiteral("Label4"));
    Label4->setAccessibleName(contact);
    Label4->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    auto* footer = new QHBoxLayout;
    footer->addWidget(Label5);
    footer->addWidget(Lversion);
    footer->addStretch();
    footer->addWidget(Label4);
    footer->addWidget(Label9);
    grid->addLayout(footer, 8, 0, 1, 2);

    setCentralWidget(central);
    resize(560, 520);
    setTabOrder(Text1, Text2);
    setTabOrder(Text2, Check1);
    setTabOrder(Check1, depatis);
    setTabOrder(depatis, fp);
    setTabOrder(fp, Command1);
    setTabOrder(Command1, cancel);
    setTabOrder(cancel, Text3);
    setTabOrder(Text3, Command2);
    setTabOrder(Command2, Label4);
    setTabOrder(Label4, Label9);

    connect(Command1, &QPushButton::clicked, this, &Form1::Command1_Click);
    // The list box takes Return for its lines: Ctrl+Return orders from anywhere.
    auto* orderShortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return), this);
    connect(orderShortcut, &QShortcut::activated, Command1, &QPushButton::click);
    connect(cancel, &QPushButton::clicked, this, &Form1::cancel_Click);
    connect(Command2, &QPushButton::clicked, this, &Form1::Command2_Click);
    connect(Text3, &QLineEdit::returnPressed, Command2, &QPushButton::click);
    connect(Label9, &QLabel::linkActivated, this,
            [this] { showWindow(form2_, [this] { return make_whats_new(this); }); });
    connect(Label4, &QLabel::linkActivated, this,
            [this] { ExecuteLink(*this, shell_, contact_link()); });

    // Runs pending events six times a second's worth, as the run expects of it.
    Timer1 = new QTimer(this);
    Timer1->setObjectName(QStringLiteral("Timer1"));
    Timer1->setInterval(1000);
    connect(Timer1, &QTimer::timeout, this, [] {
        for (int i = 0; i < 6; ++i)
            QCoreApplication::processEvents();
    });
    Timer1->start();
}

void Form1::buildMenus() {
    mmenu = menuBar()->addMenu(QStringLiteral("&File"));
    mmenu->setObjectName(QStringLiteral("mmenu"));
    QAction* msetup = mmenu->addAction(QStringLiteral("&Setup"), this, &Form1::msetup_Click);
    msetup->setObjectName(QStringLiteral("msetup"));
    QAction* softupdate =
        mmenu->addAction(QStringLiteral("&Update software"), this, &Form1::softupdate_Click);
    softupdate->setObjectName(QStringLiteral("softupdate"));
    QAction* vlogAction =
        mmenu->addAction(QStringLiteral("&View log"), this, [this] { vlog(*this, shell_); });
    vlogAction->setObjectName(QStringLiteral("vlog"));
    mmenu->addSeparator();
    QAction* mexit = mmenu->addAction(QStringLiteral("E&xit"), this, [this] {
        ctx_->state.order_cancelled = true;
        endProgram_(0);
    });
    mexit->setObjectName(QStringLiteral("mexit"));

    meed = menuBar()->addAction(QStringLiteral("&Explore downloaded"), this, &Form1::meed_Click);
    meed->setObjectName(QStringLiteral("meed"));
    importw = menuBar()->addAction(QStringLiteral("&Import"), this, &Form1::importw_Click);
    importw->setObjectName(QStringLiteral("importw"));

    tmen = menuBar()->addMenu(QStringLiteral("&Tips"));
    tmen->setObjectName(QStringLiteral("tmen"));
    QAction* uespace = tmen->addAction(QStringLiteral("E&spacenet tips"), this, [this] {
        showWindow(epooTip_, [this] { return make_epo_tip(this); });
    });
    uespace->setObjectName(QStringLiteral("uespace"));
    QAction* huspto = tmen->addAction(QStringLiteral("&USPTO tips"), this, [this] {
        showWindow(usptoTip_, [this] { return make_uspto_tip(this); });
    });
    huspto->setObjectName(QStringLiteral("huspto"));
    QAction* whatnew = tmen->addAction(QStringLiteral("What's &new"), this, [this] {
        showWindow(form2_, [this] { return make_whats_new(this); });
    });
    whatnew->setObjectName(QStringLiteral("whatnew"));

    fmam = menuBar()->addAction(QStringLiteral("E&quivalent-lookup"), this, &Form1::fmam_Click);
    fmam->setObjectName(QStringLiteral("fmam"));
    mhelp = menuBar()->addAction(QStringLiteral("&Help"), this, [this] { open_help(*ctx_); });
    mhelp->setObjectName(QStringLiteral("mhelp"));
}

bool Form1::load(const QString& rawCommandLine) {
    Lversion->setText(version_caption());
    startup(*ctx_);
    const CommandLineAction action = handle_command_line(*ctx_, rawCommandLine);
    if (action.kind == CommandLineAction::RunOrder) {
        Command1_Click();
        return true;
    }
    // The window is up before the version check waits for its server, and stays painted.
    show();
    check_version(*ctx_);
    Text1->setFocus();
    // The documentation's screenshots: every window grabbed, then the program ends.
    const QString shots = qEnvironmentVariable("BRIGHTQUILL_SCREENSHOTS");
    if (!shots.isEmpty())
        QTimer::singleShot(0, this, [this, shots] {
            take_screenshots(*this, shots);
            endProgram_(0);
        });
    return false;
}

// Host -------------------------------------------------------------------------------

void Form1::setStatus(const QString& text) {
    LB->setText(text);
    if (echoStatus_ && text != lastEchoed_) {
        lastEchoed_ = text;
        std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
        std::fflush(stderr);
    }
}

QString Form1::status() const {
    return LB->text();
}

void Form1::setTitle(const QString& text) {
    setWindowTitle(text);
}

QString Form1::title() const {
    return windowTitle();
}

void Form1::doEvents() {
    QCoreApplication::processEvents();
}

bool Form1::frontPageOnly() const {
    return fp->isChecked();
}

bool Form1::useNewEspacenet() const {
    return Check1->isChecked();
}

bool Form1::depatisChecked() const {
    return depatis->isChecked();
}

void Form1::setUseNewEspacenet(bool on) {
    Check1->setChecked(on);
}

QString Form1::text1() const {
    return toWindowsForm(Text1->toPlainText());
}

void Form1::setText1(const QString& text) {
    Text1->setPlainText(toScreenForm(text));
}

QString Form1::text2() const {
    return Text2->text();
}

void Form1::setText2(const QString& text) {
    Text2->setText(text);
}

void Form1::setOrderRunning(bool running) {
    if (running && !running_)
        orderTime_.start();
    running_ = running;
    cancel->setVisible(running);
    Command1->setEnabled(!running);
    mmenu->setEnabled(!running);
    mmenu->menuAction()->setEnabled(!running);
    meed->setEnabled(!running);
    mhelp->setEnabled(!running);
    tmen->setEnabled(!running);
    tmen->menuAction()->setEnabled(!running);
    fmam->setEnabled(!running);
    importw->setEnabled(!running);
}

bool Form1::orderRunning() const {
    return running_;
}

void Form1::showReport() {
    // A long order that ends while the user works in another program says so on the desktop.
    if (orderTime_.isValid() && notification_due(orderTime_.elapsed(), isVisible(),
                                                 QApplication::activeWindow() != nullptr)) {
        const OrderSummary sum = summarise_order(*ctx_);
        notify_desktop(QStringLiteral("Brightquill: order done"),
                       QStringLiteral("%1 delivered, %2 from cache, %3 not found")
                           .arg(sum.delivered)
                           .arg(sum.fromCache)
                           .arg(sum.notFound));
    }
    // Not modal: a new report replaces an old one that is still open.
    if (report_)
        report_->deleteLater();
    report_ = new ReportWindow(*ctx_, text2());
    report_->setAttribute(Qt::WA_DeleteOnClose);
    connect(report_, &QObject::destroyed, this, [this](QObject* o) {
        if (o == report_)
            report_ = nullptr;
    });
    report_->show();
}

void Form1::setProgress(int done, int total) {
    progress->setVisible(total > 0);
    numbersDone_ = std::clamp(done, 0, std::max(total, 0));
    numbersTotal_ = std::max(total, 0);
    if (total <= 0)
        pagesTotal_ = 0;
    showProgress();
}

void Form1::setPageProgress(int done, int total) {
    pagesDone_ = std::clamp(done, 0, std::max(total, 0));
    pagesTotal_ = std::max(total, 0);
    showProgress();
}

// The bar fills by numbers and, within the current number, by its pages, so that one long
// document moves it too; the text tells both counts.
void Form1::showProgress() {
    if (numbersTotal_ <= 0)
        return;
    // Steps per number; an absurdly long list moves by whole numbers instead of overflowing.
    const int steps = numbersTotal_ > 1000000 ? 1 : 1000;
    const double pages = pagesTotal_ > 0 ? double(pagesDone_) / pagesTotal_ : 0.0;
    progress->setRange(0, numbersTotal_ * steps);
    progress->setValue(std::min(numbersTotal_ * steps, numbersDone_ * steps + int(pages * steps)));
    QString text = QStringLiteral("%1 of %2").arg(numbersDone_).arg(numbersTotal_);
    if (pagesTotal_ > 0)
        text += QStringLiteral(", page %1 of %2").arg(pagesDone_).arg(pagesTotal_);
    progress->setFormat(text);
}

void Form1::message(const QString& text, const QString& title, int icon) {
    if (echoStatus_) {
        std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
        return;
    }
    QMessageBox box(this);
    box.setWindowTitle(title);
    box.setText(text);
    box.setIcon(icon == 16   ? QMessageBox::Critical
                : icon == 48 ? QMessageBox::Warning
                : icon == 64 ? QMessageBox::Information
                             : QMessageBox::NoIcon);
    box.exec();
}

// Commands ---------------------------------------------------------------------------

void Form1::Command1_Click() {
    if (running_)
        return;
    order_run(*ctx_);
}

void Form1::cancel_Click() {
    if (dialog_)
        dialog_->close();
    cancel_order(*ctx_, executable_, [this] { endProgram_(0); });
}

void Form1::msetup_Click() {
    if (dialog_)
        return;
    dialog_ = new SettingsDialog(*ctx_);
    dialog_->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog_, &QObject::destroyed, this, [this] {
        dialog_ = nullptr;
        show();
    });
    dialog_->show();
    hide();
}

void Form1::meed_Click() {
    const QString folder = TrimNul(
        ReadRegistry(old_settings_key, QStringLiteral("PDFDIR"), default_pdfdir()).trimmed());
    shell_.open(folder);
}

void Form1::Command2_Click() {
    Command2->setEnabled(false);
    family_search(*ctx_, Text3->text(), Text2->text());
    Command2->setEnabled(true);
}

void Form1::showWindow(QPointer<QDialog>& window, const std::function<QDialog*()>& make) {
    if (!window) {
        window = make();
        window->setAttribute(Qt::WA_DeleteOnClose);
    }
    window->show();
    window->raise();
    window->activateWindow();
}

void Form1::importw_Click() {
    open_import_dialog(
        this, [this](const QString& path, int filterIndex) { importList(path, filterIndex); });
}

void Form1::importList(const QString& path, int filterIndex) {
    // A long SciFinder file keeps the window painted, without taking input meanwhile.
    QElapsedTimer sincePaint;
    sincePaint.start();
    const ImportResult r = import_numbers(path, filterIndex, [&sincePaint] {
        if (sincePaint.elapsed() > 50) {
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
            sincePaint.restart();
        }
    });
    if (!r.list.isEmpty())
        setText1(r.list);
    else if (r.outcome == ImportResult::TooLarge)
        setStatus(
            QStringLiteral("Not imported: the file is larger than %1 MB").arg(kImportLimit >> 20));
    else if (r.outcome == ImportResult::Binary)
        setStatus(QStringLiteral("Not imported: the file is not a text file"));
    else if (r.outcome == ImportResult::TooManyNumbers)
        setStatus(
            QStringLiteral("Not imported: the list has more than %1 lines").arg(kImportLines));
}

void Form1::fmam_Click() {
    if (cancel->isVisibleTo(this))
        return;
    if (!fexplorer_) {
        fexplorer_ = new EquivalentsWindow(*ctx_);
        fexplorer_->setAttribute(Qt::WA_DeleteOnClose);
        connect(fexplorer_, &QObject::destroyed, this, [this] { show(); });
    }
    fexplorer_->show();
    fexplorer_->activateWindow();
    hide();
}

void Form1::softupdate_Click() {
    if (dialog_)
        dialog_->close();
    for (QDialog* tip : {usptoTip_.data(), epooTip_.data()})
        if (tip)
            tip->close();
    start_updater(shell_, executable_);
    ctx_->state.order_cancelled = true;
    endProgram_(0);
}

void Form1::closeEvent(QCloseEvent* event) {
    if (cancel->isVisibleTo(this)) {
        // During an order: end at once, without the restart that cancel gives.
        ctx_->state.order_cancelled = true;
        endProgram_(0);
        event->accept();
        return;
    }
    const auto answer = QMessageBox::question(this, QStringLiteral("Brightquill Desktop"),
                                              QStringLiteral("Do you want to exit?"),
                                              QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    if (answer == QMessageBox::Yes) {
        ctx_->state.order_cancelled = true;
        event->accept();
        endProgram_(0);
    } else {
        event->ignore();
    }
}
