#pragma once

#include <QDialog>

#include <functional>

class QCloseEvent;
class QLineEdit;
class QListWidget;
class QPushButton;
struct RunContext;

// The side windows of the main window. None is modal: each is loaded once and shown again
// on the next call, and none keeps an order from running.

// A window of text with one button that closes it: usptoTip and epooTip (button cmdOK),
// "What's New" (Form2, button Command1, with a heading).
class TextWindow : public QDialog {
    Q_OBJECT
public:
    TextWindow(const QString& objectName, const QString& caption, const QString& heading,
               const QString& richText, const QString& buttonName, QWidget* parent = nullptr);
};

TextWindow* make_uspto_tip(QWidget* parent);
TextWindow* make_epo_tip(QWidget* parent);
TextWindow* make_whats_new(QWidget* parent);

// fexplorer: looks up the equivalents of a number and pastes the ticked ones into the number
// list. The lookup blocks the window (not the program) until the service answers; a close
// meanwhile drops the request and closes the window once it has returned.
class EquivalentsWindow : public QDialog {
    Q_OBJECT
public:
    explicit EquivalentsWindow(RunContext& ctx, QWidget* parent = nullptr);

    void Command1_Click();
    void ppaste_Click();

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    void message(const QString& text);

    RunContext& ctx_;
    QLineEdit* pn = nullptr;
    QPushButton* Command1 = nullptr;
    QPushButton* CancelButton = nullptr;
    QListWidget* List1 = nullptr;
    QPushButton* ppaste = nullptr;
    bool busy_ = false;
    bool closeWhenDone_ = false;
};

// The import dialog, window-modal on owner: the five filters with the first one shown. done
// receives the chosen file ("" when the dialog was cancelled) and the 1-based index of the
// filter chosen when it closed.
void open_import_dialog(QWidget* owner, std::function<void(const QString&, int)> done);
