#include "foundation/general.h"
#include "loopback_server.h"
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

class EspaceRoute : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        for (int n = 1; n <= 3; ++n)
            pages_[n] = onePagePdf(QStringLiteral("P%1").arg(n)).toStdString();
        // The lookup server: bns.asp hands out the pages of a three-page document "ID1".
        lookup.on("/bns.asp", [this](const Request& r) {
            const int pg = std::atoi(query(r, "PG").c_str());
            if (query(r, "ID") != "ID1" || !pages_.count(pg))
                return Answer::text("<HTML><BODY>No such page</BODY></HTML>");
            return Answer::bytes(pages_.at(pg));
        });
        point_roles({"CompanyLookupHost"}, lookup.host());
    }
    void reply(const Answer& answer) {
        lookup.on("/bnsinfo.asp", [answer](const Request&) { return answer; });
    }
    QString target(const QString& number = QStringLiteral("EP1")) const {
        return pdf + number + QStringLiteral(".pdf");
    }
    QString bns(const QString& number = QStringLiteral("EP1")) {
        const QString r =
            espace_bns_download(ctx, number, target(number), tmp + QStringLiteral("job7"));
        closeConnections();
        return r;
    }
    size_t pageRequests() const {
        size_t n = 0;
        for (const auto& t : lookup.targets())
            n += t.rfind("/bns.asp", 0) == 0;
        return n;
    }

    LoopbackServer lookup;

private:
    std::map<int, std::string> pages_;
};

// The bnsinfo.asp reply in all its shapes, good and bad.
TEST_F(EspaceRoute, BnsInfoReplies) {
    struct Case {
        const char* reply;
        int pages; // 0: nothing delivered
        const char* bookmarks;
    } cases[] = {
        {"1@EP1@ID1@3@,1:Abstract@@@@", 3, "1:Abstract"},
        {"1@EP1@ID1@3abc@1:Abstract,2:Claims@@@@", 3, "1:Abstract,2:Claims"},
        {"1@EP1@ID1@ 2@@@@@", 2, ""},
        {"", 0, ""},
        {"<html><body>Internal error</body></html>", 0, ""},
        {"1@EP1@ID1@3@,1:Abstract", 0, ""},  // no marker: not held
        {"1@EP1@@@@", 0, ""},                // cut short
        {"1@EP1@ID1@abc@x:y@@@@", 0, "x:y"}, // no count
        {"1@EP1@ID1@0@@@@@", 0, ""},
        {"1@EP1@ID1@-1@@@@@", 0, ""},
        {"1@EP1@ID1@1000000000@@@@@", 0, ""},  // more pages than the server has
        {"1@EP1@ID1@99999999999@@@@@", 0, ""}, // beyond any page count
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reply);
        reply(Answer::text(c.reply));
        ctx.state.bookmark_info = QStringLiteral("old");
        const QString result = bns();
        if (c.pages > 0) {
            EXPECT_EQ(result, target());
            EXPECT_EQ(pageLabels(target()).size(), c.pages);
            EXPECT_EQ(host.status(), QStringLiteral("EP1 Done"));
        } else {
            EXPECT_EQ(result, QString());
            EXPECT_FALSE(QFile::exists(target()));
            EXPECT_EQ(host.status(), QStringLiteral("EP1 Patent not found"));
        }
        if (QString::fromLatin1(c.reply).contains(QLatin1String("@@@@"))) {
            EXPECT_EQ(ctx.state.bookmark_info, QString::fromLatin1(c.bookmarks));
        }
        EXPECT_TRUE(files().isEmpty()) << files().join(' ').toStdString();
        QFile::remove(target());
    }
    reply(Answer::drop());
    EXPECT_EQ(bns(), QString());

    // A document already there is taken as it stands, without asking.
    lookup.clearRequests();
    write_file(target(), "whatever stands there");
    ctx.state.bookmark_info = QStringLiteral("1:Kept");
    EXPECT_EQ(bns(), target());
    EXPECT_EQ(lookup.requestCount(), 0u);
    EXPECT_EQ(ctx.state.bookmark_info, QStringLiteral("1:Kept"));
    EXPECT_EQ(host.status(), QStringLiteral("EP1 Downloaded from cache"));
}

