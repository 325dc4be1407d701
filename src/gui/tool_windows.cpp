#include "gui/tool_windows.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/list_import.h"
#include "foundation/run_context.h"
#include "foundation/web_control.h"
#include "tools/equivalents.h"
#include "tools/help_tips.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {

QPushButton* button(const QString& name, const QString& caption, QWidget* parent) {
    auto* b = new QPushButton(caption, parent);
    b->setObjectName(name);
    return b;
}

} // namespace

TextWindow::TextWindow(const QString& objectName, const QString& caption, const QString& heading,
                       const QString& richText, const QString& buttonName, QWidget* parent)
    : QDialog(parent) {
    setObjectName(objectName);
    setWindowTitle(caption);
    setModal(false);
    auto* layout = new QVBoxLayout(this);
    auto* text = new QTextBrowser(this);
    text->setObjectName(QStringLiteral("Text1"));
    text->setHtml(richText);
    text->setAccessibleName(caption);
    if (!heading.isEmpty()) {
        auto* head = new QLabel(heading, this);
        head->setObjectName(QStringLiteral("Label1"));
        QFont f = head->font();
        f.setBold(true);
        f.setPointSizeF(f.pointSizeF() * 1.2);
        head->setFont(f);
        head->setBuddy(text);
        text->setAccessibleName(heading);
        layout->addWidget(head);
    }
    layout->addWidget(text, 1);
    auto* ok = button(buttonName, QStringLiteral("&OK"), this);
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::close);
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(ok);
    layout->addLayout(row);
    setTabOrder(text, ok);
    ok->setFocus();
}

TextWindow* make_uspto_tip(QWidget* parent) {
    auto* w = new TextWindow(QStringLiteral("usptoTip"), QStringLiteral("USPTO number format"),
                             QString(), uspto_tips(), QStringLiteral("cmdOK"), parent);
    w->resize(480, 380);
    return w;
}

TextWindow* make_epo_tip(QWidget* parent) {
    auto* w = new TextWindow(QStringLiteral("epooTip"), QStringLiteral("EPO number format"),
                             QString(), espacenet_tips(), QStringLiteral("cmdOK"), parent);
    w->resize(520, 460);
    return w;
}

TextWindow* make_whats_new(QWidget* parent) {
    auto* w = new TextWindow(QStringLiteral("Form2"), QStringLiteral("What's New"),
                             whats_new_heading(), whats_new(), QStringLiteral("Command1"), parent);
    w->resize(560, 520);
    return w;
}

// fexplorer -----------------------------------------------------------------------------

EquivalentsWindow::EquivalentsWindow(RunContext& ctx, QWidget* parent)
    : QDialog(parent), ctx_(ctx) {
    setObjectName(QStringLiteral("fexplorer"));
    setWindowTitle(QStringLiteral("E q u i v a l e n t (s)  L o o k u p"));
    auto* layout = new QVBoxLayout(this);

    auto* top = new QHBoxLayout;
    auto* label = new QLabel(QStringLiteral("&Number to lookup:"), this);
    label->setObjectName(QStringLiteral("Label1"));
    pn = new QLineEdit(this);
    pn->setObjectName(QStringLiteral("pn"));
    pn->setAccessibleName(QStringLiteral("Number to lookup:"));
    label->setBuddy(pn);
    Command1 = button(QStringLiteral("Command1"), QStringLiteral("&Lookup"), this);
    Command1->setDefault(true);
    top->addWidget(label);
    top->addWidget(pn, 1);
    top->addWidget(Command1);
    layout->addLayout(top);

    List1 = new QListWidget(this);
    List1->setObjectName(QStringLiteral("List1"));
    List1->setAccessibleName(QStringLiteral("List1"));
    layout->addWidget(List1, 1);

    auto* note = new QLabel(QStringLiteral("Please note: A document not found on the EPO server "
                                           "may be found elsewhere, check the box to try."),
                            this);
    note->setObjectName(QStringLiteral("Label2"));
    note->setWordWrap(true);
    layout->addWidget(note);

    auto* bottom = new QHBoxLayout;
    ppaste = button(QStringLiteral("ppaste"), QStringLiteral("&Paste into Brightquill"), this);
    ppaste->setVisible(false);
    CancelButton = button(QStringLiteral("CancelButton"), QStringLiteral("Cancel"), this);
    bottom->addWidget(ppaste);
    bottom->addStretch();
    bottom->addWidget(CancelButton);
    layout->addLayout(bottom);

    setTabOrder(pn, Command1);
    setTabOrder(Command1, List1);
    setTabOrder(List1, ppaste);
    setTabOrder(ppaste, CancelButton);
    connect(Command1, &QPushButton::clicked, this, &EquivalentsWindow::Command1_Click);
    connect(ppaste, &QPushButton::clicked, this, &EquivalentsWindow::ppaste_Click);
    connect(CancelButton, &QPushButton::clicked, this, &QDialog::close);
    resize(520, 400);
    pn->setFocus();
}

