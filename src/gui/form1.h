#pragma once

#include "foundation/host.h"
#include "foundation/run_context.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QPointer>

#include <functional>
#include <memory>

class QAction;
class EquivalentsWindow;
class QCheckBox;
class QDialog;
class QLabel;
class QLineEdit;
class QMenu;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTimer;
class ReportWindow;
class SettingsDialog;

// The main window: the number list, the reference, the check boxes, the status line and
// the menus. It is the host of the order run; all decisions are made in the core.
class Form1 : public QMainWindow, public Host {
    Q_OBJECT
public:
    // shell: how files are opened and programs started; endProgram: how the process ends
    // (tests put a recorder there).
    Form1(Shell& shell, std::function<void(int)> endProgram, QWidget* parent = nullptr);
    ~Form1() override;

    // Start-up: the steps before the window is shown, the command line included. Returns
    // true when the command line ran an order, after which the program is to end.
    bool load(const QString& rawCommandLine);

    RunContext& context() { return *ctx_; }
    ReportWindow* reportWindow() const { return report_; }
    SettingsDialog* settingsDialog() const { return dialog_; }
    // Every new status text also goes to stderr (command-line orders).
    void setEchoStatus(bool on) { echoStatus_ = on; }
    // The program to start again on cancel.
    void setExecutable(const QString& path) { executable_ = path; }

    // Host
    void setStatus(const QString& text) override;
    QString status() const override;
    void setTitle(const QString& text) override;
    QString title() const override;
    void doEvents() override;
    bool frontPageOnly() const override;
    bool useNewEspacenet() const override;
    bool depatisChecked() const override;
    void setUseNewEspacenet(bool on) override;
    QString text1() const override;
    void setText1(const QString& text) override;
    QString text2() const override;
    void setText2(const QString& text) override;
    void setOrderRunning(bool running) override;
    bool orderRunning() const override;
    void showReport() override;
    void setProgress(int done, int total) override;
    void setPageProgress(int done, int total) override;
    void message(const QString& text, const QString& title, int icon) override;

    // The commands, as the buttons and menus run them.
    void Command1_Click();
    void cancel_Click();
    void msetup_Click();
    void meed_Click();
    void Command2_Click();
    void importw_Click();
    void fmam_Click();
    void softupdate_Click();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildWidgets();
    void buildMenus();
    // Loads the window once and shows it again on later calls.
    void showWindow(QPointer<QDialog>& window, const std::function<QDialog*()>& make);
    void importList(const QString& path, int filterIndex);
    void showProgress();

    Shell& shell_;
    std::function<void(int)> endProgram_;
    std::unique_ptr<RunContext> ctx_;
    QString executable_;
    bool echoStatus_ = false;
    bool running_ = false;
    QString lastEchoed_;
    QElapsedTimer orderTime_;
    int numbersDone_ = 0;
    int numbersTotal_ = 0;
    int pagesDone_ = 0;
    int pagesTotal_ = 0;

    QPlainTextEdit* Text1 = nullptr;
    QLineEdit* Text2 = nullptr;
    QLineEdit* Text3 = nullptr;
    QPushButton* Command1 = nullptr;
    QPushButton* Command2 = nullptr;
    QPushButton* cancel = nullptr;
    QLabel* LB = nullptr;
    QProgressBar* progress = nullptr;
    QLabel* Lversion = nullptr;
    QLabel* Label5 = nullptr;
    QLabel* Label9 = nullptr;
    QLabel* Label4 = nullptr;
    QCheckBox* Check1 = nullptr;
    QCheckBox* depatis = nullptr;
    QCheckBox* fp = nullptr;
    QTimer* Timer1 = nullptr;
    QMenu* mmenu = nullptr;
    QMenu* tmen = nullptr;
    QAction* meed = nullptr;
    QAction* importw = nullptr;
    QAction* fmam = nullptr;
    QAction* mhelp = nullptr;
    ReportWindow* report_ = nullptr;
    SettingsDialog* dialog_ = nullptr;
    QPointer<QDialog> usptoTip_, epooTip_, form2_;
    QPointer<EquivalentsWindow> fexplorer_;
};
