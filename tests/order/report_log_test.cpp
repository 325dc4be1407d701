#include "foundation/general.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "order/report_log.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

TEST(ReportLine, FileBehindALine) {
    const QString folder = "/f/";
    struct Case {
        QString line;
        QString file;
    } cases[] = {
        {report_line("EP1234567", "Downloaded (3 Pages )"), "/f/EP1234567.pdf"},
        // 14 characters keep one blank before the tab
        {report_line("EP123456789012", "x"), "/f/EP123456789012.pdf"},
        // 15 or more: the search runs on into the result word
        {report_line("EP1234567890123", "Downloaded (3 Pages )"),
         "/f/EP1234567890123\tDownloaded.pdf"},
        {report_line("FW1234567", "Downloaded"), "/f/FW1234567.pdf"},
        {"FP_EP1234567  \tFront page", "/f/FP_EP1234567.pdf"},
        {"nothing", "/f/.pdf"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(report_line_file(c.line, folder), c.file) << c.line.toStdString();
}

TEST_F(RunTest, ViewLogReadsTheOldKeyAndOpensACopy) {
    const QString oldDir = test_root() + "/oldpdf";
    QDir(oldDir).removeRecursively();
    QDir().mkpath(oldDir);
    set_settings({{"PDFDIR", oldDir}}, old_settings_key);
    vlog(host, shell);
    EXPECT_EQ(host.messages, QStringList({"No log file found"}));
    write_file(oldDir + "/bnslog.csv", "\"Date\"\r\n");
    vlog(host, shell);
    EXPECT_EQ(shell.opened, QStringList({oldDir + "/brightq.csv"}));
    EXPECT_EQ(read_file(oldDir + "/brightq.csv"), QByteArray("\"Date\"\r\n"));
}

} // namespace