// US patents get their certificates of correction appended; published applications don't,
// and an empty answer leaves the document alone. With fp ticked only page one is fetched,
// without bookmarks or certificates.
TEST_F(EspaceRoute, CertificatesOfCorrectionAndFrontPages) {
    set_settings({{QStringLiteral("ADDBOOKMARKS"), QStringLiteral("1")}});
    make_sample_pdf(root + QStringLiteral("/two.pdf"), QStringLiteral("C"), 2, 500);
    struct Case {
        const char* number;
        const char* certificate; // what the fetcher answers; "file" for a real one
        bool fp;
        int calls;
        int pages;
    } cases[] = {{"US5123456", "file", false, 1, 5},
                 {"US5123456", "  ", false, 1, 3},
                 {"US20040123456", "file", false, 0, 3},
                 {"EP1", "file", false, 0, 3},
                 {"US5123456", "file", true, 0, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.number) + " " + c.certificate + (c.fp ? " fp" : ""));
        const QString number = QString::fromLatin1(c.number);
        reply(Answer::text("1@X@ID1@3@,1:Abstract,2:Claims@@@@"));
        host.fp = c.fp;
        lookup.clearRequests();
        const QString certificate = pdf + QStringLiteral("cert.pdf");
        int calls = 0;
        retrievers(ctx).uspto_cartificate = [&](RunContext&, const QString& n, int last) {
            ++calls;
            EXPECT_EQ(n, number);
            EXPECT_EQ(last, 3);
            if (QLatin1String(c.certificate) != QLatin1String("file"))
                return QString::fromLatin1(c.certificate);
            write_file(certificate, read_file(root + QStringLiteral("/two.pdf")));
            return QStringLiteral(" ") + certificate + QStringLiteral(" ");
        };
        EXPECT_EQ(bns(number), target(number));
        EXPECT_EQ(calls, c.calls);
        EXPECT_EQ(pageLabels(target(number)).size(), c.pages);
        EXPECT_EQ(pageRequests(), c.fp ? 1u : 3u);
        EXPECT_EQ(ctx.state.bookmark_info.isEmpty(), c.fp);
        const QByteArray bytes = read_file(target(number));
        EXPECT_EQ(bytes.contains("/Outlines"), !c.fp);
        EXPECT_EQ(bytes.contains("Correction"), c.pages == 5);
        EXPECT_FALSE(QFile::exists(certificate));
        EXPECT_FALSE(QFile::exists(target(number) + QStringLiteral("_TEMP.pdf")));
        QFile::remove(target(number));
    }
}

TEST_F(EspaceRoute, WoYearsAndEpPadding) {
    const std::pair<const char*, const char*> years[] = {
        {"WO04123456", "WO2004123456"}, {"WO2004123456", "WO2004123456"},
        {"WO14123456", "WO2014123456"}, {"WO15123456", "WO15123456"},
        {"WO03123456", "WO03123456"},   {"EP04123456", "EP04123456"},
        {"WO0404", "WO200404"}};
    for (const auto& [in, out] : years)
        EXPECT_EQ(wo_years(QString::fromLatin1(in)), QString::fromLatin1(out)) << in;
    EXPECT_EQ(wo_years(QStringLiteral("WO10123456"), 9), QStringLiteral("WO10123456"));
    EXPECT_EQ(wo_years(QStringLiteral("WO09123456"), 9), QStringLiteral("WO2009123456"));

    const std::pair<const char*, const char*> padding[] = {{"EP1234567", "EP1234567"},
                                                           {"EP123", "EP0000123"},
                                                           {"EP1234567B1", "EP34567B1"},
                                                           {"WO123", "WO123"}};
    for (const auto& [in, out] : padding)
        EXPECT_EQ(ep_site_padding(QString::fromLatin1(in)), QString::fromLatin1(out)) << in;

    // The lookup asks for the four-digit year; the file keeps the number as it came.
    reply(Answer::text("1@X@ID1@1@@@@@"));
    EXPECT_EQ(bns(QStringLiteral("WO04012345")), target(QStringLiteral("WO04012345")));
    EXPECT_EQ(lookup.targets().front(), "/bnsinfo.asp?PN=WO2004012345");
}

