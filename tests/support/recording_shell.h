#pragma once

#include "foundation/host.h"

#include <QStringList>

// A shell that opens, prints and starts nothing, and remembers what it was asked.
struct RecordingShell : Shell {
    QStringList opened, printed, started;
    bool open(const QString& target) override {
        opened << target;
        return true;
    }
    bool print(const QString& file) override {
        printed << file;
        return true;
    }
    bool startDetached(const QString& program, const QStringList& arguments) override {
        started << program + " [" + arguments.join(QLatin1Char('|')) + "]";
        return true;
    }
};

#include "foundation/run_context.h"

#include <gtest/gtest.h>

// The program without its windows: a headless host, a recording shell and the run context
// that joins them.
class RunTest : public ::testing::Test {
protected:
    HeadlessHost host;
    RecordingShell shell;
    RunContext ctx{host, shell};
};
