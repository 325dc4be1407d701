#include "gui/report_window.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "order/report_log.h"
#include "order/summary.h"

#include <QDate>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

ReportWindow::ReportWindow(RunContext& ctx, const QString& reference, QWidget* parent)
    : QWidget(parent), ctx_(ctx) {
    setObjectName(QStringLiteral("report"));
    setWindowTitle(QStringLiteral("Brightquill - Download Report"));
    auto* layout = new QVBoxLayout(this);

    auto* Label1 = new QLabel(QStringLiteral("Download report"), this);
    Label1->setObjectName(QStringLiteral("Label1"));
    QFont heading = Label1->font();
    heading.setBold(true);
    heading.setPointSizeF(heading.pointSizeF() * 1.3);
    Label1->setFont(heading);
    layout->addWidget(Label1);

    Label2 = new QLabel(this);
    Label2->setObjectName(QStringLiteral("Label2"));
    const QString date = QLocale::system().toString(QDate::currentDate(), QLocale::LongFormat);
    if (!reference.isEmpty())
        Label2->setText(QStringLiteral("Ref: ") + reference + QStringLiteral("   Date: ") + date);
    else
        Label2->setText(QStringLiteral("Date: ") + date);
    layout->addWidget(Label2);

    // What the list below adds up to, so a long report needs no counting by hand.
    const ReportCount count = count_report(ctx_.state.report_text);
    missing_ = count.missing;
    auto* counts = new QLabel(
        QStringLiteral("%1 delivered, %2 missing").arg(count.delivered).arg(count.missing.size()),
        this);
    counts->setObjectName(QStringLiteral("counts"));
    layout->addWidget(counts);

    auto* Label3 =
        new QLabel(QStringLiteral("To view the patent: double click on the patent number."), this);
    Label3->setObjectName(QStringLiteral("Label3"));
    layout->addWidget(Label3);

    List1 = new QListWidget(this);
    List1->setObjectName(QStringLiteral("List1"));
    List1->setAccessibleName(QStringLiteral("List1"));
    List1->setToolTip(QStringLiteral("Double click on the patent number to view the patent"));
    List1->setAccessibleDescription(List1->toolTip());
    QFont mono(QStringLiteral("monospace"));
    mono.setStyleHint(QFont::TypeWriter);
    List1->setFont(mono);
    for (const QString& line : ctx_.state.report_text.split(QStringLiteral("\r\n"))) {
        if (line.isEmpty())
            continue;
        auto* item = new QListWidgetItem(line, List1);
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Unchecked);
    }
    layout->addWidget(List1, 1);
    connect(List1, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { openLine(List1->row(item)); });

    auto* buttons = new QHBoxLayout;
    auto* Command1 = new QPushButton(QStringLiteral("&Close"), this);
    Command1->setObjectName(QStringLiteral("Command1"));
    Command1->setToolTip(QStringLiteral("Close this window"));
    auto* Command2 = new QPushButton(QStringLiteral("Explore"), this);
    Command2->setObjectName(QStringLiteral("Command2"));
    Command2->setToolTip(QStringLiteral("Explore downloaded documents"));
    auto* Command3 = new QPushButton(QStringLiteral("Print Checked"), this);
    Command3->setObjectName(QStringLiteral("Command3"));
    Command3->setToolTip(QStringLiteral("Print Checked Documents"));
    auto* Command4 = new QPushButton(QStringLiteral("Check All"), this);
    Command4->setObjectName(QStringLiteral("Command4"));
    Command4->setToolTip(QStringLiteral("Check All Documents"));
    auto* Command5 = new QPushButton(QStringLiteral("Uncheck All"), this);
    Command5->setObjectName(QStringLiteral("Command5"));
    Command5->setToolTip(QStringLiteral("Uncheck All Documents"));
    auto* reorder = new QPushButton(QStringLiteral("Order &missing again"), this);
    reorder->setObjectName(QStringLiteral("reorder"));
    reorder->setToolTip(QStringLiteral("Put the missing numbers into the list for a second order"));
    reorder->setEnabled(!missing_.isEmpty());
    for (QPushButton* b : {reorder, Command2, Command3, Command4, Command5, Command1}) {
        b->setAccessibleDescription(b->toolTip());
        buttons->addWidget(b);
    }
    layout->addLayout(buttons);

    connect(Command1, &QPushButton::clicked, this, &QWidget::close);
    // The folder goes to the file manager as it stands, blanks and all.
    connect(Command2, &QPushButton::clicked, this,
            [this] { ctx_.shell.open(ctx_.state.report_folder); });
    connect(Command3, &QPushButton::clicked, this, &ReportWindow::printChecked);
    connect(reorder, &QPushButton::clicked, this, &ReportWindow::orderMissingAgain);
    connect(Command4, &QPushButton::clicked, this, [this] { setAllChecked(true); });
    connect(Command5, &QPushButton::clicked, this, [this] { setAllChecked(false); });
    resize(560, 420);
}

void ReportWindow::openLine(int row) {
    if (QListWidgetItem* item = List1->item(row))
        open_report_line(ctx_.shell, item->text(), ctx_.state.report_folder);
}

void ReportWindow::printChecked() {
    // The report folder is read at each click: a later order may have changed it.
    for (int i = 0; i < List1->count(); ++i) {
        QListWidgetItem* item = List1->item(i);
        const QString file = report_line_file(item->text(), ctx_.state.report_folder);
        if (file_exists(file) && item->checkState() == Qt::Checked)
            ctx_.shell.print(file);
    }
}

void ReportWindow::setAllChecked(bool on) {
    for (int i = 0; i < List1->count(); ++i)
        List1->item(i)->setCheckState(on ? Qt::Checked : Qt::Unchecked);
}

void ReportWindow::orderMissingAgain() {
    ctx_.host.setText1(missing_.join(QStringLiteral("\r\n")));
}
