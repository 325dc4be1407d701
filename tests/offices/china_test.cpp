// SIPO: number forms and addresses, the readers of its pages, and whole orders against the
// simulator with the real converter programs, the faults of every step handing the number
// on to the retrieval chain.
#include "foundation/general.h"
#include "foundation/log.h"
#include "offices/china.h"
#include "order_fixture.h"
#include "retrieval/retrievers.h"
#include "sample_store.h"
#include "settings_fixture.h"
#include "uspto_samples.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>

using Answer = LoopbackServer::Answer;

TEST(SipoNumbers, SearchByPublicationOrApplication) {
    const struct {
        const char* number;
        bool publication;
        const char* search;
    } cases[] = {
        {"CN1145230B", true, "1145230"},
        {"CN1130774", false, "1130774"},
        {"CN1130774A", false, "1130774"},
        {"CN1145230B1", false, "11452301"},
        {"CN2000001Y", true, "2000001"},
        {"CN2000001U", true, "2000001"},
        {"CN1145230C", true, "1145230"},
        {"CN1T2A3", false, "123"},
        {"CN  1145230T ", true, "1145230"},
        {"CN", false, ""},
        {"CNB", true, ""},
        {"CN12#4?", false, "12#4?"},
    };
    for (const auto& c : cases) {
        const SipoSearch s = sipo_search(QString::fromLatin1(c.number));
        EXPECT_EQ(s.publication, c.publication) << c.number;
        EXPECT_EQ(s.searchNumber, c.search) << c.number;
        const QString b = c.publication ? c.search : "", cc = c.publication ? "" : c.search;
        EXPECT_EQ(s.pathAndQuery,
                  "/cgi-bin/forsearch/client/for_search?flag=1&libname=zhuanli&a=&b=" + b +
                      "&c=" + cc + "&d=&e=&f=&g=&h=&i=&j=&k=&l=&m=&n=&o=&p=&q=")
            << c.number;
    }
}

TEST(SipoPages, SearchPageAndItsRequests) {
    const QString page = "<script>var seg1 = new Array();\nseg1[0]='2004 0616  1145230 ';\n"
                         "seg3[0]=' 1 2 ';\nccm_fileno[0]=' CN97100001 ';\n"
                         "var ccm_express=\"CN 1145230 \";\nvar ccm_libname=\"fmzl_ft\";</script>";
    const struct {
        const char* name;
        QString page;
        SipoRecord read;
    } cases[] = {
        {"whole", page, {true, "12", "200406161145230", "CN 1145230", "fmzl_ft", "CN97100001"}},
        {"no markers", "<html>seg3 seg1 ccm_express</html>", {}},
        {"count only", "seg3[0]='4'", {true, "4", "", "", "", ""}},
        // A value without its closing quote is empty; the others are read as ever.
        {"unclosed count", "seg3[0]='7", {true, "", "", "", "", ""}},
        {"unclosed directory", "seg3[0]='7';seg1[0]='2004", {true, "7", "", "", "", ""}},
        // The thirteenth character is taken for the opening quote, whatever it is.
        {"blank before quote", "seg3[0]='1';ccm_express= \"E\"", {true, "1", "", "", "", ""}},
    };
    for (const auto& c : cases) {
        const SipoRecord r = read_sipo_record(c.page);
        EXPECT_EQ(r.found, c.read.found) << c.name;
        EXPECT_EQ(QStringList({r.pageCount, r.dirno, r.express, r.libname, r.fileno}),
                  QStringList({c.read.pageCount, c.read.dirno, c.read.express, c.read.libname,
                               c.read.fileno}))
            << c.name;
    }
    EXPECT_EQ(sipo_page_count_query(read_sipo_record(page)),
              "/cgi-bin/forsearch/client/gettext?fileno=CN97100001&express=CN 1145230&libname="
              "fmzl_ft&dirno=200406161145230%20%20&pagenum=12");
    EXPECT_EQ(sipo_relay_path("200406161145230", 1), "/cn2tif/cnt.asp?PN=/20040/200406161145230.1");
    EXPECT_EQ(sipo_relay_path("123", 10), "/cn2tif/cnt.asp?PN=/123/123.10");
}

