#include "offices/uspto.h"
#include "pdf/page_count.h"
#include "retrieval/espace.h"
#include "uspto_fixture.h"

#include <QRegularExpression>

#include <functional>
#include <optional>

using Answer = LoopbackServer::Answer;

namespace {

std::string viewer_page(const std::string& numPages) {
    return "<form><input type=hidden name=docid value=\"D77\">\n"
           "<input type=hidden name=IDKey value=\"K9\">\n<!-- NumPages=" +
           numPages + " -->\n</form>";
}

std::string tiff(int page) {
    return UsptoTest::page_tiff(page, true).toStdString();
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

// The viewer's pages beyond the document's own become one PDF. The viewer's values are read
// behind their markers, or without them from character 13 on.
TEST_F(Certificates, PagesBeyondTheDocumentBecomeOnePdf) {
    const struct {
        std::string viewer;
        std::vector<std::string> images;
        const char* pages;
    } cases[] = {
        {viewer_page("12 -"),
         {"/.DImg?Docid=D77&PageNum=11&IDKey=K9&ImgFormat=tif",
          "/.DImg?Docid=D77&PageNum=12&IDKey=K9&ImgFormat=tif"},
         "2 Pages"},
        {"0123456789ABCDEF\"GH NumPages=11-",
         {"/.DImg?Docid=CDEF&PageNum=11&IDKey=CDEF&ImgFormat=tif"},
         "1 Pages"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.viewer);
        server.clearRequests();
        serve(c.viewer);
        const QString result = uspto_cartificate(ctx, "us-5123456", 10);
        static const QRegularExpression name("^\\d+(\\.\\d+)?CCUS5123456\\.pdf$");
        EXPECT_TRUE(result.startsWith(pdfdir) && name.match(result.mid(pdfdir.size())).hasMatch())
            << result.toStdString();
        EXPECT_EQ(pdfnumpages(result), c.pages);
        EXPECT_EQ(targets_of("/.DImg"), c.images);
        const std::string search = targets_of("/netacgi/nph-Parser").at(0);
        EXPECT_NE(search.find("&d=PALL&p=1&u=/&r=1&f=G&l=50&s1='5123456'.PN."), std::string::npos);
        EXPECT_EQ(files(tempdir), QStringList());
        EXPECT_EQ(read_file(lib()), program("tiff2pdf"));
        EXPECT_EQ(QFile::permissions(lib()) & 0x7077,
                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        EXPECT_EQ(host.status(), "US5123456 Certificate of correction (USPTO) Done");
        QFile::remove(result);
    }
}

// A US patent from the company's page server gets the viewer's pages beyond its own appended
// with a "Correction" bookmark, whichever way the converter came. An empty file from a failed
// first fetch counts as present: every conversion fails, and the document stays as it was.
TEST_F(Certificates, AppendedToADocumentFromTheLookupServer) {
    LoopbackServer mirror;
    point_roles({"CompanyMirrorHost"}, mirror.host());
    set_settings({{"ADDBOOKMARKS", "1"}});
    const std::string page = document(1).toStdString();
    const Answer tiff2pdf = Answer::bytes(program("tiff2pdf").toStdString());
    const Answer none = refused();
    struct Case {
        const char* name;
        bool blockWeb; // no file can be made when the web host's answer arrives
        Answer web;
        bool unblockMirror; // ... but it can when the mirror's arrives
        Answer mirror;
        const char* lib; // "tiff2pdf", the content of the file, or "-" for no file
        bool appended;
        bool mirrorAsked;
    } cases[] = {
        {"web host", false, tiff2pdf, false, none, "tiff2pdf", true, false},
        {"mirror only", true, none, true, tiff2pdf, "tiff2pdf", true, true},
        {"neither: built-in writer", true, none, false, none, "-", true, true},
        {"empty from the web host", false, Answer::bytes(""), false, tiff2pdf, "", false, false},
        {"a converter that exits at once", false, Answer::bytes("#!/bin/sh\nexit 0\n"), false,
         tiff2pdf, "#!/bin/sh\nexit 0\n", false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        reset_lib();
        QDir(pdfdir).removeRecursively();
        QDir().mkpath(pdfdir);
        QDir().mkpath(tempdir); // made by the chain before it calls the page server
        server.clearRequests();
        mirror.clearRequests();
        attempts.clear();
        serve(viewer_page("5-"));
        server.on("/bnsinfo.asp",
                  [](const auto&) { return Answer::text("0@1@ID7@3@,1:Abstract@@@@"); });
        server.on("/bns.asp", [&](const auto&) { return Answer::bytes(page); });
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

        const QString target = pdfdir + "US5123456.pdf";
        EXPECT_EQ(espace_bns_download(ctx, "US5123456", target, tempdir + "job7"), target);
        EXPECT_EQ(pdfnumpages(target), c.appended ? "5 Pages" : "3 Pages");
        const QByteArray pdf = read_file(target);
        EXPECT_TRUE(pdf.contains("/Title (Abstract)"));
        EXPECT_EQ(pdf.contains("/Title (Correction)"), c.appended);
        // tiff2pdf tells the rows of an image; the built-in writer does not.
        EXPECT_EQ(pdf.contains("/Rows"), c.appended && QByteArray(c.lib) == "tiff2pdf");
        EXPECT_EQ(files(pdfdir), QStringList{"US5123456.pdf"});
        EXPECT_EQ(files(tempdir), QStringList());
        EXPECT_EQ(attempts[4], c.appended ? 1 : 9);

        EXPECT_EQ(mirror.requestCount() > 0, c.mirrorAsked);
        EXPECT_EQ(QFileInfo(lib()).isFile(), QByteArray(c.lib) != "-");
        if (QByteArray(c.lib) != "-") {
            EXPECT_EQ(read_file(lib()),
                      QByteArray(c.lib) == "tiff2pdf" ? program("tiff2pdf") : QByteArray(c.lib));
            // The file stays for good: no second fetch.
            server.clearRequests();
            uspto_cartificate(ctx, "US5123456", 5);
            EXPECT_EQ(targets_of("/uspto.lib").size(), 0u);
        }
    }
}

TEST_F(Certificates, NoPagesToFetch) {
    struct Case {
        const char* name;
        const char* number;
        std::optional<std::string> fullText; // nullopt: connection refused
        std::optional<std::string> viewer;
        const char* status = kImageError;
        const char* query = "";
    } cases[] = {
        {"search refused", "US5123456", std::nullopt, "",
         "Timeout @ the USPTO server (Certificate of correction not found)"},
        {"no viewer link", "USA20010000044", "<html>No patents have matched your query</html>", "",
         " (Certificate of correction not found)",
         "&d=PG01&p=1&u=/ne&r=1&f=G&l=50&s1='20010000044'.PGNR."},
        {"viewer refused", "US5123456", "", std::nullopt},
        {"no NumPages", "US5123456", "", "<input name=docid value=\"D1\">"},
        {"not a number", "US5123456", "", viewer_page("twelve-")},
        {"no dash within 20", "US5123456", "", viewer_page("12 pages in this document - ")},
        {"zero", "US5123456", "", viewer_page("0-")},
        {"beyond the counter", "US5123456", "", viewer_page("99999-")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        server.clearRequests();
        serve(c.viewer.value_or(""));
        if (!c.viewer)
            server.on("/.piw", [](const auto&) { return refused(); });
        if (!c.fullText)
            server.on("/netacgi/nph-Parser", [](const auto&) { return refused(); });
        else if (!c.fullText->empty())
            server.on("/netacgi/nph-Parser",
                      [&](const auto&) { return Answer::text(*c.fullText); });
        EXPECT_EQ(uspto_cartificate(ctx, c.number, 10), "");
        EXPECT_EQ(host.status(), c.status);
        EXPECT_EQ(targets_of("/.DImg").size(), 0u);
        EXPECT_EQ(targets_of("/.piw").empty(), !c.fullText || !c.fullText->empty());
        EXPECT_NE(targets_of("/netacgi/nph-Parser").at(0).find(c.query), std::string::npos);
    }
}

TEST_F(Certificates, ViewerHostIsTheOneTheLinkNames) {
    LoopbackServer viewers[5]; // patent viewers 1 to 3, application viewers 1 and 2
    const char* roles[] = {"UsptoPatentViewerHost1", "UsptoPatentViewerHost2",
                           "UsptoPatentViewerHost3", "UsptoApplicationViewerHost1",
                           "UsptoApplicationViewerHost2"};
    for (int i = 0; i < 5; ++i) {
        point_roles({roles[i]}, viewers[i].host());
        viewers[i].onAny([](const auto&) { return Answer::text(viewer_page("10-")); });
    }
    struct Case {
        const char* page; // %1 to %5: the hosts of the five roles
        int viewer;
        const char* target;
    } cases[] = {
        {"<a href=http://elsewhere.invalid/.piw?Docid=1>", 0, "/.piw?Docid=1"},
        {"<a href=http://%2/.piw?Docid=2&x=y >", 1, "/.piw?Docid=2&x=y"},
        {"<a href=http://%3/.piw?Docid=3>", 2, "/.piw?Docid=3"},
        {"<a href=http://%4/.aiw?Docid=4>", 3, "/.aiw?Docid=4"},
        {"<a href=http://%5/.aiw?Docid=5>", 4, "/.aiw?Docid=5"},
        {"<a href=http://%4:80/.aiw?Docid=6>", 3, "/.aiw?Docid=6"},
        {"<a href=http://%5:80/.aiw?Docid=7>", 4, "/.aiw?Docid=7"},
        {"<a href=http://%2/.piw?Docid=8> <a href=http://%4/.aiw?Docid=9>", 3, "/.aiw?Docid=9"},
        {"<a href=http://%5/.aiw?Docid=10> <a href=http://%2/.piw?Docid=11>", 4, "/.aiw?Docid=10"},
        {"no link end .piw?Docid=12", 0, "/"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.page);
        QString page = c.page;
        for (int i = 0; i < 5; ++i)
            page.replace(QString("%%1").arg(i + 1), viewers[i].host());
        server.on("/netacgi/nph-Parser",
                  [&](const auto&) { return Answer::text(page.toStdString()); });
        for (auto& v : viewers)
            v.clearRequests();
        EXPECT_EQ(uspto_cartificate(ctx, "US5123456", 10), "");
        EXPECT_EQ(host.status(), "US5123456 Certificate of correction not found");
        EXPECT_EQ(viewers[c.viewer].targets(), std::vector<std::string>{c.target});
    }
}

TEST_F(Certificates, EveryPageHasNineAttempts) {
    const Answer html = Answer::text("<html>Server busy</html>");
    QByteArray bigEndian = page_tiff(11, true);
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
        // The web layer may send a request again when its redirect is refused, so here the
        // attempts are told by the status line only.
        {"refused connections", std::vector<Answer>(99, refused()), "US5123456 Error in download"},
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
            EXPECT_EQ(pdfnumpages(result), "1 Pages");
            QFile::remove(result);
        }
        EXPECT_EQ(files(tempdir), QStringList());
    }
}
