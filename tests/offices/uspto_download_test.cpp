#include "offices/uspto.h"
#include "order/order_run.h"
#include "uspto_fixture.h"

#include <optional>

using Answer = LoopbackServer::Answer;

TEST_F(UsptoTest, OrderSendsForcedAndBareNumbersToTheImageServers) {
    LoopbackServer applications;
    point_roles({"UsptoPdfApplicationHost"}, applications.host());
    const std::string pdf = document(2).toStdString();
    server.onAny([&](const auto&) { return Answer::bytes(pdf); });
    applications.onAny([&](const auto&) { return Answer::bytes(pdf); });

    host.setText1("5123456\r\n*USD339456\r\nUSA20010000044\r\n*USRE35312E\r\n");
    order_run(ctx);

    EXPECT_EQ(server.targets(),
              (std::vector<std::string>{"/fdd/56/234/051/0.pdf", "/fdd/56/394/D03/0.pdf",
                                        "/fdd/2E/531/RE3/0.pdf"}));
    EXPECT_EQ(applications.targets(), std::vector<std::string>{"/fdd/44/0010/00/000/0.pdf"});
    EXPECT_EQ(files(pdfdir), (QStringList{"US5123456.pdf", "USA20010000044.pdf", "USD339456.pdf",
                                          "USRE35312E.pdf", "bnslog.csv"}));
    EXPECT_EQ(ctx.state.report_text.count("\tDownloaded (2 Pages )\r\n"), 4)
        << ctx.state.report_text.toStdString();
}

TEST_F(UsptoTest, OutcomesOfOneFetch) {
    const std::string pdf = document(3).toStdString();
    struct Case {
        const char* name;
        Answer answer;
        std::optional<QByteArray> onDisk; // content left as US5123456.pdf
        const char* result;               // the result word in the report
        const char* status;               // the last status before the window title is reset
    } cases[] = {
        {"pdf", Answer::bytes(pdf), QByteArray::fromStdString(pdf), "Downloaded (3 Pages )",
         "US5123456 Done"},
        {"html", Answer::text("<html>Not found</html>", 404), std::nullopt,
         "US5123456 Error in download", "US5123456 - US5123456 Error in download"},
        // A fetch without answer writes nothing; the page count then leaves an empty file
        // that is logged as downloaded and counts as cached from now on.
        {"refused", refused(), "", "Downloaded (0.00 MB )", "US5123456 Starting download"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(pdfdir).removeRecursively();
        ctx.state.report_text.clear();
        server.clearRequests();
        server.on("/fdd/56/234/051/0.pdf", [&](const auto&) { return c.answer; });
        QString number = "us-5123456";
        uspto_download(ctx, number, "");
        EXPECT_EQ(number, "US5123456");
        // One request; the web layer may send it again when its redirect is refused.
        EXPECT_GE(server.requestCount(), 1u);
        EXPECT_TRUE(server.requestCount() == 1 || c.answer.status == 302);
        const QString file = pdfdir + "US5123456.pdf";
        EXPECT_EQ(QFile::exists(file), c.onDisk.has_value());
        EXPECT_EQ(read_file(file), c.onDisk.value_or(""));
        EXPECT_EQ(ctx.state.report_text, "US5123456      \t" + QString(c.result) + "\r\n");
        EXPECT_EQ(host.statusHistory.last(), c.status);
        EXPECT_EQ(host.title(), "Bright Quill - Desktop edition");
        EXPECT_EQ(files(pdfdir).filter("test.pdf"), QStringList());

        // Whatever stands under the name now is the cached document, unchecked.
        server.clearRequests();
        uspto_download(ctx, number, "");
        EXPECT_EQ(server.requestCount(), QFile::exists(file) ? 0u : 1u);
    }
}

TEST_F(UsptoTest, CancelledOrderStillFetchesButLogsNothing) {
    const std::string pdf = document(1).toStdString();
    server.onAny([&](const auto&) { return Answer::bytes(pdf); });
    ctx.state.order_cancelled = true;
    QString number = "USD339456";
    uspto_download(ctx, number, "Case 7");
    EXPECT_TRUE(QFile::exists(pdfdir + "Case_7/USD339456.pdf"));
    EXPECT_EQ(host.status(), "Job cancelled");
    EXPECT_FALSE(host.statusHistory.contains("USD339456 Done"));
    EXPECT_TRUE(ctx.state.report_text.isEmpty());
}
