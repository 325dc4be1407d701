// The simulator's fault switches, as the program's web control meets them (the stall is
// left out: no test waits for a time-out).
#include "foundation/registry.h"
#include "office_fixture.h"
#include "retrieval/kit.h"

#include <QElapsedTimer>

TEST_F(OfficeTest, SimulatorFaultsReachTheWebControlAsTold) {
    Simulator::Options options;
    options.slowMs = 200;
    options.hugeBytes = 3 << 20;
    startSimulator(options);
    const QString url = role_url(QString(), QStringLiteral("CompanyLookupHost"),
                                 QStringLiteral("/bnsinfo.asp?PN=EP1000001"));
    const std::optional<QByteArray> whole = ctx.Inet1.OpenURL(url);
    ASSERT_TRUE(whole && whole->contains("@@@@"));
    const struct {
        Simulator::Fault fault;
        std::optional<qsizetype> size; // nothing: the request fails
        const char* holds = "";
    } cases[] = {
        {Simulator::Fault::Html, 0, "<HTML>"},
        {Simulator::Fault::Status500, 0, "<HTML>"},
        {Simulator::Fault::ShortBody, whole->size() / 2},
        {Simulator::Fault::WrongLength, std::nullopt},
        {Simulator::Fault::Reset, std::nullopt},
        {Simulator::Fault::Slow, whole->size(), "@@@@"},
        {Simulator::Fault::RedirectLoop, std::nullopt},
        {Simulator::Fault::Huge, 3 << 20},
        {Simulator::Fault::Refused, std::nullopt},
        {Simulator::Fault::None, whole->size(), "@@@@"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.fault));
        sim->set_fault(QStringLiteral("CompanyLookupHost"), c.fault);
        closeConnections();
        const std::optional<QByteArray> answer = ctx.Inet1.OpenURL(url);
        EXPECT_EQ(answer.has_value(), c.size.has_value());
        if (answer) {
            EXPECT_TRUE(answer->contains(c.holds));
            if (*c.size) {
                EXPECT_EQ(answer->size(), *c.size);
            }
        }
    }
}