// ps.asp names a PDF on an https host; what comes back must look like a PDF of 850 bytes
// or more.
TEST_F(EspaceRoute, FrontPagesFromThePublicationServer) {
    LoopbackServer publication(true);
    std::string body;
    publication.on("/fp.pdf", [&](const Request&) { return Answer::bytes(body); });
    const std::string address = "https://" + publication.host().toStdString() + "/fp.pdf";
    lookup.on("/ps.asp", [&](const Request&) { return Answer::text(address); });
    struct Case {
        std::string body;
        bool stands;
    } cases[] = {{"%PDF-1.4" + std::string(892, 'x'), true},
                 {"<html>" + std::string(894, 'x'), false},
                 {"%PDF-1.4" + std::string(792, 'x'), false},
                 {"", false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.body.substr(0, 8) + " " + std::to_string(c.body.size()));
        body = c.body;
        const QString r = espace_frontpage_download(ctx, QStringLiteral("EP1"), target(), tmp);
        EXPECT_EQ(r, c.stands ? target() : QString());
        EXPECT_EQ(QFile::exists(target()), c.stands);
        EXPECT_EQ(host.status(), c.stands
                                     ? QStringLiteral("EP1 Patent downloaded (Publication server)")
                                     : QStringLiteral("EP1 Patent not found"));
        QFile::remove(target());
    }
    // The proxy prefix goes in behind "https://" too.
    set_settings({{QStringLiteral("PROXYUSERID"), QStringLiteral("u:p@")}});
    body = cases[0].body;
    EXPECT_EQ(espace_frontpage_download(ctx, QStringLiteral("EP1"), target(), tmp), target());
    EXPECT_EQ(publication.requests().back().header("Authorization"), "Basic dTpw");
    EXPECT_EQ(lookup.requests().back().header("Authorization"), "Basic dTpw");

    // A reply without an https address asks nothing more.
    QFile::remove(target());
    lookup.on("/ps.asp", [&](const Request&) { return Answer::text("http://elsewhere/fp.pdf"); });
    const size_t before = publication.requestCount();
    EXPECT_EQ(espace_frontpage_download(ctx, QStringLiteral("EP1"), target(), tmp), QString());
    EXPECT_EQ(publication.requestCount(), before);
    closeConnections();
}

