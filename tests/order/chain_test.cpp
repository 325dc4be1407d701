#include "foundation/general.h"
#include "foundation/log.h"
#include "order/order_run.h"
#include "order_fixture.h"
#include "retrieval/get_patent.h"
#include "retrieval/retrievers.h"
#include "settings_fixture.h"

#include <QFile>

namespace {

using Answer = LoopbackServer::Answer;
using Request = LoopbackServer::Request;

// The whole order run against the simulator. The retrievers of the offices stand in as
// recorders, so that the order of the chain can be read off one list of events together
// with the requests to the company's lookup scripts and the site step's status.
class Chain : public OrderTest {
protected:
    void SetUp() override {
        OrderTest::SetUp();
        host.onStatus = [this](const QString& text) {
            if (text.endsWith(" Checking if patent exists (Espacenet site)"))
                note("site");
        };
        Retrievers& r = retrievers(ctx);
        auto wipo = r.byName["wipo_download"];
        r.byName["wipo_download"] = [this, wipo](RunContext& c, QString& n, const QString& ref) {
            note("wipo:" + n);
            wipo(c, n, ref);
        };
        r.byName["jpo_download"] = recorder("jpo", false);
        r.depatis_download = [this](RunContext&, QString& n, const QString&, bool fallback) {
            note("depatis:" + n + (fallback ? "+" : ""));
        };
        for (const char* office : {"canada", "uspto", "australia", "kipris", "rupto", "spain"})
            r.byName[QLatin1String(office) + QString("_download")] = recorder(office, true);
    }
    // A national retriever that finds nothing and, if it logs, says so in its own words.
    Retriever recorder(const QString& name, bool logs) {
        return [this, name, logs](RunContext& c, QString& n, const QString& ref) {
            note(name + ':' + n);
            if (logs)
                writelog_copy(c, n, ref, name + " has nothing");
        };
    }
    // Orders one list with a fresh log; the events it caused.
    QStringList orderAlone(const QString& list, const QString& reference = "REF") {
        QFile::remove(pdf + "bnslog.csv");
        const qsizetype before = events().size();
        order(list, reference);
        return events().mid(before);
    }
};

// The fallback order, by kind of number, with nothing held anywhere: with Check1 ticked
// and with it clear (then there is no site step). The last retriever asked logs the number
// it was handed: a national recorder in its own words, the rest as not found.
TEST_F(Chain, FallbackOrderByKindOfNumber) {
    startSimulator();
    // The number, and the events with Check1 ticked.
    const std::pair<const char*, const char*> rows[] = {
        {"EP1234567", "cache bnsinfo site depatis:EP1234567 depatis:EP1234567"},
        {"EP1234567B1", "cache bnsinfo depatis:EP1234567B1 depatis:EP1234567B1"},
        {"EP1234567B", "cache bnsinfo depatis:EP1234567B1 depatis:EP1234567B1"},
        {"EP1234567A3", "cache bnsinfo depatis:EP1234567A3 depatis:EP1234567A3"},
        {"WO2004999999", "cache wipo:WO04999999 bnsinfo site wipo:WO04999999 wipo:WO04999999 "
                         "depatis:WO04999999 depatis:WO04999999"},
        {"US5999999", "cache bnsinfo site uspto:US5999999"},
        {"US20040123456", "cache cache bnsinfo site uspto:US20040123456"},
        {"JP2001999999", "cache bnsinfo site jpo:JP2001999999 depatis:JP2001999999 "
                         "depatis:JP2001999999"},
        {"CA1234567", "cache bnsinfo site depatis:CA1234567 canada:CA1234567"},
        {"AU2003123456", "cache bnsinfo site depatis:AU2003123456 australia:AU2003123456"},
        {"ES2123456", "cache bnsinfo site depatis:ES2123456 spain:ES2123456"},
        {"FR2999999B", "cache frbdoc bnsinfo site depatis:FR2999999B depatis:FR2999999B"},
        {"FR2999999B1", "cache frbdoc bnsinfo depatis:FR2999999B1 depatis:FR2999999B1"},
        {"DE19912345", "cache bnsinfo site depatis:DE19912345 depatis:DE19912345"},
        {"xx-999", "cache bnsinfo site depatis:XX999 depatis:XX999"},
    };
    for (bool check1 : {true, false}) {
        host.check1 = check1;
        for (const auto& [number, chain] : rows) {
            SCOPED_TRACE(std::string(number) + (check1 ? " Check1 ticked" : " Check1 clear"));
            QStringList expected = QString(chain).split(' ');
            if (!check1)
                expected.removeAll("site");
            EXPECT_EQ(orderAlone(number), expected);
            const QString who = expected.last().section(':', 0, 0);
            const bool recorded = !QStringList{"depatis", "wipo", "jpo"}.contains(who);
            EXPECT_EQ(logRecords(), QStringList{expected.last().section(':', 1) + "|REF|" +
                                                (recorded ? who + " has nothing"
                                                          : "Not found (Patent not found)")});
        }
        EXPECT_EQ(setting("NEWESPACE", "?"), check1 ? "1" : "0");
        EXPECT_EQ(host.title(), "Bright Quill - Desktop edition");
    }
    // Switched off, the availability check asks the national server nothing; nor does
    // the site step ask the site.
    EXPECT_TRUE(sim->requests("EspacenetNationalHost").empty());
    EXPECT_TRUE(sim->requests("EspacenetSiteHost").empty());
    EXPECT_TRUE(files().isEmpty());
}

// The company cache: an answer counts when it names the file; a body whose highest index
// is 3000 or less is an error page; long US numbers are asked a second time in short form.
TEST_F(Chain, CompanyCacheRules) {
    startSimulator();
    std::string body;
    server.on("/lookup/cache.asp", [&](const Request& r) {
        std::string pn = r.query.at("PN");
        if (pn == "EP2222222")
            pn = "ep2222223"; // the file of another number
        else if (pn != "US2004123456" && pn != "EP1111111")
            return Answer::text("nothing");
        return Answer::text("HTTP://" + server.host().toStdString() + "/Files/" + pn + ".PDF");
    });
    server.onAny([&](const Request&) { return Answer::bytes(body); });
    point_roles({"CompanyWebHost"}, server.host());

    const std::string pdf3 = read_file(samples + "/cache/JP2001123456.pdf").toStdString();
    const struct {
        const char* number;
        std::string body;
        const char* log; // how the record begins
    } cases[] = {{"EP1111111", std::string(3001, 'x'), "Not found (Patent not found)"},
                 {"EP1111111", std::string(3002, 'x'), "Retrieved from cache ("},
                 {"EP2222222", pdf3, "Not found (Patent not found)"},
                 {"US20040123456", pdf3, "Retrieved from cache (3 Pages )"}};
    for (const auto& c : cases) {
        body = c.body;
        order(c.number);
        EXPECT_TRUE(logRecords().last().startsWith(QString(c.number) + "|REF|" + c.log))
            << logRecords().last().toStdString();
    }
    EXPECT_EQ(read_file(file("EP1111111")).size(), 3002);
    std::vector<std::string> asked;
    for (const std::string& t : targetsOf("/lookup/cache.asp"))
        asked.push_back(t.substr(t.find("PN=") + 3));
    EXPECT_EQ(asked, (std::vector<std::string>{"EP1111111", "EP1111111", "EP2222222",
                                               "US20040123456", "US2004123456"}));
}

// The EP front page comes ready from the publication server under the number's name; the
// end of the order makes the "FP_" file from it.
TEST_F(Chain, FrontPageOnly) {
    startSimulator();
    make_sample_pdf(samples + "/lookup/JP2002000001.pdf", "J", 4, 500);
    host.fp = true;
    order("EP1000001\r\nJP2002000001\r\nXX999");
    EXPECT_EQ(logRecords(), QStringList({"FP_EP1000001|REF|Downloaded (Front page)",
                                         "FP_JP2002000001|REF|Downloaded (Front page)",
                                         "FP_XX999|REF|Not found (Patent not found)"}));
    EXPECT_EQ(pageLabels(file("EP1000001")), QStringList{"EP1000001 1"});
    EXPECT_EQ(pageLabels(file("FP_EP1000001")), QStringList{"EP1000001 1"});
    EXPECT_EQ(pageLabels(file("FP_JP2002000001")), QStringList{"J 1"});
    EXPECT_FALSE(QFile::exists(file("JP2002000001")));
    EXPECT_EQ(sim->requests("CompanyPublicationHost").size(), 1u);
}

// A reference of several cases logs each; ordered again, the document is taken from the
// folder as it stands, and nothing is asked.
TEST_F(Chain, SeveralCasesAndADocumentAlreadyThere) {
    startSimulator();
    order("EP1000001", "A!!B");
    EXPECT_EQ(logRecords(), QStringList({"EP1000001|A|Downloaded (6 Pages )",
                                         "EP1000001|B|Downloaded (6 Pages )"}));
    EXPECT_EQ(pageLabels(file("EP1000001", "A!!B/")).size(), 6);
    EXPECT_EQ(orderAlone("EP1000001", "A!!B"), QStringList());
    EXPECT_EQ(logRecords(), QStringList({"EP1000001|A|Retrieved from cache (6 Pages )",
                                         "EP1000001|B|Retrieved from cache (6 Pages )"}));
}

// Odd spellings still end in one log line each, and nothing is left half-done.
TEST_F(Chain, OddNumbersEndInOneLineEach) {
    startSimulator();
    const QStringList odd =
        QString("ep 1000001 |wo-a3|EPB|B1B1B1|US1|frb|EP12345678901234567890B2|JPA").split('|');
    order(odd.join("\r\n"));
    const QStringList log = logRecords();
    ASSERT_EQ(log.size(), odd.size()) << log.join('\n').toStdString();
    EXPECT_EQ(log.first(), "EP1000001|REF|Downloaded (6 Pages )");
    EXPECT_TRUE(files().isEmpty());
}

// The availability check thrown on: the national server's viewer is read page by page,
// the publication that was asked for is chosen, its sections become bookmarks. A US patent
// that must come from the USPTO gets its certificate of correction appended, bookmarked.
TEST_F(Chain, PageWiseBranchWithTheAvailabilityCheckOn) {
    make_sample_pdf(samples + "/espacenet/USPP8901.pdf", "N", 2, 500);
    startSimulator();
    availability_check_enabled() = true;
    set_settings({{"ADDBOOKMARKS", "1"}});
    order("EP1000002B1\r\nEP1000002B2\r\nEP1999999");
    EXPECT_EQ(logRecords(), QStringList({"EP1000002B1|REF|Downloaded (5 Pages )",
                                         "EP1000002B2|REF| (B2 not found)",
                                         "EP1999999|REF|Not found (Patent not found)"}));
    const QString doc = file("EP1000002B1");
    EXPECT_EQ(pageLabels(doc).size(), 5);
    EXPECT_TRUE(read_file(doc).contains("(Claims)"));
    EXPECT_EQ(events().count("depatis:EP1000002B2"), 1);
    const auto national = sim->requests("EspacenetNationalHost");
    ASSERT_FALSE(national.empty());
    EXPECT_EQ(national.front().rfind(
                  "/espacenet/abstract?CY=ep&LG=en&DB=EPD&PN=EP1000002&PNP=EP1000002&PROXY=", 0),
              0u);
    EXPECT_TRUE(std::any_of(national.begin(), national.end(), [](const std::string& t) {
        return t.rfind("/espacenet/bns.pdf?", 0) == 0 &&
               t.find("1000002B1+I+&PG=5&PROXY=") != std::string::npos;
    }));
    EXPECT_TRUE(files().isEmpty());

    for (const char* force : {"0", "1"}) {
        SCOPED_TRACE(force);
        QFile::remove(file("USPP8901"));
        ctx.state.force_uspto = force;
        QString number = "USPP8901";
        get_patent(ctx, number, "REF");
        const bool appended = *force == '1';
        EXPECT_EQ(pageLabels(file("USPP8901")).size(), appended ? 3 : 2);
        EXPECT_EQ(
            read_file(file("USPP8901")).contains("/Title (Correction)\r\n/A << /S /GoTo /D [ 2 "),
            appended);
    }
}

} // namespace
