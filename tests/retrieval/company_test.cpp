#include "foundation/general.h"
#include "loopback_server.h"
#include "office_fixture.h"
#include "retrieval/company.h"
#include "retrieval/kit.h"
#include "settings_fixture.h"

#include <QFile>

namespace {

using Answer = LoopbackServer::Answer;
using Request = LoopbackServer::Request;

// A well-formed one-page PDF of a few hundred bytes (the offsets are those of this text).
const std::string tinyPdf =
    "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"
    "2 0 obj\n<< /Type /Pages /Kids [3 0 R] /Count 1 >>\nendobj\n"
    "3 0 obj\n<< /Type /Page /Parent 2 0 R /MediaBox [0 0 100 100] >>\nendobj\n"
    "xref\n0 4\n0000000000 65535 f \n0000000009 00000 n \n0000000058 00000 n \n"
    "0000000115 00000 n \ntrailer\n<< /Size 4 /Root 1 0 R >>\nstartxref\n186\n%%EOF\n";

class CompanyServers : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        services.on("/doc.pdf", [doc = onePagePdf(QStringLiteral("W"), 3000).toStdString()](
                                    const Request&) { return Answer::bytes(doc); });
        services.on("/other.pdf", [](const Request&) {
            return Answer::bytes(onePagePdf(QStringLiteral("O"), 3000).toStdString());
        });
        services.on("/html.pdf",
                    [](const Request&) { return Answer::text("<html><body>busy</body></html>"); });
        services.on("/tiny.pdf", [](const Request&) { return Answer::bytes(tinyPdf); });
        point_roles({"CompanyServicesHost"}, services.host());
    }
    void TearDown() override {
        closeConnections();
        OfficeTest::TearDown();
    }
    void reply(const std::string& text) {
        services.on("/lookup/wipop2.asp", [text](const Request&) { return Answer::text(text); });
    }
    std::string server() const { return services.host().toStdString(); }
    QString wipo(QString number) {
        wipo_download(ctx, number, QString());
        return pdf + number + QStringLiteral(".pdf");
    }
    size_t requestsFor(const std::string& path) const {
        size_t n = 0;
        for (const auto& r : services.requests())
            n += r.path == path;
        return n;
    }

    LoopbackServer services;
};

TEST_F(CompanyServers, WipoAsksWithTheKindCodeApart) {
    reply("");
    wipo(QStringLiteral("wo03-012345a1"));
    wipo(QStringLiteral("WO2004012345"));
    EXPECT_EQ(services.targets(),
              (std::vector<std::string>{"/lookup/wipop2.asp?pn=WO03012345&KD=A1",
                                        "/lookup/wipop2.asp?pn=WO2004012345"}));
}

// wipop2.asp replies: "PAGES=" in any case makes one valid; line 0 and the last line are
// never fetched; of several documents the last stands.
TEST_F(CompanyServers, WipoReplies) {
    struct Case {
        std::string reply;
        const char* stands; // the label of the file that stands, "" for none
    } cases[] = {
        {"PAGES=1\r\n" + server() + "/doc.pdf\r\n", "W 1"},
        {"pages=1\r\n" + server() + "/doc.pdf\r\nBOOKMARKS=1:Abstract", "W 1"},
        {"PAGES=2\r\n" + server() + "/doc.pdf\r\n" + server() +
             "/other.pdf\r\nBOOKMARKS=1:Abstract",
         "O 1"},
        // Line 1 is taken for a document whatever it holds.
        {"BOOKMARKS=1:Abstract\r\nPAGES=1\r\n" + server() + "/doc.pdf\r\n", ""},
        {"PAGES=1", ""},
        {"PAGES=1\r\n", ""},
        {"<HTML>PAGES=1\r\n" + server() + "/doc.pdf\r\n</html>", ""},
        {"", ""},
        {"PAGES=1\n" + server() + "/doc.pdf\n\n", ""},    // LF alone doesn't end a line here
        {"PAGES=1\r\n" + server() + "/tiny.pdf\r\n", ""}, // below 850 bytes
    };
    ASSERT_LT(tinyPdf.size(), 850u);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reply);
        reply(c.reply);
        const QString file = wipo(QStringLiteral("WO2004012345"));
        const QString stands = QString::fromLatin1(c.stands);
        EXPECT_EQ(pageLabels(file), stands.isEmpty() ? QStringList() : QStringList{stands});
        EXPECT_EQ(QFile::exists(file), !stands.isEmpty());
        EXPECT_EQ(ctx.host.title(), QStringLiteral("Bright Quill - Desktop edition"));
        EXPECT_TRUE(files().isEmpty());
        QFile::remove(file);
    }
    EXPECT_EQ(requestsFor("/tiny.pdf"), 1u);
}

