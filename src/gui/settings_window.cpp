#include "gui/settings_window.h"

#include "foundation/general.h"
#include "foundation/run_context.h"
#include "foundation/settings_dialog.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStyle>
#include <QVBoxLayout>

namespace {

QLineEdit* labelledEdit(QFormLayout* form, const QString& objectName, const QString& labelName,
                        const QString& caption, QWidget* parent) {
    auto* edit = new QLineEdit(parent);
    edit->setObjectName(objectName);
    auto* label = new QLabel(caption, parent);
    label->setObjectName(labelName);
    label->setBuddy(edit);
    edit->setAccessibleName(QString(caption).remove(QLatin1Char('&')));
    form->addRow(label, edit);
    return edit;
}

} // namespace

SettingsDialog::SettingsDialog(RunContext& ctx, QWidget* parent) : QDialog(parent), ctx_(ctx) {
    setObjectName(QStringLiteral("Dialog"));
    setWindowTitle(QStringLiteral("Bright Quill Options"));
    auto* layout = new QVBoxLayout(this);

    auto* head = new QHBoxLayout;
    auto* Image1 = new QLabel(this);
    Image1->setObjectName(QStringLiteral("Image1"));
    Image1->setAccessibleName(QStringLiteral("Image1"));
    Image1->setPixmap(style()->standardIcon(QStyle::SP_FileDialogDetailedView).pixmap(32, 32));
    auto* Label3 = new QLabel(QStringLiteral("Setup options"), this);
    Label3->setObjectName(QStringLiteral("Label3"));
    QFont heading = Label3->font();
    heading.setBold(true);
    heading.setPointSizeF(heading.pointSizeF() * 1.3);
    Label3->setFont(heading);
    head->addWidget(Image1);
    head->addWidget(Label3, 1);
    layout->addLayout(head);

    auto* form = new QFormLayout;
    Text1 = labelledEdit(form, QStringLiteral("Text1"), QStringLiteral("Label1"),
                         QStringLiteral("&Temp directory:"), this);
    Text2 = labelledEdit(form, QStringLiteral("Text2"), QStringLiteral("Label2"),
                         QStringLiteral("&PDF directory:"), this);
    Text4 = labelledEdit(form, QStringLiteral("Text4"), QStringLiteral("Label4"),
                         QStringLiteral("&Epo server:"), this);
    layout->addLayout(form);

    Check1 = new QCheckBox(QStringLiteral("Allow parallel page download"), this);
    Check1->setObjectName(QStringLiteral("Check1"));
    Check2 = new QCheckBox(QStringLiteral("Add PDF bookmarks"), this);
    Check2->setObjectName(QStringLiteral("Check2"));
    layout->addWidget(Check1);
    layout->addWidget(Check2);

    auto* Frame1 = new QGroupBox(QStringLiteral("Internet access"), this);
    Frame1->setObjectName(QStringLiteral("Frame1"));
    auto* frame = new QVBoxLayout(Frame1);
    Optiondefault = new QRadioButton(QStringLiteral("Use default access"), Frame1);
    Optiondefault->setObjectName(QStringLiteral("Optiondefault"));
    Optiondirect = new QRadioButton(QStringLiteral("Use direct access"), Frame1);
    Optiondirect->setObjectName(QStringLiteral("Optiondirect"));
    Optionproxy = new QRadioButton(QStringLiteral("Connect via proxy"), Frame1);
    Optionproxy->setObjectName(QStringLiteral("Optionproxy"));
    proxy = new QLineEdit(Frame1);
    proxy->setObjectName(QStringLiteral("proxy"));
    proxy->setAccessibleName(QStringLiteral("proxy"));
    // No option chosen is a state of its own (an unknown stored value): the group must not
    // force one.
    auto* group = new QButtonGroup(this);
    group->setExclusive(true);
    for (QRadioButton* b : {Optiondefault, Optiondirect, Optionproxy}) {
        group->addButton(b);
        frame->addWidget(b);
    }
    frame->addWidget(proxy);
    layout->addWidget(Frame1);

    auto* secForm = new QFormLayout;
    proxypassword = labelledEdit(secForm, QStringLiteral("proxypassword"), QStringLiteral("Label6"),
                                 QStringLiteral("Proxy &security prefix:"), this);
    layout->addLayout(secForm);
    auto* Label7 =
        new QLabel(QStringLiteral("Proxy security prefix example:  userid:password@"), this);
    Label7->setObjectName(QStringLiteral("Label7"));
    Label7->setEnabled(false);
    layout->addWidget(Label7);

    auto* bottom = new QHBoxLayout;
    auto* Label5 = new QLabel(QStringLiteral("<a href=\"#\">&amp;Help</a>"), this);
    Label5->setObjectName(QStringLiteral("Label5"));
    Label5->setAccessibleName(QStringLiteral("Help"));
    Label5->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    auto* OKButton = new QPushButton(QStringLiteral("OK"), this);
    OKButton->setObjectName(QStringLiteral("OKButton"));
    OKButton->setDefault(true);
    auto* CancelButton = new QPushButton(QStringLiteral("Cancel"), this);
    CancelButton->setObjectName(QStringLiteral("CancelButton"));
    bottom->addWidget(Label5);
    bottom->addStretch();
    bottom->addWidget(OKButton);
    bottom->addWidget(CancelButton);
    layout->addLayout(bottom);

    connect(OKButton, &QPushButton::clicked, this, &SettingsDialog::OKButton_Click);
    connect(CancelButton, &QPushButton::clicked, this, &SettingsDialog::CancelButton_Click);
    connect(Label5, &QLabel::linkActivated, this,
            [this] { ExecuteLink(ctx_.host, ctx_.shell, dialog_help_url()); });

    const DialogValues v = load_dialog_values();
    Check1->setChecked(v.parallel);
    Check2->setChecked(v.bookmarks);
    Text1->setText(v.tempdir);
    Text2->setText(v.pdfdir);
    Text4->setText(v.eposerver);
    proxypassword->setText(v.proxyuserid);
    Optiondefault->setChecked(v.act == 1);
    Optiondirect->setChecked(v.act == 2);
    Optionproxy->setChecked(v.act == 3);
    if (v.act == 3)
        proxy->setText(v.proxy);
}

void SettingsDialog::OKButton_Click() {
    DialogValues v;
    v.tempdir = Text1->text();
    v.pdfdir = Text2->text();
    v.eposerver = Text4->text();
    v.parallel = Check1->isChecked();
    v.bookmarks = Check2->isChecked();
    v.act = Optiondefault->isChecked()  ? 1
            : Optiondirect->isChecked() ? 2
            : Optionproxy->isChecked()  ? 3
                                        : 0;
    v.proxy = proxy->text();
    v.proxyuserid = proxypassword->text();
    save_dialog_values(v);
    close();
}

void SettingsDialog::CancelButton_Click() {
    close();
}
