// INPI: the reading of the search's link, and orders of "FR" numbers against the simulated
// site (which takes only the search's own fixed values).
#include "offices/inpi.h"
#include "order_fixture.h"

#include <QDir>

TEST(InpiNumbers, SearchAndLink) {
    // The document is always asked of INPI's own host: a link to another host or upwards
    // still gives a path below the marker; one without its closing quote gives none.
    const std::pair<const char*, std::optional<QString>> cases[] = {
        {"<a href=\"/brevet/pdf/FR1.pdf\">", "/brevet/pdf/FR1.pdf"},
        {"<A HREF=\"/BREVET/Pdf/FR1.PDF\">", "/BREVET/Pdf/FR1.PDF"},
        {"href=\"http://elsewhere/brevet/pdf/../x\" \"", "/brevet/pdf/../x"},
        {"<a href=/brevet/pdf/FR1.pdf>", ""},
        {"/brevet/pdf\"", std::nullopt},
        {"", std::nullopt}};
    for (const auto& [answer, link] : cases)
        EXPECT_EQ(read_inpi_link(answer), link) << answer;
}

class Inpi : public OrderTest {};

// A number the site doesn't give goes down the chain, which logs it. What a found link gives
// is the document, unchecked: an error page too.
TEST_F(Inpi, OrdersAgainstTheSite) {
    startSimulator();
    using F = Simulator::Fault;
    const QString in = "|REF|Downloaded (INPI)", out = "|REF|Not found (Patent not found)";
    // The lines (separated by ","), the fault, the site's paths asked for ("?": the search), the
    // log, a status shown on the way, the pages of the file left (-1: none, 0: an error page).
    const std::tuple<const char*, F, const char*, QString, const char*, int> cases[] = {
        {"FR2900001,FR 2900001", F::None, "? /brevet/PDF/FR2900001.pdf ?",
         "FR2900001" + in + ";FR2900001" + in, "FR2900001 Retrieved from cache", 2},
        {"FR2900002", F::None, "? /brevet/PDF/FR2900002.pdf", "FR2900002" + in,
         "FR2900002 Downloading the document please wait! ", 0},
        {"FR2812345B1", F::None, "?", "FR2812345B1|REF|Downloaded (3 Pages )", "", 3},
        {"FR2900001", F::Refused, "", "FR2900001" + out, "", -1},
        {"FR2900001", F::Html, "?", "FR2900001" + out, "", -1},
    };
    for (const auto& [list, fault, paths, log, status, pages] : cases) {
        SCOPED_TRACE(std::string(list) + " fault " + std::to_string(int(fault)));
        QDir(pdf).removeRecursively();
        sim->set_fault("InpiHost", fault);
        closeConnections();
        host.statusHistory.clear();
        const size_t before = sim->requests("InpiHost").size();
        order(QString(list).replace(",", "\r\n"));
        QStringList asked;
        for (const std::string& t : sim->requests("InpiHost"))
            asked << (t.find("BRVinpi.cgi?") != std::string::npos ? "?"
                                                                  : QString::fromStdString(t));
        EXPECT_EQ(asked.mid(int(before)).join(' '), paths);
        EXPECT_EQ(logRecords().join(';'), log);
        EXPECT_TRUE(host.statusHistory.contains(status) || !*status) << status;
        const QString name = file(QString(list).section(',', 0, 0));
        EXPECT_EQ(QFile::exists(name), pages >= 0);
        if (pages > 0) {
            EXPECT_EQ(pageLabels(name).size(), pages);
        }
    }
}