// frbdoc.asp lists the pieces; blank lines are skipped but counted, each piece gives its
// first page, and the pieces are fetched without the proxy prefix.
TEST_F(EspaceRoute, FrenchGrantedPatentsFromPieces) {
    LoopbackServer pieces;
    pieces.on("/piece", [](const Request& r) {
        const std::string n = r.query.at("n");
        return Answer::bytes(n == "bad"
                                 ? "<html>gone</html>"
                                 : onePagePdf(QString::fromStdString("F" + n)).toStdString());
    });
    const std::string h = pieces.host().toStdString();
    lookup.on("/frbdoc.asp", [&](const Request& r) {
        return Answer::text(h + "/piece?n=1&pn=" + query(r, "pn") + "\r\n\r\n" + h +
                            "/piece?n=bad\r\n  \r\n" + h + "/piece?n=2\r\n");
    });
    set_settings({{QStringLiteral("PROXYUSERID"), QStringLiteral("u:p@")}});
    const QString file = target(QStringLiteral("FR2812345B"));
    EXPECT_EQ(
        fr_espace_download(ctx, QStringLiteral("FR2812345B"), file, tmp + QStringLiteral("j")),
        file);
    EXPECT_EQ(lookup.targets().back(), "/frbdoc.asp?pn=FR2812345B1");
    EXPECT_EQ(pageLabels(file), (QStringList{QStringLiteral("F1 1"), QStringLiteral("F2 1")}));
    EXPECT_EQ(host.status(), QStringLiteral("FR2812345B Done (FR Espacenet site)"));
    for (const auto& r : pieces.requests())
        EXPECT_EQ(r.header("Authorization"), "");
    EXPECT_TRUE(files().isEmpty());

    // "B1" is looked up as it is; a reply that doesn't name the number holds nothing.
    lookup.on("/frbdoc.asp", [&](const Request&) { return Answer::text(h + "/piece?n=1\r\n"); });
    const QString other = target(QStringLiteral("FR2812346B1"));
    EXPECT_EQ(fr_espace_download(ctx, QStringLiteral("FR2812346B1"), other, tmp), QString());
    EXPECT_EQ(lookup.targets().back(), "/frbdoc.asp?pn=FR2812346B1");
    EXPECT_EQ(host.status(), QStringLiteral("FR2812346B1 Patent not found (Espacenet site)"));
    EXPECT_FALSE(QFile::exists(other));
    closeConnections();
}

TEST_F(EspaceRoute, SiteRequestStaysUnsentButItsPageIsRead) {
    make_sample_pdf(samples + QStringLiteral("/espacenet/EP1000003.pdf"), QStringLiteral("S"), 4,
                    500);
    startSimulator();
    EXPECT_EQ(espace_site_download(ctx, QStringLiteral("EP1000003"),
                                   target(QStringLiteral("EP1000003")), tmp),
              QString());
    EXPECT_TRUE(sim->requests(QStringLiteral("EspacenetSiteHost")).empty());
    EXPECT_TRUE(ctx.Inet1.URL.isEmpty());
    EXPECT_EQ(host.status(), QStringLiteral("EP1000003 Patent not found (Espacenet site)"));

    const QString page = QStringLiteral(
        "<html><select name=\"pg\"><option value=\"1\">1 - Abstract</option><option value=\"2\">"
        "2 - Description </option><option value=\"4\">Drawings</option></select>"
        "<script>var n = parseInt(\"4\");</script></html>");
    set_settings({{QStringLiteral("ADDBOOKMARKS"), QStringLiteral("1")}});
    const QString file = target(QStringLiteral("EP1000003"));
    EXPECT_EQ(
        espace_site_read(ctx, QStringLiteral("EP1000003"), file, tmp + QStringLiteral("s"), page),
        file);
    EXPECT_EQ(ctx.state.bookmark_info, QStringLiteral("1:Abstract,2:Description"));
    EXPECT_EQ(pageLabels(file).size(), 4);
    EXPECT_TRUE(read_file(file).contains("/Outlines"));
    EXPECT_EQ(host.status(), QStringLiteral("EP1000003 Done (Espacenet site)"));
    const auto siteRequests = sim->requests(QStringLiteral("EspacenetSiteHost"));
    ASSERT_FALSE(siteRequests.empty());
    EXPECT_EQ(siteRequests.front().rfind("/simplepdfdoc?F=128&RPN=EP1000003&PGN=", 0), 0u)
        << siteRequests.front();

    // A page without the viewer script's count delivers nothing.
    QFile::remove(file);
    QString noCount = page;
    noCount.replace(QStringLiteral("parseInt"), QStringLiteral("Number"));
    EXPECT_EQ(espace_site_read(ctx, QStringLiteral("EP1000003"), file, tmp, noCount), QString());
    EXPECT_FALSE(QFile::exists(file));
}

} // namespace
