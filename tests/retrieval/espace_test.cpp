#include "foundation/general.h"
#include "office_fixture.h"
#include "retrieval/espace.h"
#include "retrieval/kit.h"
#include "retrieval/retrievers.h"
#include "settings_fixture.h"

#include <QFile>

namespace {

using Answer = LoopbackServer::Answer;
using Request = LoopbackServer::Request;

std::string query(const Request& r, const std::string& key) {
    auto it = r.query.find(key);
    return it == r.query.end() ? std::string() : it->second;
}

// The readers of the lookup server's and the site's pages, and the number rules.
TEST(EspaceReaders, RepliesAndNumbers) {
    // bnsinfo.asp: "id|pages|bookmarks", or "-" when the document isn't held.
    const std::pair<const char*, const char*> replies[] = {
        {"1@EP1@ID1@3@,1:Abstract@@@@", "ID1|3|1:Abstract"},
        {"1@EP1@ID1@3abc@1:Abstract,2:Claims@@@@", "ID1|3|1:Abstract,2:Claims"},
        {"1@EP1@ID1@ 2@@@@@", "ID1|2|"},
        {"1@EP1@ID1@abc@,,x:y@@@@", "ID1|0|,x:y"},
        {"1@EP1@ID1@99999999999@@@@@", "ID1|0|"}, // beyond any page count
        {"1@EP1@@@@", "|0|"},
        {"1@EP1@ID1@3@,1:Abstract", "-"},
        {"<html><body>Internal error</body></html>", "-"},
    };
    for (const auto& [reply, read] : replies) {
        const auto info = read_bnsinfo(reply);
        EXPECT_EQ(info ? info->id + '|' + QString::number(info->pages) + '|' + info->bookmarks
                       : "-",
                  read)
            << reply;
    }
    // The site's availability page: options with a "-" give bookmarks, the viewer script the
    // page count.
    const QString page = "<html><select name=\"pg\"><option value=\"1\">1 - Abstract</option>"
                         "<option value=\"2\">2 - Description </option><option value=\"4\">"
                         "Drawings</option></select><script>var n = parseInt(\"4\");</script>";
    const auto site = read_site_page(page);
    ASSERT_TRUE(site);
    EXPECT_EQ(site->bookmarks + '|' + QString::number(site->pages), "1:Abstract,2:Description|4");
    EXPECT_EQ(read_site_page(QString(page).replace("parseInt", "Number"))->pages, 0);
    EXPECT_FALSE(read_site_page("<html>no list</html>"));

    const std::pair<QString, QString> numbers[] = {
        {wo_years("WO04123456"), "WO2004123456"},      {wo_years("WO14123456"), "WO2014123456"},
        {wo_years("WO15123456"), "WO15123456"},        {wo_years("WO03123456"), "WO03123456"},
        {wo_years("EP04123456"), "EP04123456"},        {wo_years("WO0404"), "WO200404"},
        {wo_years("WO10123456", 9), "WO10123456"},     {wo_years("WO09123456", 9), "WO2009123456"},
        {ep_site_padding("EP1234567"), "EP1234567"},   {ep_site_padding("EP123"), "EP0000123"},
        {ep_site_padding("EP1234567B1"), "EP34567B1"}, {ep_site_padding("WO123"), "WO123"}};
    for (const auto& [made, expected] : numbers)
        EXPECT_EQ(made, expected);
}

class EspaceRoute : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        // The lookup server: bns.asp hands out the pages of a three-page document "ID1".
        for (const char* pg : {"1", "2", "3"})
            pages_[pg] = onePagePdf(QString("P") + pg).toStdString();
        server.on("/bns.asp", [this](const Request& r) {
            if (query(r, "ID") != "ID1" || !pages_.count(query(r, "PG")))
                return Answer::text("<HTML><BODY>No such page</BODY></HTML>");
            return Answer::bytes(pages_.at(query(r, "PG")));
        });
        point_roles({"CompanyLookupHost"}, server.host());
    }
    void reply(const Answer& answer) {
        server.on("/bnsinfo.asp", [answer](const Request&) { return answer; });
    }
    QString target(const QString& number = "EP1") const { return pdf + number + ".pdf"; }
    QString bns(const QString& number = "EP1") {
        const QString r = espace_bns_download(ctx, number, target(number), tmp + "job7");
        closeConnections();
        return r;
    }
    std::map<std::string, std::string> pages_;
};

