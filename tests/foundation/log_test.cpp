#include "foundation/general.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class WriteLog : public RunTest {
protected:
    void SetUp() override {
        pdfdir = test_root() + "/logpdf-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name();
        set_settings({{"PDFDIR", pdfdir}});
        set_fixed_now(QDateTime(QDate(2026, 11, 22), QTime(9, 5, 7)));
    }
    void TearDown() override { set_fixed_now({}); }
    void log(QString pat, QString ref, QString res) { writelog(ctx, pat, ref, res); }

    QString pdfdir;
};

// Each case's calls, one "number|reference|result" each, and the log they leave.
TEST_F(WriteLog, FilesMatchTheHandWrittenLogs) {
    const std::pair<const char*, QStringList> cases[] = {
        {"first_call.csv", {"EP1234567|CASE 7|Downloaded (12 Pages )"}},
        {"several_calls.csv",
         {"EP1234567|R1|Downloaded (12 Pages )", "WO04012345|R1|Not found (Patent not found)",
          "US5123456|R1|Downloaded (3 Pages )"}},
        {"quotes_and_line_ends.csv", {"EP1\"2|a\r\nb|He said \"no\""}},
        {"two_references.csv", {"EP1234567|A!!B|Downloaded (2 Pages )"}},
        {"lone_separator.csv", {"EP1234567|!!|Downloaded (2 Pages )"}},
        {"trailing_separator.csv", {"EP1234567|A!!|Downloaded (2 Pages )"}},
        {"empty_reference.csv", {"EP1234567||Downloaded (2 Pages )"}},
    };
    for (const auto& [name, calls] : cases) {
        QFile::remove(pdfdir + "/bnslog.csv");
        for (const QString& call : calls)
            log(call.section('|', 0, 0), call.section('|', 1, 1), call.section('|', 2));
        EXPECT_EQ(read_file(pdfdir + "/bnslog.csv"),
                  read_file(BQ_SOURCE_DIR "/tests/foundation/data/" + QString(name)))
            << name;
    }
}

// One report line per call, the number cut or padded to 15 characters; the callers' texts
// are cleaned in place. The log's folder is made when missing.
TEST_F(WriteLog, ReportLinesAndCleanedTextsAndAMissingFolder) {
    EXPECT_FALSE(QDir(pdfdir).exists());
    log("ep1234567", "A!!B", "He said \"no\"");
    log("EP12345678901234567", "!!", "Downloaded (1 Pages )");
    EXPECT_EQ(ctx.state.report_text, "EP1234567      \tHe said \"no\"\r\n"
                                     "EP1234567890123\tDownloaded (1 Pages )\r\n");
    QString pat = "EP1\r2", ref = "R\"1", res = "a\nb";
    writelog(ctx, pat, ref, res);
    EXPECT_EQ(pat + '|' + ref + '|' + res, "EP1 2|R 1|a b");
    // A folder standing where the log should be: the line is lost without a word.
    EXPECT_TRUE(QFile::remove(pdfdir + "/bnslog.csv"));
    QDir().mkpath(pdfdir + "/bnslog.csv");
    log("EP2", "", "y");
    EXPECT_EQ(ctx.state.report_text.count("\r\n"), 4);
}

} // namespace
