#pragma once

// What the window tests share: the office simulator with every role in a fresh settings
// profile, and the main window with the program's retrievers, its progress bar read at every
// status text and every count of numbers.

#include "foundation/registry.h"
#include "gui/form1.h"
#include "offices/office_table.h"
#include "recording_shell.h"
#include "sample_store.h"
#include "settings_fixture.h"
#include "simulator.h"
#include "test_env.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QNetworkAccessManager>
#include <QProgressBar>
#include <QPushButton>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

template <typename T> T* child(QWidget* w, const char* name) {
    T* c = w->findChild<T*>(QString::fromLatin1(name));
    EXPECT_NE(c, nullptr) << name;
    return c;
}

// A shown window of that name, or null.
template <typename T = QWidget> T* window(const char* name) {
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == QLatin1String(name) && w->isVisible())
            return qobject_cast<T*>(w);
    return nullptr;
}

inline void flushDeletes() {
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

class WatchedForm : public Form1 {
public:
    using Form1::Form1;
    struct Seen {
        QString status;
        bool shown;
        QString bar;
        int percent; // how far the bar is filled
    };
    std::vector<Seen> atStatus, atProgress;
    void setStatus(const QString& text) override {
        Form1::setStatus(text);
        atStatus.push_back(seen());
    }
    void setProgress(int done, int total) override {
        Form1::setProgress(done, total);
        atProgress.push_back(seen());
    }
    Seen seen() const {
        auto* bar = findChild<QProgressBar*>(QStringLiteral("progress"));
        const int percent =
            bar->maximum() > 0 ? int(qint64(bar->value()) * 100 / bar->maximum()) : 0;
        return {status(), bar->isVisibleTo(this), bar->text(), percent};
    }
};

class WindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        pdf = test_root() + "/gui-pdf";
        QDir(pdf).removeRecursively();
        samples = test_root() + "/gui-samples";
        QFile::remove(samples + "/bqdver.txt");
        set_settings({{"PDFDIR", pdf}, {"TEMPDIR", test_root() + "/gui-tmp"}});
        sim::ensure_sample(samples, "lookup", "EP1000023", 23);
        sim = std::make_unique<Simulator>(samples);
        add_all_roles(*sim);
        sim->start();
        sim->write_host_roles(settings_key);
        form = std::make_unique<WatchedForm>(shell, [this](int code) { endedWith = code; });
        install_retrievers(form->context());
    }
    void TearDown() override {
        RunContext& ctx = form->context();
        for (WebControl* c : {&ctx.Inet1, &ctx.Inet3, &ctx.Inet2[0]})
            c->manager()->clearConnectionCache();
    }
    QAction* action(const char* name) { return child<QAction>(form.get(), name); }
    // The list ordered with the order button, the reference "REF", a box ticked first.
    void order(const QString& list, const char* box = nullptr) {
        form->show();
        if (box)
            child<QCheckBox>(form.get(), box)->setChecked(true);
        form->setText1(list);
        form->setText2("REF");
        child<QPushButton>(form.get(), "Command1")->click();
    }

    QString pdf, samples;
    std::unique_ptr<Simulator> sim;
    RecordingShell shell;
    int endedWith = -1;
    std::unique_ptr<WatchedForm> form;
};
