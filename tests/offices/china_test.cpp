// SIPO: number forms, addresses and page readers; whole orders against the simulator with the
// real converter programs; and what each fault of SIPO, the relay or a converter leads to.
#include "foundation/general.h"
#include "offices/china.h"
#include "order_fixture.h"
#include "retrieval/retrievers.h"
#include "settings_fixture.h"
#include "uspto_samples.h"

#include <QDir>
#include <QFile>
#include <QProcess>

using Answer = LoopbackServer::Answer;

TEST(Sipo, NumbersAddressesAndReaders) {
    // Number ("_" a blank), "b" or "c", search number; rows separated by ",".
    for (const QString& c : QString("CN1145230B b 1145230,CN1130774 c 1130774,CN1130774A c 1130774,"
                                    "CN1145230B1 c 11452301,CN2000001Y b 2000001,CN2000001U b "
                                    "2000001,CN1T2A3 c 123,CN_1145230T_ b 1145230,CN c ,CNB b ")
                                .split(',')) {
        const QString number = c.section(' ', 0, 0).replace('_', ' '), key = c.section(' ', 1, 1),
                      search = c.section(' ', 2);
        const SipoSearch s = sipo_search(number);
        EXPECT_EQ(s.searchNumber, search) << c.toStdString();
        EXPECT_EQ(s.pathAndQuery, QString("/cgi-bin/forsearch/client/for_search?flag=1&libname="
                                          "zhuanli&a=&b=%1&c=%2&d=&e=&f=&g=&h=&i=&j=&k=&l=&m=&n="
                                          "&o=&p=&q=")
                                      .arg(key == "b" ? search : "", key == "c" ? search : ""))
            << c.toStdString();
    }

    const QString page = "seg1[0]='2004 0616  1145230 ';seg3[0]=' 1 2 ';ccm_fileno[0]=' F1 ';"
                         "var ccm_express=\"E 1 \";var ccm_libname=\"L1\";";
    const SipoRecord r = read_sipo_record(page);
    EXPECT_EQ(sipo_page_count_query(r), "/cgi-bin/forsearch/client/gettext?fileno=F1&express=E 1"
                                        "&libname=L1&dirno=200406161145230%20%20&pagenum=12");
    EXPECT_EQ(sipo_relay_path(r.dirno, 1), "/cn2tif/cnt.asp?PN=/20040/200406161145230.1");
    // Without its closing quote a value is empty; the thirteenth character of the express
    // marker is taken for its quote.
    const SipoRecord odd = read_sipo_record("seg3[0]='7';seg1[0]='2004;ccm_express= \"E\"");
    EXPECT_TRUE(odd.found && odd.pageCount == "7" && odd.dirno.isEmpty() && odd.express.isEmpty());
    EXPECT_FALSE(read_sipo_record("seg3 seg1 ccm_express").found);

    // Page-count answer | the count text read | the count ("-": none); rows separated by ",".
    const QString counts = "var ccm_pagenum= 12 ;x|12|12,ccm_pagenum=7|7|7,no count|-|-,"
                           "ccm_pagenum=;||-,ccm_pagenum=0;|0|-,ccm_pagenum=-4;|-4|-,ccm_pagenum="
                           "7abc;|7abc|-,ccm_pagenum=4.0;|4.0|-,ccm_pagenum=2147483647;|2147483647"
                           "|2147483647,ccm_pagenum=2147483648;|2147483648|-";
    for (const QString& c : counts.split(',')) {
        const QStringList f = c.split('|');
        const std::optional<QString> told = read_sipo_page_count(f[0]);
        EXPECT_EQ(told.value_or("-"), f[1]) << c.toStdString();
        EXPECT_EQ(sipo_count(told.value_or("")).value_or(-1), f[2] == "-" ? -1 : f[2].toInt())
            << c.toStdString();
    }
    EXPECT_EQ(read_sipo_page_count("ccm_pagenum=" + QString(400, '1'))->size(), 300);
}

namespace {

// The Group 4 strip of the page that the relay serves: page n is the sample with n marks.
QByteArray strip(int page) {
    return uspto_sample_tiff(page, false).mid(300);
}

// A document's pages carry the strips of pages 1 to n, in this order.
void expectPages(const QString& file, int pages) {
    const QByteArray bytes = read_file(file);
    EXPECT_EQ(pageLabels(file).size(), pages) << file.toStdString();
    for (qsizetype n = 1, at = 0; n <= pages; ++n)
        EXPECT_GE(at = bytes.indexOf(strip(int(n)), at), 0) << "page " << n;
}

} // namespace

