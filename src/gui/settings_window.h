#pragma once

#include <QDialog>

class QCheckBox;
class QLineEdit;
class QRadioButton;
struct RunContext;

// "Bright Quill Options": the folders, the Espacenet server, the internet access and two
// switches. Shows the stored settings and writes them on OK; nothing else.
class SettingsDialog : public QDialog {
    Q_OBJECT
public:
    explicit SettingsDialog(RunContext& ctx, QWidget* parent = nullptr);

    void OKButton_Click();
    void CancelButton_Click();

private:
    RunContext& ctx_;
    QLineEdit* Text1 = nullptr;
    QLineEdit* Text2 = nullptr;
    QLineEdit* Text4 = nullptr;
    QLineEdit* proxy = nullptr;
    QLineEdit* proxypassword = nullptr;
    QCheckBox* Check1 = nullptr;
    QCheckBox* Check2 = nullptr;
    QRadioButton* Optiondefault = nullptr;
    QRadioButton* Optiondirect = nullptr;
    QRadioButton* Optionproxy = nullptr;
};
