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
    const QString in = "|REF|Downloaded (INPI)";
    // The lines (separated by ","), the site's paths asked for ("?": the search), the log, a
    // status shown on the way, the pages of the file left (0: an error page).
    const std::tuple<const char*, const char*, QString, const char*, int> cases[] = {
        {"FR2900001,FR 2900001", "? /brevet/PDF/FR2900001.pdf ?",
         "FR2900001" + in + ";FR2900001" + in, "FR2900001 Retrieved from cache", 2},
        {"FR2900002", "? /brevet/PDF/FR2900002.pdf", "FR2900002" + in,
         "FR2900002 Downloading the document please wait! ", 0},
        {"FR2812345B1", "?", "FR2812345B1|REF|Downloaded (3 Pages )", "", 3},
    };
    for (const auto& [list, paths, log, status, pages] : cases) {
        SCOPED_TRACE(list);
        QDir(pdf).removeRecursively();
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
        EXPECT_TRUE(QFile::exists(name));
        EXPECT_EQ(pageLabels(name).size(), pages);
    }
}