// A held document arrives page by page with its bookmarks (none: none of an earlier one);
// one whose pages the server hasn't got leaves nothing. A document already there is taken as it
// stands, without asking. WO numbers are asked with the four-digit year.
TEST_F(EspaceRoute, WholeDocumentsFromTheLookupServer) {
    const std::tuple<Answer, int, const char*> cases[] = {
        {Answer::text("1@EP1@ID1@3@,1:Abstract@@@@"), 3, "1:Abstract"},
        {Answer::text("1@EP1@ID1@ 2@@@@@"), 2, ""},
        {Answer::text("1@EP1@ID1@1000000000@@@@@"), 0, ""},
    };
    for (const auto& [answer, pages, bookmarks] : cases) {
        SCOPED_TRACE(answer.body);
        reply(answer);
        ctx.state.bookmark_info = "old";
        EXPECT_EQ(bns(), pages ? target() : "");
        EXPECT_EQ(pageLabels(target()).size(), pages);
        EXPECT_EQ(ctx.state.bookmark_info, bookmarks);
        EXPECT_TRUE(files().isEmpty()) << files().join(' ').toStdString();
        QFile::remove(target());
    }
    server.clearRequests();
    write_file(target(), "whatever stands there");
    EXPECT_EQ(bns(), target());
    EXPECT_EQ(server.requestCount(), 0u);

    reply(Answer::text("1@X@ID1@1@@@@@"));
    EXPECT_EQ(bns("WO04012345"), target("WO04012345"));
    EXPECT_EQ(server.targets().front(), "/bnsinfo.asp?PN=WO2004012345");
}

// US patents get their certificates of correction appended; published applications don't,
// and an empty answer leaves the document alone. With fp ticked only page one is fetched,
// without bookmarks or certificates. Bookmarks only when ADDBOOKMARKS says "1".
TEST_F(EspaceRoute, CertificatesOfCorrectionBookmarksAndFrontPages) {
    make_sample_pdf(root + "/two.pdf", "C", 2, 500);
    struct Case {
        const char* number;
        const char* certificate; // what the fetcher answers; "file" for a real one
        bool fp;
        const char* bookmarks; // ADDBOOKMARKS
        int calls;
        int pages;
    } cases[] = {{"US5123456", "file", false, "1", 1, 5},
                 {"US5123456", "  ", false, "1", 1, 3},
                 {"US20040123456", "file", false, "0", 0, 3},
                 {"EP1", "file", false, "", 0, 3},
                 {"US5123456", "file", true, "1", 0, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.number) + " " + c.certificate + (c.fp ? " fp" : ""));
        reply(Answer::text("1@X@ID1@3@,1:Abstract,2:Claims@@@@"));
        set_settings({{"ADDBOOKMARKS", c.bookmarks}});
        host.fp = c.fp;
        server.clearRequests();
        const QString certificate = pdf + "cert.pdf";
        int calls = 0;
        retrievers(ctx).uspto_cartificate = [&](RunContext&, const QString& n, int last) {
            ++calls;
            EXPECT_EQ(n + ' ' + QString::number(last), QString(c.number) + " 3");
            if (QString(c.certificate) != "file")
                return QString(c.certificate);
            write_file(certificate, read_file(root + "/two.pdf"));
            return " " + certificate + " ";
        };
        EXPECT_EQ(bns(c.number), target(c.number));
        EXPECT_EQ(calls, c.calls);
        EXPECT_EQ(pageLabels(target(c.number)).size(), c.pages);
        EXPECT_EQ(targetsOf("/bns.asp").size(), c.fp ? 1u : 3u);
        const QByteArray bytes = read_file(target(c.number));
        EXPECT_EQ(bytes.contains("/Outlines"), !c.fp && *c.bookmarks == '1');
        EXPECT_EQ(bytes.contains("/Title (Correction)"), c.pages == 5);
        EXPECT_FALSE(QFile::exists(certificate));
        EXPECT_FALSE(QFile::exists(target(c.number) + "_TEMP.pdf"));
        QFile::remove(target(c.number));
    }
}