TEST_F(CompanyServers, WipoGivesUpAfterSevenTries) {
    reply("PAGES=1\r\n" + server() + "/html.pdf\r\n");
    const QString file = wipo(QStringLiteral("WO2004012345"));
    EXPECT_FALSE(QFile::exists(file));
    EXPECT_EQ(requestsFor("/html.pdf"), 7u);
    EXPECT_TRUE(
        host.statusHistory.contains(QStringLiteral("WO2004012345 Downloading document (retry 3)")));
    EXPECT_TRUE(host.statusHistory.contains(
        QStringLiteral("WO2004012345 Downloading the document please wait!  retry: 5")));
    EXPECT_FALSE(host.statusHistory.contains(
        QStringLiteral("WO2004012345 Downloading the document please wait!  retry: 6")));
    EXPECT_FALSE(
        host.statusHistory.contains(QStringLiteral("WO2004012345 Downloading document (retry 2)")));
    EXPECT_TRUE(host.statusHistory.contains(QStringLiteral("WO2004012345 not found")));
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(CompanyServers, WipoFrontPageCopyBesideTheDocument) {
    host.fp = true;
    reply("PAGES=1\r\n" + server() + "/doc.pdf\r\n");
    const QString file = wipo(QStringLiteral("WO2004012345"));
    EXPECT_EQ(pageLabels(file), QStringList{QStringLiteral("W 1")});
    EXPECT_EQ(pageLabels(pdf + QStringLiteral("FP_WO2004012345.pdf")),
              QStringList{QStringLiteral("W 1")});

    // A document already there makes its copy too, without asking.
    make_sample_pdf(pdf + QStringLiteral("WO2005000001.pdf"), QStringLiteral("C"), 3, 500);
    services.clearRequests();
    wipo(QStringLiteral("WO2005000001"));
    EXPECT_EQ(services.requestCount(), 0u);
    EXPECT_EQ(pageLabels(pdf + QStringLiteral("FP_WO2005000001.pdf")),
              QStringList{QStringLiteral("C 1")});
    EXPECT_EQ(pageLabels(pdf + QStringLiteral("WO2005000001.pdf")).size(), 3);

    // A cancelled order makes no copy.
    ctx.state.order_cancelled = true;
    make_sample_pdf(pdf + QStringLiteral("WO2005000002.pdf"), QStringLiteral("D"), 1, 500);
    wipo(QStringLiteral("WO2005000002"));
    EXPECT_FALSE(QFile::exists(pdf + QStringLiteral("FP_WO2005000002.pdf")));
    EXPECT_EQ(host.status(), QStringLiteral("Job cancelled"));
}

// The reserve retriever through the Espacenet site: the kind code leads to the document id,
// the page tree gives the count, the pages are joined, and the outcome is logged.
TEST_F(CompanyServers, BnsDownloadThroughTheSite) {
    make_sample_pdf(samples + QStringLiteral("/espacenet/EP1000004B1.pdf"), QStringLiteral("E"), 4,
                    3000);
    startSimulator();
    QString number = QStringLiteral("ep1000004b1");
    bns_download(ctx, number, QStringLiteral("REF"));
    EXPECT_EQ(number, QStringLiteral("EP1000004B1"));
    EXPECT_EQ(pageLabels(pdf + QStringLiteral("REF/EP1000004B1.pdf")).size(), 4);
    EXPECT_EQ(logRecords(), QStringList{QStringLiteral("EP1000004B1|REF|Downloaded (4 Pages )")});
    const auto site = sim->requests(QStringLiteral("EspacenetSiteHost"));
    ASSERT_GE(site.size(), 3u);
    EXPECT_EQ(site[0], "/textdoc?RPN=EP1000004&PRT=yes&F=1");
    EXPECT_EQ(site[1], "/pdfdoc?RPN=EP1000004&DOC=ep1000004b1");
    EXPECT_EQ(site[2], "/pdfdoc?RPN=EP1000004&DOC=ep1000004b1&F=64&PGN=1");

    // A kind code the site doesn't list, and a page that never comes.
    QString missing = QStringLiteral("EP1000004B2");
    bns_download(ctx, missing, QStringLiteral("REF"));
    EXPECT_EQ(logRecords().last(), QStringLiteral("EP1000004B2|REF|EP1000004B2not found"));
}

TEST_F(CompanyServers, BnsDownloadGivesUpAfterElevenTries) {
    make_sample_pdf(samples + QStringLiteral("/espacenet/EP1000005.pdf"), QStringLiteral("E"), 2,
                    3000);
    Simulator::Options options;
    options.pageFailures = 1000;
    startSimulator(options);
    QString number = QStringLiteral("EP1000005");
    bns_download(ctx, number, QString());
    EXPECT_EQ(logRecords(), QStringList{QStringLiteral("EP1000005||Not found ")});
    const auto site = sim->requests(QStringLiteral("EspacenetSiteHost"));
    EXPECT_EQ(
        std::count_if(site.begin(), site.end(),
                      [](const std::string& t) { return t.find("&PGN=1") != std::string::npos; }),
        11);
    EXPECT_FALSE(QFile::exists(pdf + QStringLiteral("EP1000005.pdf")));
}

TEST(RetrievalRules, ValReadsLeadingDigits) {
    const std::pair<const char*, int> cases[] = {
        {"12", 12},   {" 12abc", 12},    {"1 2", 12},
        {"abc", 0},   {"", 0},           {"-1", -1},
        {"+7", 7},    {"3.9", 3},        {"1000000000", 1000000000},
        {"\t\n5", 5}, {"99999999999", 0}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(vb_val(QString::fromLatin1(text)), value) << text;
}

} // namespace