TEST(SipoPages, PageCounts) {
    const struct {
        const char* answer;
        std::optional<QString> told;
        std::optional<int> count;
    } cases[] = {
        {"var ccm_pagenum=7;", "7", 7},
        {"ccm_pagenum= 12 ;var x=1;", "12", 12},
        {"ccm_pagenum=7", "7", 7},
        {"no count here", std::nullopt, std::nullopt},
        {"ccm_pagenum=;", "", std::nullopt},
        {"ccm_pagenum=0;", "0", std::nullopt},
        {"ccm_pagenum=-4;", "-4", std::nullopt},
        {"ccm_pagenum=abc;", "abc", std::nullopt},
        {"ccm_pagenum=7abc;", "7abc", std::nullopt},
        {"ccm_pagenum=4.0;", "4.0", std::nullopt},
        {"ccm_pagenum=1000000000;", "1000000000", 1000000000},
        {"ccm_pagenum=2147483647;", "2147483647", 2147483647},
        {"ccm_pagenum=2147483648;", "2147483648", std::nullopt},
        {"ccm_pagenum=99999999999999999999999;", "99999999999999999999999", std::nullopt},
    };
    for (const auto& c : cases) {
        const std::optional<QString> told = read_sipo_page_count(c.answer);
        EXPECT_EQ(told, c.told) << c.answer;
        EXPECT_EQ(sipo_count(told.value_or("")), c.count) << c.answer;
    }
    // At most 300 characters are read behind the marker.
    EXPECT_EQ(read_sipo_page_count("ccm_pagenum=" + QString(300, '1') + ";")->size(), 300);
}

// Every cut of a page and random bytes read without fault, and blanks never stay in the
// values whose blanks are removed.
TEST(SipoPages, ReadersTakeAnyText) {
    const QString page = "seg1[0]='1 2';seg3[0]='5';ccm_fileno[0]='F';ccm_express=\"E\";"
                         "ccm_libname=\"L\";ccm_pagenum=7;";
    QRandomGenerator random(7);
    QStringList texts;
    for (int i = 0; i <= page.size(); ++i)
        texts << page.left(i) << page.mid(i);
    for (int i = 0; i < 300; ++i) {
        QString t = page;
        for (int j = 0; j < 4; ++j)
            t[random.bounded(int(t.size()))] = QChar(ushort(random.bounded(256)));
        texts << t;
    }
    for (const QString& t : texts) {
        const SipoRecord r = read_sipo_record(t);
        EXPECT_FALSE(r.dirno.contains(' ') || r.pageCount.contains(' '));
        EXPECT_EQ(r.found, t.contains("seg3[0]='"));
        sipo_count(read_sipo_page_count(t).value_or(""));
    }
}

namespace {

// The Group 4 strip of a page that the relay serves: page n is the sample with n marks, its
// strip from byte 300 on.
QByteArray strip(int page) {
    static std::map<int, QByteArray> made;
    QByteArray& s = made[page];
    if (s.isEmpty())
        s = uspto_sample_tiff(page, false).mid(300);
    return s;
}

// A document's pages carry the strips of pages 1 to n, in this order.
void expectPages(const QString& file, int pages) {
    const QByteArray bytes = read_file(file);
    EXPECT_EQ(pageLabels(file).size(), pages) << file.toStdString();
    qsizetype at = 0;
    for (int n = 1; n <= pages; ++n) {
        at = bytes.indexOf(strip(n), at);
        EXPECT_GE(at, 0) << "page " << n;
    }
}

} // namespace

class China : public OrderTest {
protected:
    // The pages that the relay was asked for, in order.
    QStringList relayed() {
        QStringList pages;
        for (const std::string& t : sim->requests("CompanyServicesHost"))
            pages << QString::fromStdString(t).section('.', -1);
        return pages;
    }
    std::vector<std::string> sipo() { return sim->requests("SipoPatentHost"); }
};

// Five and seven TIFF pages become documents, each page converted by the programs that the
// company's hosts serve; the page-count request's count wins over the search page's.
TEST_F(China, TiffPagesBecomeOneDocument) {
    startSimulator();
    order("CN1145230B\r\nCN1130774A");
    EXPECT_EQ(logRecords(), QStringList({"CN1145230B|REF|Downloaded (5 Pages )",
                                         "CN1130774A|REF|Downloaded (7 Pages )"}));
    expectPages(file("CN1145230B"), 5);
    expectPages(file("CN1130774A"), 7);
    EXPECT_EQ(relayed(), QString("1 2 3 4 5 1 2 3 4 5 6 7").split(' '));
    const std::vector<std::string> asked = sipo();
    ASSERT_EQ(asked.size(), 4u);
    EXPECT_NE(asked[0].find("&b=1145230&c=&"), std::string::npos);
    EXPECT_NE(asked[2].find("&b=&c=1130774&"), std::string::npos);
    EXPECT_EQ(asked[3], "/cgi-bin/forsearch/client/gettext?fileno=CN1130774&express=CN1155001&"
                        "libname=fmzl_ft&dirno=199609181130774%20%20&pagenum=4");
    EXPECT_TRUE(host.statusHistory.contains("CN1130774A Downloading page 7 out of 7"));
    EXPECT_EQ(read_file(converter("cnpto.lib")), program("tiffcp"));
    EXPECT_EQ(read_file(converter("uspto.lib")), program("tiff2pdf"));
    EXPECT_EQ(files(), QStringList());
    EXPECT_EQ(host.title(), "Bright Quill - Desktop edition");
}