using China = OrderTest;

// TIFF pages become documents, converted by the programs that the company's hosts serve (tiffcp
// and tiff2pdf); the page-count request's count wins over the search page's. A document on the disk
// is taken as it is; one below 780 bytes is deleted and sought down the chain.
TEST_F(China, TiffPagesBecomeOneDocument) {
    startSimulator();
    QDir().mkpath(pdf + "REF");
    make_sample_pdf(file("CN2000001Y"), "CACHED", 2, 1000);
    write_file(file("CN1130774"), QByteArray(779, 'x'));
    order("CN1145230B\r\nCN1130774A\r\nCN2000001Y\r\nCN1130774");
    EXPECT_EQ(logRecords(), QStringList({"CN1145230B|REF|Downloaded (5 Pages )",
                                         "CN1130774A|REF|Downloaded (7 Pages )",
                                         "CN2000001Y|REF|Downloaded (2 Pages )",
                                         "CN1130774|REF|Not found (Patent not found)"}));
    expectPages(file("CN1145230B"), 5);
    expectPages(file("CN1130774A"), 7);
    EXPECT_FALSE(QFile::exists(file("CN1130774")));
    // The simulated site finds a document only by the right key, and tells the real count only
    // to a page-count request that echoes its values.
    EXPECT_EQ(sim->requests("CompanyServicesHost").size(), 12u);
    EXPECT_EQ(sim->requests("SipoPatentHost").size(), 4u);
    EXPECT_EQ(files(), QStringList());
}

// SIPO, the relay and the converters answered by hand, the chain a recorder.
class SipoByHand : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        point_roles(
            {"SipoPatentHost", "CompanyServicesHost", "CompanyWebHost", "CompanyMirrorHost"},
            server.host());
        server.on("/uspto.lib",
                  [](auto&) { return Answer::bytes(program("tiff2pdf").toStdString()); });
        retrievers(ctx).byName["get_patent"] = [this](RunContext& c, QString& n, const QString&) {
            note("chain " + n + (c.state.order_cancelled ? " cancelled" : ""));
        };
    }
    // The search answer, the page-count answer, the relay's pages and the
    // converter that the web host serves.
    void serve(std::string search, std::string count, std::function<Answer(int page)> page,
               Answer cnpto) {
        server.on("/cgi-bin/forsearch/client/for_search",
                  [search](auto&) { return Answer::text(search); });
        server.on("/cgi-bin/forsearch/client/gettext",
                  [count](auto&) { return Answer::text(count); });
        server.on("/cn2tif/cnt.asp", [page](const LoopbackServer::Request& r) {
            return page(QString::fromStdString(r.query.at("PN")).section('.', -1).toInt());
        });
        server.on("/cnpto.lib", [cnpto](auto&) { return cnpto; });
    }
    // The number as typed; the files and the chain get it upper-cased, without "-".
    void run() {
        QString number = "cn-1145230b";
        cnpto_download(ctx, number, "");
        EXPECT_EQ(number, "CN1145230B");
    }
};

namespace {
std::string search_page(const std::string& count) {
    return "seg1[0]='2004 0616 1';seg3[0]='" + count +
           "';ccm_fileno[0]='F1';ccm_express=\"E1\";ccm_libname=\"L1\";";
}
} // namespace

