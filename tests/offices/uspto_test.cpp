// The USPTO: the image servers' addresses and full-text searches of every form of number,
// whole documents, and certificates of correction.
#include "foundation/general.h"
#include "office_fixture.h"
#include "offices/uspto.h"
#include "offices/uspto_forms.h"
#include "settings_fixture.h"
#include "uspto_samples.h"

#include <QDir>
#include <QFile>

#include <functional>
#include <map>

using Answer = LoopbackServer::Answer;

// The number as rewritten, the address on the image server, and whether it is an application.
TEST(UsptoNumbers, ImageServerAddresses) {
    const std::tuple<const char*, const char*, const char*, bool> cases[] = {
        {"US5123456", "05123456", "/fdd/56/234/051/0.pdf", false},
        {"USD339456", "D0339456", "/fdd/56/394/D03/0.pdf", false},
        {"USPP8901", "PP008901", "/fdd/01/089/PP0/0.pdf", false},
        {"USRE35312", "RE035312", "/fdd/12/353/RE0/0.pdf", false},
        {"UST109201", "T0109201", "/fdd/01/092/T01/0.pdf", false},
        {"USX12", "X0000012", "/fdd/12/000/X00/0.pdf", false},
        {"US2001000044", "20010000044", "/fdd/44/2001/00/000/0.pdf", true},
        {"US20010000044A1", "20010000044", "/fdd/44/2001/00/000/0.pdf", true},
        // "A2" goes with the kind codes before the application test is made.
        {"USA20010000044", "00100000044", "/fdd/44/0010/00/000/0.pdf", true},
        {"US20041234567", "20040234567", "/fdd/67/2004/45/023/0.pdf", true},
        {"US5000000B2", "05000000", "/fdd/00/000/050/0.pdf", false},
        {"123456789", "23456789", "/fdd/89/567/234/0.pdf", false},
        {"USRE35312E", "RE35312E", "/fdd/2E/531/RE3/0.pdf", false},
        // No row for "I" (the "A" of "AI" is gone) nor for any other letter.
        {"USAI123", "I123", "/fdd/23/3/I12/0.pdf", false},
        {"USQ9", "Q9", "/fdd/Q9//Q9/0.pdf", false},
        {"", "", "/fdd////0.pdf", false},
        {"US-A-B", "", "/fdd////0.pdf", false},
        {"US12345678901234567", "12340234567", "/fdd/67/1234/45/023/0.pdf", true},
    };
    for (const auto& [number, rewritten, path, application] : cases) {
        const UsptoPdfAddress a = uspto_pdf_address(number);
        EXPECT_EQ(a.rewritten + ' ' + a.path, QString(rewritten) + ' ' + path) << number;
        EXPECT_EQ(a.application, application) << number;
    }
}

TEST(UsptoNumbers, FullTextSearches) {
    // The number, the end of the query, and whether it is an application.
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"US5123456", "d=PALL&p=1&u=/&r=1&f=G&l=50&s1='5123456'.PN.", false},
        {"USD339456", "s1='D339456'.PN.", false},
        {"USA20010000044", "d=PG01&p=1&u=/ne&r=1&f=G&l=50&s1='20010000044'.PGNR.", true},
        // "USA" alone makes an application; the "0" is forced in three times over.
        {"USA1234", "s1='1234000'.PGNR.", true},
        {"US", "s1=''.PN.", false},
    };
    for (const auto& [number, search, application] : cases) {
        const UsptoTextQuery q = uspto_text_query(number);
        EXPECT_TRUE(q.pathAndQuery.startsWith("/netacgi/nph-Parser?Sect1=PTO1&Sect2=HITOFF&") &&
                    q.pathAndQuery.endsWith(search))
            << q.pathAndQuery.toStdString();
        EXPECT_EQ(q.application, application) << number;
    }
}

// Every USPTO role and the company's hosts on the hand-answered server.
class UsptoTest : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        point_roles({"UsptoPdfPatentHost", "UsptoPdfApplicationHost", "UsptoPatentTextHost",
                     "UsptoApplicationTextHost", "UsptoPatentViewerHost1", "UsptoPatentViewerHost2",
                     "UsptoPatentViewerHost3", "UsptoApplicationViewerHost1",
                     "UsptoApplicationViewerHost2", "CompanyWebHost", "CompanyMirrorHost",
                     "CompanyLookupHost"},
                    server.host());
    }
    static QString lib() { return converter("uspto.lib"); }
    static void reset_lib() {
        QFile::remove(lib());
        QDir(lib()).removeRecursively();
    }
};