// Every page fails a number of times: eight failures are survived, the ninth hands the
// number to the chain, which has it in the company's cache. A failure is an error page that
// the converter can't read, or a dropped connection (which the web layer itself may ask
// again once, so that only the outcome is certain).
TEST_F(China, PagesThatFail) {
    sim::ensure_sample(samples, "cache", "CN2000001Y", 2);
    const struct {
        int failures;
        bool drop;
    } cases[] = {{8, false}, {9, false}, {8, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.failures) + (c.drop ? " dropped" : " error pages"));
        QDir(pdf).removeRecursively();
        closeConnections();
        Simulator::Options options;
        options.pageFailures = c.failures;
        options.dropPages = c.drop;
        startSimulator(options);
        const qsizetype before = events().size();
        order("CN2000001Y");
        EXPECT_EQ(logRecords(),
                  QStringList{c.failures == 8 ? "CN2000001Y|REF|Downloaded (1 Pages )"
                                              : "CN2000001Y|REF|Retrieved from cache (2 Pages )"});
        EXPECT_EQ(events().mid(before), QStringList(c.failures == 8 ? 0 : 1, "cache"));
        if (!c.drop) {
            EXPECT_EQ(relayed(), QStringList(9, "1"));
            EXPECT_TRUE(
                host.statusHistory.contains("CN2000001Y Downloading page 1 out of 1 (Retry: 8)"));
        }
    }
}

// A document on the disk is taken without asking SIPO, though the converter is still
// fetched; one below 780 bytes is an error page, deleted, and sought down the chain.
TEST_F(China, DocumentsAlreadyThere) {
    sim::ensure_sample(samples, "cache", "CN1145230B", 3);
    startSimulator();
    QDir().mkpath(pdf + "REF");
    make_sample_pdf(file("CN1145230B"), "CACHED", 2, 1000);
    write_file(file("CN1130774"), QByteArray(779, 'x'));
    order("CN1145230B\r\nCN1130774");
    EXPECT_EQ(logRecords(), QStringList({"CN1145230B|REF|Downloaded (2 Pages )",
                                         "CN1130774|REF|Not found (Patent not found)"}));
    EXPECT_FALSE(QFile::exists(file("CN1130774")));
    EXPECT_TRUE(sipo().empty());
    EXPECT_TRUE(QFile::exists(converter("cnpto.lib")));
    EXPECT_FALSE(QFile::exists(converter("uspto.lib")));
    EXPECT_EQ(events(), QStringList({"cache", "bnsinfo"}));
}