// Each fault ends as its own word, and every word hands the number to the chain. Every page
// has nine attempts: eight failures (error pages or dropped connections) are survived. A cancel
// stops the pages, not the call: the chain sees it itself. A converter that hangs is ended
// after the request time-out, with what it started and its half-written output, and the
// attempt is lost.
TEST_F(SipoByHand, EveryFailureHandsTheNumberOn) {
    auto pages = [](int last, Answer beyond) {
        return [last, beyond](int n) {
            return n <= last ? Answer::bytes(uspto_sample_tiff(n, false).toStdString()) : beyond;
        };
    };
    // Pages in big-endian order, as tiffcp writes them when told to.
    std::map<int, std::string> be;
    for (int n : {1, 2}) {
        write_file(root + "/le.tif", uspto_sample_tiff(n, false));
        QProcess::execute("tiffcp", {"-B", root + "/le.tif", root + "/be.tif"});
        be[n] = read_file(root + "/be.tif").toStdString();
    }
    const Answer
        html = Answer::text("<html>busy</html>"),
        hangs = Answer::bytes(
            "#!/bin/sh\nif [ ! -e \"$0.once\" ]; then : > \"$0.once\"\nprintf 'II*\\0%0200d' 0 > "
            "\"$6\"; sleep 60 & echo $! > \"$0.pid\"; wait\nfi\nexec /usr/bin/tiffcp \"$@\"\n");
    std::map<int, int> tries; // by page
    auto failing = [&](int times, Answer failure) {
        return [&tries, times, failure, page = pages(2, html)](int n) {
            return ++tries[n] <= times ? failure : page(n);
        };
    };
    const std::string two = search_page("2"), three = search_page("3");
    const char* const notFound = "PDF not found at the SIPO server";
    const char* const noCount = "Error at the SIPO image server";
    const struct {
        const char* name;
        std::string search;
        std::string count;
        std::function<Answer(int)> page;
        const char* word; // "": the document arrives
        int relayed;
        std::optional<Answer> cnpto = std::nullopt; // the web host's converter: tiffcp
        const char* cancelAt = nullptr; // the status that a cancel comes with; "": from the start
    } cases[] = {
        {"count 0", search_page("0"), "", pages(2, html), noCount, 0},
        {"a billion pages", two, "ccm_pagenum=1000000000;", pages(2, html), notFound, 11},
        {"eight error pages each", two, "", failing(8, html), "", 18},
        // The web layer may ask a dropped page again itself: the requests are not told.
        {"eight dropped connections each", two, "", failing(8, Answer::drop()), "", -1},
        {"nine error pages", two, "", pages(0, html), notFound, 9},
        {"count not a number", two, "ccm_pagenum=two;", pages(2, html), "", 2},
        {"big-endian pages", two, "", [&](int n) { return Answer::bytes(be[n]); }, "", 2},
        {"converter hangs once", two, "", pages(2, html), "", 3, hangs},
        {"cancelled at the start", three, "", pages(3, html), noCount, 0, std::nullopt, ""},
        {"cancelled between pages", three, "", pages(3, html), notFound, 2, std::nullopt,
         "CN1145230B Downloading page 2 out of 3"},
        {"cancelled at a bad page", three, "", pages(0, html), notFound, 1, std::nullopt,
         "CN1145230B Downloading page 1 out of 3"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(pdf).removeRecursively();
        QFile::remove(converter("cnpto.lib"));
        server.clearRequests();
        tries.clear();
        serve(c.search, c.count, c.page,
              c.cnpto.value_or(Answer::bytes(program("tiffcp").toStdString())));
        ctx.state.order_cancelled = c.cancelAt && !*c.cancelAt;
        host.onStatus = [&](const QString& text) {
            ctx.state.order_cancelled |= c.cancelAt && text == c.cancelAt;
            if (text.endsWith(" Starting download"))
                ctx.Inet1.RequestTimeout = 1;
        };
        const qsizetype before = events().size();
        run();
        if (c.relayed >= 0) {
            EXPECT_EQ(targetsOf("/cn2tif/cnt.asp").size(), size_t(c.relayed));
        }
        EXPECT_EQ(events().mid(before),
                  QStringList(*c.word ? 1 : 0,
                              QString("chain CN1145230B") + (c.cancelAt ? " cancelled" : "")));
        if (*c.word) {
            EXPECT_EQ(host.status(), QString("CN1145230B - ") + c.word);
            EXPECT_EQ(files(pdf), QStringList());
        } else {
            expectPages(pdf + "CN1145230B.pdf", 2);
            EXPECT_EQ(logRecords(), QStringList{"CN1145230B||Downloaded (2 Pages )"});
        }
        // The converter is fetched for every number, whatever the cancel says.
        EXPECT_TRUE(QFile::exists(converter("cnpto.lib")));
        EXPECT_EQ(files().filter(".tif_temp"), QStringList());
    }
    EXPECT_TRUE(host.statusHistory.contains("CN1145230B Download aborted"));
    EXPECT_TRUE(host.statusHistory.contains("CN1145230B Downloading page 1 out of 2 (Retry: 8)"));
    // The hung converter's child has ended: it is gone, or a zombie that waits for its parent.
    const QByteArray pid = read_file(converter("cnpto.lib") + ".pid").trimmed();
    const QByteArray stat = read_file("/proc/" + pid + "/stat");
    EXPECT_TRUE(!pid.isEmpty() && (stat.isEmpty() || stat.contains(") Z "))) << stat.data();
}