// No answer writes nothing: the page count then leaves an empty file, logged as downloaded,
// which is from then on the cached document, unchecked. A cancelled order still fetches, but
// logs nothing.
TEST_F(UsptoTest, EmptyFileOfNoAnswerIsCachedAndCancelLogsNothing) {
    const std::string path = "/fdd/56/234/051/0.pdf";
    server.on(path, [](const auto&) { return Answer::drop(); });
    QString number = "us-5123456";
    uspto_download(ctx, number, "");
    EXPECT_EQ(number, "US5123456");
    server.clearRequests();
    uspto_download(ctx, number, "");
    EXPECT_EQ(server.requestCount(), 0u);
    EXPECT_EQ(logRecords(), QStringList(2, "US5123456||Downloaded (0.00 MB )"));
    EXPECT_TRUE(QFile::exists(pdf + "US5123456.pdf"));
    EXPECT_EQ(read_file(pdf + "US5123456.pdf"), "");

    make_sample_pdf(root + "/doc.pdf", "D", 3, 500);
    server.on(path, [&](const auto&) {
        return Answer::bytes(read_file(root + "/doc.pdf").toStdString());
    });
    ctx.state.order_cancelled = true;
    uspto_download(ctx, number, "Case 7");
    EXPECT_EQ(pageLabels(pdf + "Case_7/US5123456.pdf").size(), 3);
    EXPECT_EQ(host.status(), "Job cancelled");
    EXPECT_EQ(logRecords().size(), 2);
}

// The viewer host is the role whose host the link names, the last of the roles' order
// winning, else the first patent viewer; the link ends at its tag's ">". Values of the viewer
// page stand behind their markers, or without them from character 13 on.
TEST_F(UsptoTest, ViewerHostLinkAndValues) {
    set_settings({{"UsptoPatentViewerHost1", "v1"},
                  {"UsptoPatentViewerHost2", "v2"},
                  {"UsptoPatentViewerHost3", "v3"},
                  {"UsptoApplicationViewerHost1", "v4"},
                  {"UsptoApplicationViewerHost2", "v5"}});
    const std::pair<const char*, const char*> cases[] = {
        {"<a href=http://elsewhere.invalid/.piw?Docid=1>", "v1/.piw?Docid=1"},
        {"<a href=http://v3/.piw?Docid=3>", "v3/.piw?Docid=3"},
        {"<a href=http://v4/.aiw?Docid=4>", "v4/.aiw?Docid=4"},
        {"<a href=http://v5:80/.aiw?Docid=7>", "v5/.aiw?Docid=7"},
        {"<a href=http://v2/.piw?Docid=8> <a href=http://v4/.aiw?Docid=9>", "v4/.aiw?Docid=9"},
        {"<a href=http://v5/.aiw?Docid=10> <a href=http://v2/.piw?Docid=11>", "v5/.aiw?Docid=10"},
        {"no link end .piw?Docid=12", "v1/"},
    };
    for (const auto& [page, asked] : cases)
        EXPECT_EQ(uspto_viewer_host(page) + '/' + uspto_viewer_link(page), asked) << page;
    const UsptoViewer v = read_uspto_viewer("0123456789ABCDEF\"GH NumPages=11-");
    EXPECT_EQ(v.docid + ' ' + v.key + ' ' + QString::number(v.pages.value_or(-1)), "CDEF CDEF 11");
}

namespace {

std::string viewer_page(const std::string& numPages) {
    return "<form><input type=hidden name=docid value=\"D77\">\n"
           "<input type=hidden name=IDKey value=\"K9\">\n<!-- NumPages=" +
           numPages + " -->\n</form>";
}

// A page image as the viewer serves it.
std::string tiff(int page) {
    return uspto_sample_tiff(page, true).toStdString();
}

const char* const kImageError =
    "US5123456 Certificate of correction Error at the USPTO image server";

} // namespace