// A converter that is empty, can't be run or never came converts nothing: every attempt at
// page 1 fails and the chain takes the number from the company's page server.
TEST_F(China, ConvertersThatDoNothing) {
    sim::ensure_sample(samples, "lookup", "CN2000001Y", 2);
    const struct {
        const char* name;
        QByteArray content; // written to cnpto.lib; "-": none, and the company's hosts refuse
        QFile::Permissions mode;
    } cases[] = {
        {"empty", "", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner},
        {"not executable", program("tiffcp"), QFile::ReadOwner | QFile::WriteOwner},
        {"an error page", "<html>Not found</html>", QFile::ReadOwner | QFile::ExeOwner},
        {"missing", "-", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(pdf).removeRecursively();
        closeConnections();
        startSimulator();
        if (c.content == "-") {
            QFile::remove(converter("cnpto.lib"));
            sim->set_fault("CompanyWebHost", Simulator::Fault::Refused);
            sim->set_fault("CompanyMirrorHost", Simulator::Fault::Refused);
        } else {
            write_file(converter("cnpto.lib"), c.content);
            QFile::setPermissions(converter("cnpto.lib"), c.mode);
        }
        order("CN2000001Y");
        EXPECT_EQ(relayed(), QStringList(9, "1"));
        EXPECT_EQ(logRecords(), QStringList{"CN2000001Y|REF|Downloaded (2 Pages )"});
        EXPECT_TRUE(host.statusHistory.contains("CN2000001Y - PDF not found at the SIPO server"));
        EXPECT_EQ(files(), QStringList());
    }
}

// A converter that hangs is ended after the request time-out, with what it started and its
// half-written output; the attempt is lost and the next one succeeds.
TEST_F(China, ConverterThatHangsIsEnded) {
    startSimulator();
    const QString lib = converter("cnpto.lib");
    write_file(lib, "#!/bin/sh\nif [ ! -e \"$0.once\" ]; then : > \"$0.once\"\n"
                    "printf 'II*\\0%0200d' 0 > \"$6\"; sleep 60 & echo $! > \"$0.pid\"; wait\n"
                    "fi\nexec /usr/bin/tiffcp \"$@\"\n");
    QFile::setPermissions(lib, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    host.onStatus = [this](const QString& text) {
        if (text.endsWith(" Starting download"))
            ctx.Inet1.RequestTimeout = 1;
    };
    order("CN2000001Y");
    EXPECT_EQ(logRecords(), QStringList{"CN2000001Y|REF|Downloaded (1 Pages )"});
    expectPages(file("CN2000001Y"), 1);
    EXPECT_EQ(relayed(), QStringList({"1", "1"}));
    const pid_t hung = pid_t(read_file(lib + ".pid").trimmed().toInt());
    EXPECT_GT(hung, 0);
    // Ended: gone, or a zombie that waits for its new parent.
    const QByteArray stat = read_file(QString("/proc/%1/stat").arg(hung));
    EXPECT_TRUE(stat.isEmpty() || stat.contains(") Z ")) << stat.toStdString();
    QFile::remove(lib + ".once");
    QFile::remove(lib + ".pid");
}

namespace {

std::string search_page(const std::string& count) {
    return "<script>seg1[0]='2004 0616 1';seg3[0]='" + count +
           "';ccm_fileno[0]='F1';var ccm_express=\"E1\";var ccm_libname=\"L1\";</script>";
}

// A sample page in big-endian order, as tiffcp writes it when told to.
std::string big_endian_page(const QString& folder, int n) {
    write_file(folder + "/le.tif", uspto_sample_tiff(n, false));
    QProcess::execute("tiffcp", {"-B", folder + "/le.tif", folder + "/be.tif"});
    return read_file(folder + "/be.tif").toStdString();
}

} // namespace

// SIPO and the relay answered by hand, the chain a recorder: what each fault of SIPO's
// answers leads to.
class SipoByHand : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        serveRoles(
            {"SipoPatentHost", "CompanyServicesHost", "CompanyWebHost", "CompanyMirrorHost"});
        server.on("/cnpto.lib",
                  [](const auto&) { return Answer::bytes(program("tiffcp").toStdString()); });
        server.on("/uspto.lib",
                  [](const auto&) { return Answer::bytes(program("tiff2pdf").toStdString()); });
        retrievers(ctx).byName["get_patent"] = [this](RunContext& c, QString& n, const QString&) {
            note("chain " + n + (c.state.order_cancelled ? " cancelled" : ""));
        };
    }
    // The search answer (none: refused), the page-count answer and the relay's pages.
    void serve(std::optional<std::string> search, std::string count,
               std::function<Answer(int page)> page) {
        server.on("/cgi-bin/forsearch/client/for_search",
                  [search](const auto&) { return search ? Answer::text(*search) : refused(); });
        server.on("/cgi-bin/forsearch/client/gettext",
                  [count](const auto&) { return Answer::text(count); });
        server.on("/cn2tif/cnt.asp", [page](const LoopbackServer::Request& r) {
            return page(QString::fromStdString(r.query.at("PN")).section('.', -1).toInt());
        });
    }
    // The number as typed; the files and the chain get it upper-cased, without "-".
    void run() {
        QString number = "cn-1145230b";
        cnpto_download(ctx, number, "");
        EXPECT_EQ(number, "CN1145230B");
    }
};

