#include "offices/office_table.h"
#include "order/routing.h"
#include "recording_shell.h"
#include "test_env.h"

#include <gtest/gtest.h>

namespace {

TEST(CanonicalSpelling, RewritesEachWritingStyle) {
    const std::pair<const char*, const char*> cases[] = {
        {"ep 1 234 567 a1", "EP1234567"},
        {"EP1234567A", "EP1234567"},
        {"EP1234567A1A", "EP1234567"}, // the three tests run one after the other
        {"EP1234567AA1", "EP1234567A"},
        {"EP1234567B1", "EP1234567B1"},
        {"EP1234567A3", "EP1234567A3"},
        {"WO 2004/012345", "WO04012345"},
        {"WO2000/12345", "WO0012345"},
        {"WO2001/12345", "WO0112345"}, // 2000 and 2001 keep five-digit serials
        {"WO2002/51230", "WO0251230"},
        {"WO2002/51231", "WO02051231"},
        {"WO98/12345", "WO9812345"},
        {"WO98/123", "WO9800123"},
        {"WO2004012345A1", "WO04012345A1"},
        {"WO04/0000012", "WO04000012"}, // zeros dropped down to five digits, then one back
        {"WOXX123", "WOXX000123"},      // a third character that is no digit: below 70
        {"WO", "WO000000"},
        {"5,123,456", "5123456"},
        {"US 5-123-456", "US5123456"},
        {"jp 2001/123456 a", "JP2001123456A"},
        {"  ", ""},
        {"EP1.5", "EP1.5"}, // the period is not a separator here
    };
    for (const auto& [typed, canonical] : cases)
        EXPECT_EQ(canonical_list(typed), QString(canonical) + "\r\n") << typed;
    // One line per line, the empty ones kept, and a line end behind the last.
    EXPECT_EQ(canonical_list("ep1a1\r\n\r\nwo2004/012345\r\n"), "EP1\r\n\r\nWO04012345\r\n\r\n");
    EXPECT_EQ(canonical_list(""), "\r\n");
}

// Each line, whether the DEPATISnet box is ticked, and the retriever, the number it is
// handed and its flags; "skip" for a line that is passed over.
TEST(Routing, FirstMatchingRowOfTheOfficeTableWins) {
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"AUA2004123456", false, "australia_download AUA2004123456"},
        {"5123456", false, "uspto_download US5123456 force"},
        {"1234567", true, "uspto_download US1234567 force"},
        {"9123456", false, "get_patent 9123456"},
        {"0123456", false, "get_patent 0123456"},
        {"*USD339456", false, "uspto_download USD339456 force"},
        {"USA20010000044", false, "uspto_download USA20010000044"},
        {"US5123456", false, "get_patent US5123456"},
        {"CN1234567", true, "cnpto_download CN1234567"},
        {"FW1234567", false, "epoline_download FW1234567"},
        {"FR2812345B", false, "inpi_download FR2812345B"},
        {"MT2001123456", false, "jpo_translation_download MT2001123456"},
        {"JP2001123456MT", false, "jpo_translation_download JP2001123456MT"},
        {"JP2001123456", false, "get_patent JP2001123456"},
        {"AU2004123456", false, "get_patent AU2004123456"},
        {"#DE1234567", false, "depatis_download DE1234567"},
        {"DE1234567", true, "depatis_download DE1234567 fallback"},
        {"EP1234567", false, "get_patent EP1234567"},
        {"ABC", false, "get_patent ABC"},
        {"AB", false, "skip"},
        {"", true, "skip"},
    };
    for (const auto& [line, depatis, expected] : cases) {
        const Routing r = route_line(line, depatis);
        const QString got = QString("%1 %2%3%4")
                                .arg(r.office ? r.office->retriever : "get_patent", r.number,
                                     r.forceUspto ? " force" : "", r.fallback ? " fallback" : "");
        EXPECT_EQ(r.skip ? "skip" : got, expected) << line;
    }
}

// Every retriever the routing reaches, replaced by one that notes its call.
class Dispatch : public RunTest {
protected:
    void SetUp() override {
        Retrievers& r = retrievers(ctx);
        auto rec = [this](const QString& name) {
            return [this, name](RunContext& c, QString& n, const QString& ref) {
                calls << QStringLiteral("%1 %2 %3 %4").arg(name, n, ref, c.state.force_uspto);
                n = QStringLiteral("REWRITTEN"); // a retriever may rewrite the number in place
            };
        };
        r.byName.insert(QStringLiteral("get_patent"), rec(QStringLiteral("get_patent")));
        for (const Office& o : office_table())
            r.byName.insert(QLatin1String(o.retriever), rec(QLatin1String(o.retriever)));
        r.depatis_download = [this](RunContext& c, QString& n, const QString& ref, bool fb) {
            calls << QStringLiteral("depatis(%1) %2 %3 %4")
                         .arg(fb ? "true" : "false", n, ref, c.state.force_uspto);
        };
    }
    QStringList calls;
};

TEST_F(Dispatch, HandsEveryLineToItsRetrieverWithTheReference) {
    dispatch_list(
        ctx,
        canonical_list("5,123,456\r\nAB\r\nep 1234567 a1\r\n*usre35312\r\n#de123\r\nwo2004/"
                       "12345\r\nCN1\r\n"),
        "Case 7");
    EXPECT_EQ(calls,
              QStringList({"uspto_download US5123456 Case 7 1", "get_patent EP1234567 Case 7 0",
                           "uspto_download USRE35312 Case 7 1", "depatis(false) DE123 Case 7 0",
                           "get_patent WO04012345 Case 7 0", "cnpto_download CN1 Case 7 0"}));
    // The DEPATISnet box is read for each line (ticked during the run, it counts from the
    // next), and a cancel ends the walk.
    calls.clear();
    retrievers(ctx).byName["cnpto_download"] = [&](RunContext& c, QString& n, const QString&) {
        calls << "cnpto_download " + n;
        host.depatis = true;
        c.state.order_cancelled = n == "CN3";
    };
    dispatch_list(ctx, "CN1\r\nEP2\r\nCN3\r\nEP4\r\n", "");
    EXPECT_EQ(calls,
              QStringList({"cnpto_download CN1", "depatis(true) EP2  0", "cnpto_download CN3"}));
}

} // namespace