void EquivalentsWindow::message(const QString& text) {
    QMessageBox::information(this, QStringLiteral("B r i g h t q u i l l"), text);
}

void EquivalentsWindow::Command1_Click() {
    Command1->setEnabled(false);
    setCursor(Qt::WaitCursor);
    QCoreApplication::processEvents();
    if (vb_trim(pn->text()).isEmpty()) {
        unsetCursor();
        message(QStringLiteral("Please enter a patent number"));
    } else {
        List1->clear();
        busy_ = true;
        const QString answer = equivalents_lookup(ctx_, pn->text());
        busy_ = false;
        if (closeWhenDone_) {
            close();
            return;
        }
        const Equivalents found = read_equivalents(answer);
        for (const QString& entry : found.entries) {
            // The entry keeps its tab for the paste; the list shows a dash, which lines up
            // better than a tab stop.
            auto* item = new QListWidgetItem(
                QString(entry).replace(QLatin1Char('\t'), QStringLiteral("  \u2013  ")), List1);
            item->setData(Qt::UserRole, entry);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
            item->setCheckState(Qt::Unchecked);
            ppaste->setVisible(true);
        }
        if (found.entries.isEmpty()) {
            unsetCursor();
            message(found.message);
        }
    }
    unsetCursor();
    Command1->setEnabled(true);
}

void EquivalentsWindow::ppaste_Click() {
    QStringList ticked;
    for (int i = 0; i < List1->count(); ++i)
        if (List1->item(i)->checkState() == Qt::Checked)
            ticked << List1->item(i)->data(Qt::UserRole).toString();
    ctx_.host.setText1(paste_into(ctx_.host.text1(), ticked_numbers(ticked)));
    close();
}

void EquivalentsWindow::closeEvent(QCloseEvent* event) {
    if (busy_) {
        // The handler that waits for the service is still on the stack: it closes the
        // window when the dropped request has returned.
        closeWhenDone_ = true;
        ctx_.Inet1.Cancel();
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}

void EquivalentsWindow::reject() {
    if (busy_) {
        close();
        return;
    }
    QDialog::reject();
}

// The import dialog ----------------------------------------------------------------------

void open_import_dialog(QWidget* owner, std::function<void(const QString&, int)> done) {
    auto* dialog = new QFileDialog(owner, QStringLiteral("Brightquill - import file"));
    dialog->setObjectName(QStringLiteral("importDialog"));
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setOption(QFileDialog::ReadOnly);
    const QStringList filters = import_filters();
    dialog->setNameFilters(filters);
    dialog->selectNameFilter(filters.first());
    dialog->setDefaultSuffix(QStringLiteral("rtf"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->resize(760, 480);
    QObject::connect(dialog, &QFileDialog::finished, owner,
                     [dialog, filters, done = std::move(done)](int result) {
                         const QStringList chosen = dialog->selectedFiles();
                         const QString path = result == QDialog::Accepted && !chosen.isEmpty()
                                                  ? chosen.first().trimmed()
                                                  : QString();
                         done(path, int(filters.indexOf(dialog->selectedNameFilter())) + 1);
                     });
    dialog->open();
}
