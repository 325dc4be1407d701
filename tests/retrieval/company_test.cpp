#include "foundation/general.h"
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
        for (const char* name : {"doc", "other"})
            server.on(std::string("/") + name + ".pdf",
                      [doc = onePagePdf(QString(name[0]).toUpper(), 3000).toStdString()](
                          const Request&) { return Answer::bytes(doc); });
        server.on("/html.pdf", [](const Request&) { return Answer::text("<html>busy</html>"); });
        server.on("/tiny.pdf", [](const Request&) { return Answer::bytes(tinyPdf); });
        point_roles({"CompanyServicesHost"}, server.host());
    }
    void reply(const std::string& text) {
        server.on("/lookup/wipop2.asp", [text](const Request&) { return Answer::text(text); });
    }
    std::string address() const { return server.host().toStdString(); }
    QString wipo(QString number) {
        wipo_download(ctx, number, QString());
        return pdf + number + ".pdf";
    }
};

// wipop2.asp is asked with the kind code apart. Its reply is valid when it holds "PAGES="
// in any case; line 0 and the last line are never fetched; of several documents the last
// stands; one below 850 bytes doesn't, nor one that is no PDF after seven tries.
TEST_F(CompanyServers, WipoReplies) {
    reply("");
    wipo("wo03-012345a1");
    EXPECT_EQ(server.targets(), std::vector<std::string>{"/lookup/wipop2.asp?pn=WO03012345&KD=A1"});
    const std::string doc = address() + "/doc.pdf\r\n";
    const std::pair<std::string, const char*> cases[] = {
        {"PAGES=1\r\n" + doc, "D 1"},
        {"pages=1\r\n" + doc + "BOOKMARKS=1:Abstract", "D 1"},
        {"PAGES=2\r\n" + doc + address() + "/other.pdf\r\nBOOKMARKS=1:Abstract", "O 1"},
        // Line 1 is taken for a document whatever it holds.
        {"BOOKMARKS=1:Abstract\r\nPAGES=1\r\n" + doc, ""},
        {"PAGES=1\r\n", ""},
        {"<HTML>PAGES=1\r\n" + doc + "</html>", ""},
        {"PAGES=1\n" + address() + "/doc.pdf\n\n", ""}, // LF alone doesn't end a line here
        {"PAGES=1\r\n" + address() + "/tiny.pdf\r\n", ""},
        {"PAGES=1\r\n" + address() + "/html.pdf\r\n", ""}, // tried seven times
    };
    for (const auto& [text, stands] : cases) {
        SCOPED_TRACE(text);
        reply(text);
        const QString file = wipo("WO2004012345");
        EXPECT_EQ(pageLabels(file), *stands ? QStringList{stands} : QStringList());
        EXPECT_EQ(QFile::exists(file), *stands != 0);
        EXPECT_TRUE(files().isEmpty());
        QFile::remove(file);
    }
    EXPECT_EQ(targetsOf("/tiny.pdf").size(), 1u);
    EXPECT_EQ(targetsOf("/html.pdf").size(), 7u);
    EXPECT_EQ(server.targets()[1], "/lookup/wipop2.asp?pn=WO2004012345");
}

// With front pages only, the first page goes beside the document, also beside one that is
// already there (then nothing is asked); a cancelled order makes no copy.
TEST_F(CompanyServers, WipoFrontPageCopyBesideTheDocument) {
    host.fp = true;
    reply("PAGES=1\r\n" + address() + "/doc.pdf\r\n");
    EXPECT_EQ(pageLabels(wipo("WO2004012345")), QStringList{"D 1"});
    EXPECT_EQ(pageLabels(pdf + "FP_WO2004012345.pdf"), QStringList{"D 1"});

    make_sample_pdf(pdf + "WO2005000001.pdf", "C", 3, 500);
    server.clearRequests();
    wipo("WO2005000001");
    EXPECT_EQ(server.requestCount(), 0u);
    EXPECT_EQ(pageLabels(pdf + "FP_WO2005000001.pdf"), QStringList{"C 1"});
    EXPECT_EQ(pageLabels(pdf + "WO2005000001.pdf").size(), 3);

    ctx.state.order_cancelled = true;
    make_sample_pdf(pdf + "WO2005000002.pdf", "D", 1, 500);
    wipo("WO2005000002");
    EXPECT_FALSE(QFile::exists(pdf + "FP_WO2005000002.pdf"));
}

// The reserve retriever through the Espacenet site: the kind code leads to the document id,
// the page tree gives the count, the pages are joined, and the outcome is logged. A kind
// code the site doesn't list, or a page that fails eleven times, leaves nothing.
TEST_F(CompanyServers, BnsDownloadThroughTheSite) {
    make_sample_pdf(samples + "/espacenet/EP1000004B1.pdf", "E", 4, 3000);
    make_sample_pdf(samples + "/espacenet/EP1000005.pdf", "E", 2, 3000);
    Simulator::Options options;
    options.pageFailures = 11;
    startSimulator(options);
    QString number = "ep1000004b1";
    bns_download(ctx, number, "REF");
    EXPECT_EQ(number, "EP1000004B1");
    EXPECT_EQ(pageLabels(pdf + "REF/EP1000004B1.pdf").size(), 0);
    const auto site = sim->requests("EspacenetSiteHost");
    ASSERT_GE(site.size(), 3u);
    EXPECT_EQ(site[0], "/textdoc?RPN=EP1000004&PRT=yes&F=1");
    EXPECT_EQ(site[1], "/pdfdoc?RPN=EP1000004&DOC=ep1000004b1");
    EXPECT_EQ(site[2], "/pdfdoc?RPN=EP1000004&DOC=ep1000004b1&F=64&PGN=1");
    EXPECT_EQ(std::count(site.begin(), site.end(), site[2]), 11);

    sim->options().pageFailures = 10;
    for (QString n : {"EP1000004B1", "EP1000004B2", "EP1000005"})
        bns_download(ctx, n, "");
    EXPECT_EQ(pageLabels(pdf + "EP1000004B1.pdf").size(), 4);
    EXPECT_EQ(
        logRecords(),
        QStringList({"EP1000004B1|REF|Not found ", "EP1000004B1||Downloaded (4 Pages )",
                     "EP1000004B2||EP1000004B2not found", "EP1000005||Downloaded (2 Pages )"}));
}

TEST(RetrievalRules, ValReadsLeadingDigits) {
    const std::pair<const char*, int> cases[] = {
        {"12", 12},        {" 12abc", 12}, {"1 2", 12}, {"abc", 0},   {"", 0},
        {"-1", -1},        {"+7", 7},      {"3.9", 3},  {"\t\n5", 5}, {"1000000000", 1000000000},
        {"99999999999", 0}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(vb_val(text), value) << text;
}

} // namespace
