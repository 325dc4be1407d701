#pragma once

// What the retrieval and office tests share: a host that reports its status texts, a
// recording shell, the program's retrievers, a fresh PDF and temp folder and settings per
// test, a loopback server to answer by hand, the office simulator in process, and readers for
// the log and for the pages of a PDF.

#include "foundation/host.h"
#include "foundation/run_context.h"
#include "loopback_server.h"
#include "recording_shell.h"
#include "simulator.h"
#include "test_env.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>

class EventHost : public HeadlessHost {
public:
    std::function<void(const QString&)> onStatus;
    void setStatus(const QString& text) override {
        HeadlessHost::setStatus(text);
        if (onStatus)
            onStatus(text);
    }
};

class OfficeTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The simulator with every role of this build, its hosts in the settings. Requests to
    // the lookup scripts become events: "cache", "bnsinfo", "ps", "frbdoc".
    void startSimulator(Simulator::Options options = {});

    // Events in the order they happened; safe from the serving threads.
    void note(const QString& event);
    QStringList events();

    // The records of bnslog.csv as "number|reference|result".
    QStringList logRecords() const;
    // Closes the connections that the web controls keep open, so that a server of the
    // test can stop at once.
    void closeConnections();
    // Names of the files in a folder (the temp folder by default), sorted.
    QStringList files(const QString& folder = QString()) const;
    // The targets of the hand-answered server's requests for one path, in order.
    std::vector<std::string> targetsOf(const std::string& path) const;

    // A converter program in the application folder, and the Debian program it stands for.
    static QString converter(const char* name);
    static QByteArray program(const char* name);

    QString root;    // this test's own folder
    QString pdf;     // PDFDIR, with "/"
    QString tmp;     // TEMPDIR, with "/"
    QString samples; // the simulator's samples
    LoopbackServer server;
    // Declared before the context, so that the context's connections are closed first.
    std::unique_ptr<Simulator> sim;
    EventHost host;
    RecordingShell shell;
    RunContext ctx{host, shell};

private:
    std::mutex mutex_;
    QStringList events_;
};

// A one-page PDF whose page shows label, of about bytes bytes.
QByteArray onePagePdf(const QString& label, int bytes = 2000);
