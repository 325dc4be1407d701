#include "gui/desktop_notification.h"
#include "gui/report_window.h"
#include "pdf/page_count.h"
#include "window_fixture.h"

#include <QLabel>
#include <QRegularExpression>

namespace {

using OrderWindow = WindowTest;

TEST_F(OrderWindow, BarFollowsThePagesOfOneDocument) {
    order("EP1000023");
    const QRegularExpression page(" page (\\d+) out of 23 pages");
    QStringList pages;
    for (const auto& s : form->atStatus) {
        const auto m = page.match(s.status);
        if (!m.hasMatch())
            continue;
        EXPECT_TRUE(s.shown);
        EXPECT_EQ(s.bar, "0 of 1, page " + m.captured(1) + " of 23") << s.status.toStdString();
        EXPECT_EQ(s.percent, m.captured(1).toInt() * 100 / 23) << s.status.toStdString();
        pages << m.captured(1);
    }
    EXPECT_EQ(pages.size(), 23);
    EXPECT_FALSE(form->seen().shown);
    EXPECT_TRUE(QFile::exists(pdf + "/REF/EP1000023.pdf"));
}

TEST_F(OrderWindow, BarCountsTheNumbersAndTheReportTheMissing) {
    order("EP1000001\nJP2001123456\nXX999\nWO2004012345\nQQ123456");
    QStringList bars;
    for (const auto& s : form->atProgress)
        bars << (s.shown ? s.bar : "hidden");
    EXPECT_EQ(bars,
              QStringList({"0 of 5", "1 of 5", "2 of 5", "3 of 5", "4 of 5", "5 of 5", "hidden"}));

    ReportWindow* report = form->reportWindow();
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(report->findChild<QLabel*>("counts")->text(), "3 delivered, 2 missing");
    form->setText1("");
    report->findChild<QPushButton*>("reorder")->click();
    EXPECT_EQ(form->text1(), "XX999\r\nQQ123456");
}

// The counting line and the button read the report's own lines: the front-page report too.
TEST_F(OrderWindow, ReportCountsEveryKindOfLine) {
    RunContext& ctx = form->context();
    ctx.state.report_text = "EP1            \tDownloaded (3 Pages )\r\n"
                            "EP2            \tRetrieved from cache (2 )\r\n"
                            "JP3            \tTranslated (4 pages)\r\n"
                            "FP_EP4  \tFront page\r\n"
                            "FP_EP5         \tNot found (Patent not found)\r\n"
                            "EP6  \tNOT FOUND\r\n"
                            "no tab on this line\r\n";
    ReportWindow report(ctx, "REF");
    EXPECT_EQ(report.findChild<QLabel*>("counts")->text(), "4 delivered, 2 missing");
    report.orderMissingAgain();
    EXPECT_EQ(form->text1(), "EP5\r\nEP6");
}

TEST_F(OrderWindow, TheBoxesOfTheWindowReachTheRun) {
    // DEPATISnet ticked: it is asked first, and a document found there needs nobody else
    // (without the box the chain asks the company's servers first).
    order("DE29919451U", "depatis");
    EXPECT_TRUE(sim->requests("CompanyLookupHost").empty());
    EXPECT_TRUE(QFile::exists(pdf + "/REF/DE29919451U.pdf"));

    // Front pages: Canada cuts its own.
    order("CA2172863", "fp");
    EXPECT_TRUE(form->context().state.report_text.contains("FP_CA2172863  \tFront page"));
    EXPECT_EQ(pdfnumpages(pdf + "/REF/FP_CA2172863.pdf"), "1 Pages");
}

TEST(Notification, OnlyLongOrdersEndingBehindAnotherWindow) {
    struct Row {
        qint64 ms;
        bool shown, active, due;
    } rows[] = {{kNotifyAfterMs + 1, true, false, true},
                {kNotifyAfterMs, true, false, false},
                {kNotifyAfterMs + 1, true, true, false},
                {kNotifyAfterMs + 1, false, false, false}}; // a command-line order
    for (const Row& r : rows)
        EXPECT_EQ(notification_due(r.ms, r.shown, r.active), r.due) << r.ms;
}

} // namespace
