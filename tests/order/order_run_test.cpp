#include "foundation/general.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "office_fixture.h"
#include "order/order_run.h"
#include "retrieval/retrievers.h"
#include "settings_fixture.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class OrderRun : public RunTest {
protected:
    void SetUp() override {
        pdf = test_root() + "/order-pdf";
        QDir(pdf).removeRecursively();
        set_settings({{"PDFDIR", pdf}, {"TEMPDIR", test_root() + "/order-tmp"}});
        host.setText2("");
    }
    QString pdf;
};

// The raw command line: the kind of action, and what lands in Text1 and Text2. A list file
// loses its punctuation.
TEST_F(OrderRun, CommandLines) {
    using K = CommandLineAction::Kind;
    const QString file = test_root() + "/Numbers List.txt";
    write_file(file, "EP 1.234.567\nWO2004/012345,\r\nUS5-123-456\n");
    const std::tuple<QString, K, QString, QString> cases[] = {
        {"/P:EP1234567,WO0012345 /R:CASE 7", K::RunOrder, "EP1234567\r\nWO0012345", "CASE 7"},
        {"/p:ep1 /r: case a/b ", K::RunOrder, "EP1", "CASE A/B"},
        {"/P:EP1234567", K::RunOrder, "EP1234567", ""},
        {"/X:123", K::ShowList, "/X:123", ""},
        {"EP1,WO2", K::ShowList, "EP1\r\nWO2", ""},
        {"ab", K::Ignore, "unchanged", ""},
        {"/F:/no/such/file.txt", K::ShowList, "/F:/no/such/file.txt", ""},
        {"/F:" + file, K::RunOrder, "EP 1234567\r\nWO2004012345\r\nUS5123456\r\n", ""},
    };
    for (const auto& [raw, kind, text1, text2] : cases) {
        host.setText1("unchanged");
        host.setText2("");
        EXPECT_EQ(handle_command_line(ctx, raw).kind, kind) << raw.toStdString();
        EXPECT_EQ(host.text1() + '|' + host.text2(), text1 + '|' + text2);
    }
}

TEST_F(OrderRun, RunsTheListAndShowsTheReport) {
    QStringList seen;
    retrievers(ctx).byName["get_patent"] = [&](RunContext& c, QString& n, const QString& ref) {
        EXPECT_TRUE(host.orderRunning());
        seen << n + "|" + ref;
        QString r = ref, res = "Not found (Patent not found)";
        writelog(c, n, r, res);
    };
    host.setText1("ep 1234567 a1\r\n\r\nAB\r\nwo2004/012345");
    host.setText2("  Case 7 ");
    order_run(ctx);
    EXPECT_EQ(seen, QStringList({"EP1234567|Case 7", "WO04012345|Case 7"}));
    EXPECT_EQ(host.text1(), "EP1234567\r\n\r\nAB\r\nWO04012345\r\n");
    EXPECT_FALSE(host.orderRunning());
    EXPECT_EQ(host.reportsShown, 1);
    // No retriever set the folder: the report looks in PDFDIR.
    EXPECT_EQ(ctx.state.report_folder, pdf + "/");
    EXPECT_EQ(ctx.state.report_text.count("\r\n"), 2);
    // An empty list shows an empty report.
    host.setText1("\r\n  \r\n");
    order_run(ctx);
    EXPECT_EQ(host.reportsShown, 2);
    EXPECT_EQ(ctx.state.report_text, "");
}

TEST_F(OrderRun, FrontPageReportIsBuiltFromTheFiles) {
    const QString folder = pdf + "/";
    QDir().mkpath(folder);
    // The front page is cut from a document at the end of the order.
    write_file(folder + "EP1234567.pdf", onePagePdf("E"));
    write_file(folder + "FP_WO04012345.pdf", "%PDF");
    write_file(folder + "US5123456.pdf", "%PDF");
    retrievers(ctx).byName["get_patent"] = [](RunContext&, QString&, const QString&) {};
    retrievers(ctx).byName["uspto_download"] = [](RunContext&, QString&, const QString&) {};
    host.fp = true;
    host.setText1("EP1234567\r\nWO04012345\r\n5123456\r\nXX1");
    order_run(ctx);
    EXPECT_EQ(ctx.state.report_text, "FP_EP1234567  \tFront page\r\nFP_WO04012345  \tFront page\r\n"
                                     "5123456  \tNOT FOUND\r\nXX1  \tNOT FOUND\r\n");
    EXPECT_EQ(pageLabels(folder + "FP_EP1234567.pdf"), QStringList{"E 1"});
    EXPECT_TRUE(QFile::exists(folder + "EP1234567.pdf"));
}

// A cancel restarts the program with the list alone, commas inside a line taken out.
TEST_F(OrderRun, CancelRestartsWithTheListOnly) {
    EXPECT_EQ(cancel_list(""), "");
    EXPECT_EQ(cancel_list("EP1\r\nWO2,3\r\n"), "EP1,WO23,");
    bool ended = false;
    host.setText1("");
    host.setOrderRunning(true);
    cancel_order(ctx, "/opt/bq/brightquill", [&] { ended = true; });
    EXPECT_TRUE(ended);
    EXPECT_TRUE(ctx.state.order_cancelled);
    EXPECT_EQ(shell.started, QStringList({"/opt/bq/brightquill []"}));
}

TEST_F(OrderRun, StartupReadsCheck1FromTheOldKey) {
    host.check1 = false;
    startup(ctx);
    EXPECT_TRUE(host.check1); // nothing in the old key: ticked
    set_settings({{"NEWESPACE", "0"}}, old_settings_key);
    startup(ctx);
    EXPECT_FALSE(host.check1);
    set_settings({{"NEWESPACE", "1"}});
    startup(ctx); // the live key's value is not what start-up reads
    EXPECT_FALSE(host.check1);
    QFile::remove(registryFile(old_settings_key));
    EXPECT_TRUE(QDir(pdf).exists());
}

} // namespace