// ps.asp names a PDF on an https host; what comes back must look like a PDF of 850 bytes
// or more. The proxy prefix goes in behind "https://" too.
TEST_F(EspaceRoute, FrontPagesFromThePublicationServer) {
    LoopbackServer publication(true);
    std::string body;
    publication.on("/fp.pdf", [&](const Request&) { return Answer::bytes(body); });
    const std::string address = "https://" + publication.host().toStdString() + "/fp.pdf";
    server.on("/ps.asp", [&](const Request&) { return Answer::text(address); });
    const std::pair<std::string, bool> cases[] = {{"%PDF-1.4" + std::string(892, 'x'), true},
                                                  {"<html>" + std::string(894, 'x'), false},
                                                  {"%PDF-1.4" + std::string(792, 'x'), false},
                                                  {"", false}};
    for (const auto& [content, stands] : cases) {
        SCOPED_TRACE(content.substr(0, 8) + " " + std::to_string(content.size()));
        body = content;
        EXPECT_EQ(espace_frontpage_download(ctx, "EP1", target(), tmp), stands ? target() : "");
        EXPECT_EQ(QFile::exists(target()), stands);
        QFile::remove(target());
    }
    set_settings({{"PROXYUSERID", "u:p@"}});
    body = cases[0].first;
    EXPECT_EQ(espace_frontpage_download(ctx, "EP1", target(), tmp), target());
    EXPECT_EQ(publication.requests().back().header("Authorization"), "Basic dTpw");
    EXPECT_EQ(server.requests().back().header("Authorization"), "Basic dTpw");

    // A reply without an https address asks nothing more.
    QFile::remove(target());
    server.on("/ps.asp", [&](const Request&) { return Answer::text("http://elsewhere/fp.pdf"); });
    const size_t before = publication.requestCount();
    EXPECT_EQ(espace_frontpage_download(ctx, "EP1", target(), tmp), "");
    EXPECT_EQ(publication.requestCount(), before);
    closeConnections();
}

// frbdoc.asp lists the pieces; blank lines are skipped but counted, each piece gives its
// first page, and the pieces are fetched without the proxy prefix. "B1" is looked up as it
// is; a reply that doesn't name the number holds nothing.
TEST_F(EspaceRoute, FrenchGrantedPatentsFromPieces) {
    LoopbackServer pieces;
    pieces.on("/piece", [](const Request& r) {
        const std::string n = r.query.at("n");
        return Answer::bytes(n == "bad"
                                 ? "<html>gone</html>"
                                 : onePagePdf(QString::fromStdString("F" + n)).toStdString());
    });
    const std::string h = pieces.host().toStdString();
    server.on("/frbdoc.asp", [&](const Request& r) {
        return Answer::text(h + "/piece?n=1&pn=" + query(r, "pn") + "\r\n\r\n" + h +
                            "/piece?n=bad\r\n  \r\n" + h + "/piece?n=2\r\n");
    });
    set_settings({{"PROXYUSERID", "u:p@"}});
    const QString file = target("FR2812345B");
    EXPECT_EQ(fr_espace_download(ctx, "FR2812345B", file, tmp + "j"), file);
    EXPECT_EQ(server.targets().back(), "/frbdoc.asp?pn=FR2812345B1");
    EXPECT_EQ(pageLabels(file), QStringList({"F1 1", "F2 1"}));
    for (const auto& r : pieces.requests())
        EXPECT_EQ(r.header("Authorization"), "");
    EXPECT_TRUE(files().isEmpty());

    server.on("/frbdoc.asp", [&](const Request&) { return Answer::text(h + "/piece?n=1\r\n"); });
    const QString other = target("FR2812346B1");
    EXPECT_EQ(fr_espace_download(ctx, "FR2812346B1", other, tmp), "");
    EXPECT_EQ(server.targets().back(), "/frbdoc.asp?pn=FR2812346B1");
    EXPECT_FALSE(QFile::exists(other));
    closeConnections();
}

// The site's availability request stays unsent, so the site route finds nothing; handed an
// availability page, it fetches the pages from the site and bookmarks the sections.
TEST_F(EspaceRoute, SiteRequestStaysUnsentButItsPageIsRead) {
    make_sample_pdf(samples + "/espacenet/EP1000003.pdf", "S", 4, 500);
    startSimulator();
    const QString file = target("EP1000003");
    EXPECT_EQ(espace_site_download(ctx, "EP1000003", file, tmp), "");
    EXPECT_TRUE(sim->requests("EspacenetSiteHost").empty());
    EXPECT_TRUE(ctx.Inet1.URL.isEmpty());

    const QString page = "<html><select><option value=\"1\">1 - Abstract</option></select>"
                         "<script>var n = parseInt(\"4\");</script></html>";
    set_settings({{"ADDBOOKMARKS", "1"}});
    EXPECT_EQ(espace_site_read(ctx, "EP1000003", file, tmp + "s", page), file);
    EXPECT_EQ(ctx.state.bookmark_info, "1:Abstract");
    EXPECT_EQ(pageLabels(file).size(), 4);
    EXPECT_TRUE(read_file(file).contains("/Outlines"));
    const auto siteRequests = sim->requests("EspacenetSiteHost");
    ASSERT_FALSE(siteRequests.empty());
    EXPECT_EQ(siteRequests.front().rfind("/simplepdfdoc?F=128&RPN=EP1000003&PGN=", 0), 0u)
        << siteRequests.front();
}

} // namespace
