#include "order/order_run.h"
#include "order_fixture.h"

namespace {

using CancelRestart = OrderTest;

// A cancel in the certificate step of US5123456, then the restarted program's list ordered again
// with the reference typed anew: the lines logged stay, a delivered number comes from the
// folder, the number under way and those after it get one line, from the second order.
TEST_F(CancelRestart, NoNumberLostOrLoggedTwice) {
    startSimulator();
    host.onStatus = [&](const QString& text) {
        if (text.contains(" Certificate of correction downloading") && !ctx.state.order_cancelled)
            cancel_order(ctx, "brightquill", [] {});
    };
    order("EP1000001\r\nXX999\r\nUS5123456\r\nWO2004012345");
    const QStringList first = logRecords();
    EXPECT_EQ(host.status(), "Job cancelled");
    EXPECT_EQ(host.reportsShown, 0);
    const QString list = "EP1000001,XX999,US5123456,WO04012345,";
    ASSERT_EQ(shell.started, QStringList{"brightquill [" + list + "]"});
    host.onStatus = nullptr;
    handle_command_line(ctx, list);
    host.setText2("REF");
    order_run(ctx);
    const QStringList second = logRecords().mid(first.size());

    ASSERT_EQ(first.size(), 2) << first.join('\n').toStdString();
    EXPECT_EQ(first[0], "EP1000001|REF|Downloaded (6 Pages )");
    EXPECT_TRUE(first[1].startsWith("XX999|REF|Not found"));
    ASSERT_EQ(second.size(), 4) << second.join('\n').toStdString();
    EXPECT_EQ(second[0], "EP1000001|REF|Retrieved from cache (6 Pages )");
    EXPECT_EQ(second[1], first[1]);
    EXPECT_TRUE(second[2].startsWith("US5123456|REF|")); // delivered or not: one line
    EXPECT_EQ(second[3], "WO04012345|REF|Downloaded (4 Pages )");
}

} // namespace
