#pragma once

#include <QString>
#include <QStringList>

// What the core needs of the window it runs in. The main window implements it for
// interactive use; HeadlessHost serves tests and anything else without widgets.
//
// Every call may pump events (doEvents), so a handler such as the cancel button can run
// inside a retriever at that point; the core is written with that re-entrance in mind.
class Host {
public:
    virtual ~Host() = default;

    // The status line (label LB). Setting it does not pump events by itself.
    virtual void setStatus(const QString& text) = 0;
    virtual QString status() const = 0;

    // The main window's caption, used as a second status line.
    virtual void setTitle(const QString& text) = 0;
    virtual QString title() const = 0;

    // Runs pending window events once, then returns.
    virtual void doEvents() = 0;

    // The check boxes of the main window, read at every use.
    virtual bool frontPageOnly() const = 0;   // fp
    virtual bool useNewEspacenet() const = 0; // Check1
    virtual bool depatisChecked() const = 0;  // depatis
    virtual void setUseNewEspacenet(bool on) = 0;

    // The number list (Text1) in its Windows form (lines separated by CR LF) and the
    // reference (Text2).
    virtual QString text1() const = 0;
    virtual void setText1(const QString& text) = 0;
    virtual QString text2() const = 0;
    virtual void setText2(const QString& text) = 0;

    // Idle or running: shows the cancel button and disables the commands and menus.
    virtual void setOrderRunning(bool running) = 0;
    virtual bool orderRunning() const = 0;

    // Loads and shows the download report (not modal).
    virtual void showReport() = 0;

    // Progress beside the status line, fed by the same steps that set the status texts:
    // numbers done out of the order's list (total 0: no order runs), and pages done within
    // the current document when it arrives page by page (total 0: none).
    virtual void setProgress(int done, int total) {
        Q_UNUSED(done);
        Q_UNUSED(total);
    }
    virtual void setPageProgress(int done, int total) {
        Q_UNUSED(done);
        Q_UNUSED(total);
    }

    // A message box with an OK button. icon: 0 none, 16 stop sign, 48 warning, 64 information.
    virtual void message(const QString& text, const QString& title, int icon) = 0;
};

// Opening, printing and starting programs: the shell's part. Tests replace it, since a
// test cannot let a viewer open or a printer print.
class Shell {
public:
    virtual ~Shell() = default;
    // Opens a file, folder, URL or mailto: link with its application. False when nothing
    // could be started.
    virtual bool open(const QString& target) = 0;
    // Sends a file to the printer.
    virtual bool print(const QString& file) = 0;
    // Starts a program without waiting for it.
    virtual bool startDetached(const QString& program, const QStringList& arguments) = 0;
};

// The shell of the desktop: QDesktopServices, lp and QProcess.
class DesktopShell : public Shell {
public:
    bool open(const QString& target) override;
    bool print(const QString& file) override;
    bool startDetached(const QString& program, const QStringList& arguments) override;
};

// A host without widgets. Check boxes and texts are plain members; doEvents runs the
// Qt event loop once.
class HeadlessHost : public Host {
public:
    void setStatus(const QString& text) override;
    QString status() const override { return status_; }
    void setTitle(const QString& text) override { title_ = text; }
    QString title() const override { return title_; }
    void doEvents() override;
    bool frontPageOnly() const override { return fp; }
    bool useNewEspacenet() const override { return check1; }
    bool depatisChecked() const override { return depatis; }
    void setUseNewEspacenet(bool on) override { check1 = on; }
    QString text1() const override { return text1_; }
    void setText1(const QString& text) override { text1_ = text; }
    QString text2() const override { return text2_; }
    void setText2(const QString& text) override { text2_ = text; }
    void setOrderRunning(bool running) override { running_ = running; }
    bool orderRunning() const override { return running_; }
    void showReport() override { ++reportsShown; }
    void message(const QString& text, const QString& title, int icon) override;

    bool fp = false;
    bool check1 = true;
    bool depatis = false;
    int reportsShown = 0;
    QStringList statusHistory; // every status text, in order
    QStringList messages;      // every message box text, in order

private:
    QString status_;
    QString title_;
    QString text1_;
    QString text2_;
    bool running_ = false;
};