TEST_F(SipoByHand, EveryFailureHandsTheNumberOn) {
    auto pages = [](int last, Answer beyond) {
        return [last, beyond](int n) {
            return n <= last
                       ? Answer::bytes(uspto_sample_tiff(n, false).toStdString(), "image/tiff")
                       : beyond;
        };
    };
    const Answer html = Answer::text("<html>busy</html>");
    const std::string be1 = big_endian_page(root, 1), be2 = big_endian_page(root, 2);
    const struct {
        const char* name;
        std::optional<std::string> search;
        std::string count;
        std::function<Answer(int)> page;
        const char* word; // "": the document arrives
        int relayed;
    } cases[] = {
        {"no markers", "<html>no record</html>", "", pages(2, html),
         "CN1145230B Not found at the SIPO server", 0},
        {"no answer", std::nullopt, "", pages(2, html), "Error at the SIPO image server", 0},
        {"count 0", search_page("0"), "", pages(2, html), "Error at the SIPO image server", 0},
        {"count -4", search_page("-4"), "", pages(2, html), "Error at the SIPO image server", 0},
        {"count abc", search_page("abc"), "ccm_pagenum=;", pages(2, html),
         "Error at the SIPO image server", 0},
        {"count beyond the counter", search_page("99999999999"), "", pages(2, html),
         "Error at the SIPO image server", 0},
        {"count 112800", search_page("112800"), "", pages(2, html),
         "Error at the SIPO image server", 0},
        {"a billion pages", search_page("2"), "var ccm_pagenum=1000000000;", pages(2, html),
         "PDF not found at the SIPO server", 11},
        {"error pages", search_page("2"), "", pages(0, html), "PDF not found at the SIPO server",
         9},
        {"an empty page", search_page("2"), "", pages(1, Answer::bytes("")),
         "PDF not found at the SIPO server", 10},
        {"page count not a number", search_page("2"), "ccm_pagenum=two;", pages(2, html), "", 2},
        {"big-endian pages", search_page("2"), "",
         [&](int n) { return Answer::bytes(n == 1 ? be1 : be2, "image/tiff"); }, "", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QDir(pdf).removeRecursively();
        server.clearRequests();
        serve(c.search, c.count, c.page);
        const qsizetype before = events().size();
        run();
        const QString word = QString::fromLatin1(c.word);
        EXPECT_EQ(targetsOf("/cn2tif/cnt.asp").size(), size_t(c.relayed));
        EXPECT_EQ(targetsOf("/cgi-bin/forsearch/client/gettext").size(),
                  c.search && c.search->find("seg3") != std::string::npos ? 1u : 0u);
        EXPECT_EQ(events().mid(before), QStringList(word.isEmpty() ? 0 : 1, "chain CN1145230B"));
        if (word.isEmpty()) {
            expectPages(pdf + "CN1145230B.pdf", 2);
            EXPECT_EQ(logRecords().mid(0, 1), QStringList{"CN1145230B||Downloaded (2 Pages )"});
        } else {
            EXPECT_EQ(host.status(), "CN1145230B - " + word);
            EXPECT_EQ(files(pdf), QStringList());
        }
        EXPECT_EQ(files().filter(".tif_temp"), QStringList());
    }
}

// A cancel stops the pages, not the call: the chain is told, and sees the cancel itself.
TEST_F(SipoByHand, CancelHandsTheNumberOn) {
    const struct {
        const char* name;
        const char* at; // the status that the cancel comes with; "": before the call
        bool pagesGood;
        int relayed;
        const char* shown;
    } cases[] = {
        {"before the search", "", true, 0, "CN1145230B - Error at the SIPO image server"},
        {"between pages", "CN1145230B Downloading page 2 out of 3", true, 2,
         "CN1145230B - PDF not found at the SIPO server"},
        {"while a page is bad", "CN1145230B Downloading page 1 out of 3", false, 1,
         "CN1145230B Download aborted"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        server.clearRequests();
        QFile::remove(converter("cnpto.lib"));
        const std::string tiff = uspto_sample_tiff(1, false).toStdString();
        serve(search_page("3"), "", [&](int) {
            return c.pagesGood ? Answer::bytes(tiff, "image/tiff") : Answer::text("<html>");
        });
        ctx.state.order_cancelled = !*c.at;
        host.onStatus = [&](const QString& text) {
            if (text == c.at)
                ctx.state.order_cancelled = true;
        };
        const qsizetype before = events().size();
        run();
        EXPECT_EQ(targetsOf("/cn2tif/cnt.asp").size(), size_t(c.relayed));
        EXPECT_TRUE(host.statusHistory.contains(c.shown));
        EXPECT_FALSE(host.statusHistory.contains("CN1145230B Done"));
        EXPECT_EQ(events().mid(before), QStringList{"chain CN1145230B cancelled"});
        EXPECT_TRUE(QFile::exists(converter("cnpto.lib")));
        EXPECT_FALSE(QFile::exists(converter("uspto.lib")));
        EXPECT_EQ(files(pdf), QStringList());
    }
}