class Certificates : public UsptoTest {
protected:
    // The full-text page links to the viewer on the server; the viewer page and the page
    // images answer as told, pages by their number and attempt.
    void serve(const std::string& viewer, std::function<Answer(int page, int attempt)> page = {}) {
        const std::string link = "http://" + server.host().toStdString() + "/.piw?Docid=05123456";
        server.on("/netacgi/nph-Parser",
                  [link](const auto&) { return Answer::text("<a href=" + link + "><img></a>"); });
        server.on("/.piw", [viewer](const auto&) { return Answer::text(viewer); });
        server.on("/.DImg", [this, page](const LoopbackServer::Request& r) {
            const int n = std::stoi(r.query.at("PageNum"));
            const int attempt = ++attempts[n];
            return page ? page(n, attempt) : Answer::bytes(tiff(n), "image/tiff");
        });
        server.on("/uspto.lib", [](const auto&) {
            return Answer::bytes(program("tiff2pdf").toStdString(), "application/octet-stream");
        });
    }
    std::map<int, int> attempts;
};

// The converter comes from the company's web host, failing that from its mirror, failing
// that the built-in writer does the work. A file that a failed first fetch left counts as
// present: every conversion then fails. The file stays for good.
TEST_F(Certificates, ConverterFromTheWebHostThenTheMirror) {
    LoopbackServer mirror;
    point_roles({"CompanyMirrorHost"}, mirror.host());
    const Answer tiff2pdf = Answer::bytes(program("tiff2pdf").toStdString());
    const Answer none = Answer::drop();
    struct Case {
        const char* name;
        bool blockWeb; // no file can be made when the web host's answer arrives
        Answer web;
        bool unblockMirror; // ... but it can when the mirror's arrives
        Answer mirror;
        const char* lib; // "tiff2pdf", the content of the file, or "-" for no file
        bool converted;
        bool mirrorAsked;
    } cases[] = {
        {"mirror only", true, none, true, tiff2pdf, "tiff2pdf", true, true},
        {"neither: built-in writer", true, none, false, none, "-", true, true},
        {"empty from the web host", false, Answer::bytes(""), false, tiff2pdf, "", false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        reset_lib();
        mirror.clearRequests();
        attempts.clear();
        serve(viewer_page("5-"));
        server.on("/uspto.lib", [&](const auto&) {
            if (c.blockWeb)
                QDir().mkpath(lib());
            return c.web;
        });
        mirror.on("/uspto.lib", [&](const auto&) {
            if (c.unblockMirror)
                QDir(lib()).removeRecursively();
            return c.mirror;
        });
        const QString result = uspto_cartificate(ctx, "US5123456", 3);
        EXPECT_EQ(pageLabels(result).size(), c.converted ? 2 : 0);
        // tiff2pdf tells the rows of an image; the built-in writer does not.
        EXPECT_EQ(read_file(result).contains("/Rows"),
                  c.converted && QByteArray(c.lib) == "tiff2pdf");
        EXPECT_EQ(attempts[4], c.converted ? 1 : 9);
        EXPECT_EQ(files(), QStringList());
        EXPECT_EQ(mirror.requestCount() > 0, c.mirrorAsked);
        EXPECT_EQ(QFileInfo(lib()).isFile(), QByteArray(c.lib) != "-");
        if (QByteArray(c.lib) != "-") {
            EXPECT_EQ(read_file(lib()),
                      QByteArray(c.lib) == "tiff2pdf" ? program("tiff2pdf") : QByteArray(c.lib));
            server.clearRequests();
            uspto_cartificate(ctx, "US5123456", 5);
            EXPECT_EQ(targetsOf("/uspto.lib").size(), 0u);
        }
        delete_file(result);
    }
}

TEST_F(Certificates, NoPagesToFetch) {
    struct Case {
        const char* name;
        const char* number;
        std::optional<std::string> fullText; // nullopt: no answer
        std::string viewer;
        const char* status = kImageError;
    } cases[] = {
        {"no search answer", "US5123456", std::nullopt, "",
         "Timeout @ the USPTO server (Certificate of correction not found)"},
        {"no viewer link", "USA20010000044", "<html>No patents have matched your query</html>", "",
         " (Certificate of correction not found)"},
        {"no NumPages", "US5123456", "", "<input name=docid value=\"D1\">"},
        {"no dash within 20", "US5123456", "", viewer_page("12 pages in this document - ")},
        {"zero", "US5123456", "", viewer_page("0-")},
        {"beyond the counter", "US5123456", "", viewer_page("99999-")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        server.clearRequests();
        serve(c.viewer);
        if (!c.fullText)
            server.on("/netacgi/nph-Parser", [](const auto&) { return Answer::drop(); });
        else if (!c.fullText->empty())
            server.on("/netacgi/nph-Parser",
                      [&](const auto&) { return Answer::text(*c.fullText); });
        EXPECT_EQ(uspto_cartificate(ctx, c.number, 10), "");
        EXPECT_EQ(host.status(), c.status);
        EXPECT_EQ(targetsOf("/.DImg").size(), 0u);
        EXPECT_EQ(targetsOf("/.piw").empty(), !c.fullText || !c.fullText->empty());
    }
}

TEST_F(Certificates, EveryPageHasNineAttempts) {
    const Answer html = Answer::text("<html>Server busy</html>");
    QByteArray bigEndian = uspto_sample_tiff(11, true);
    bigEndian.replace(0, 4, QByteArray("MM\0*", 4));
    struct Case {
        const char* name;
        std::vector<Answer> answers; // page 11's answers by attempt; then the page itself
        const char* status;          // the last status; "" when delivered
    } cases[] = {
        {"eight HTML answers, then the page", std::vector<Answer>(8, html), ""},
        {"nine HTML answers", std::vector<Answer>(9, html),
         "US5123456 Certificate of correction Error in download"},
        {"big-endian, empty and short answers, then the page",
         {Answer::bytes(bigEndian.toStdString()), Answer::bytes(""),
          Answer::bytes("II*" + std::string(100, 'x'))},
         ""},
        // The web layer may ask a dropped page again itself, so here the attempts are told by
        // the status line only.
        {"dropped connections", std::vector<Answer>(99, Answer::drop()),
         "US5123456 Error in download"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        attempts.clear();
        host.statusHistory.clear();
        serve(viewer_page("11-"), [&](int page, int attempt) {
            return size_t(attempt) <= c.answers.size() ? c.answers[size_t(attempt) - 1]
                                                       : Answer::bytes(tiff(page), "image/tiff");
        });
        const QString result = uspto_cartificate(ctx, "US5123456", 10);
        const QString lastRetry =
            QString(" out of 11 pages (Retry: %1)").arg(std::min<size_t>(c.answers.size(), 8));
        EXPECT_EQ(host.statusHistory.filter(lastRetry).size(), 1);
        if (*c.status) {
            EXPECT_EQ(result, "");
            EXPECT_EQ(host.status(), c.status);
            EXPECT_TRUE(attempts[11] == 9 || c.answers.size() != 9); // HTML: nine
        } else {
            EXPECT_EQ(attempts[11], int(c.answers.size()) + 1);
            EXPECT_EQ(pageLabels(result).size(), 1);
            QFile::remove(result);
        }
        EXPECT_EQ(files(), QStringList());
    }
}

// The simulated USPTO answers every form of number from its samples (its viewer pages fail
// twice before they come): the addresses of the program and of the simulator agree.
TEST_F(UsptoTest, SimulatorServesTheSampleDocuments) {
    Simulator::Options options;
    options.pageFailures = 2;
    startSimulator(options);
    const std::pair<QString, int> documents[] = {
        {"US5123456", 3},     {"USD339456", 1},      {"USH1523", 1},
        {"US20010000044", 2}, {"USA20010000044", 0}, // the form of the tips loses "A2" with the
                                                     // kind codes
    };
    for (auto [number, pages] : documents) {
        uspto_download(ctx, number, "");
        EXPECT_EQ(pageLabels(pdf + number + ".pdf").size(), pages) << number.toStdString();
    }
    EXPECT_EQ(uspto_cartificate(ctx, "US20010000044", 2), "");
    EXPECT_EQ(host.status(), "US20010000044 Certificate of correction not found");
    EXPECT_EQ(pageLabels(uspto_cartificate(ctx, "USPP8901", 2)).size(), 1);
    EXPECT_EQ(files(), QStringList());
}
