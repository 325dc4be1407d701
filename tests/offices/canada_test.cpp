// CIPO: number forms, addresses, summary pages, and orders against the simulated office.
#include "office_orders.h"
#include "offices/canada.h"
#include "order/order_run.h"
#include "settings_fixture.h"

TEST(CanadaNumbers, FormsAddressesAndSummaryPages) {
    EXPECT_EQ(canada_plain_number("CAC2172863C") + canada_plain_number("CA2172863A1 /X"),
              "21728632172863A1 /X");
    EXPECT_EQ(
        canada_summary_path("21") + " " + canada_section_path("21", "21_T", Drawings),
        "/cipo/cpd/en/patent/21/summary.html /opic-cipo/cpd/en/patent/21/page/21_T_drawings.pdf");
    // The sections (cover, abstract, claims, description, drawings) and the stem.
    const auto read = [](const char* page) {
        const CanadaSummary s = read_canada_summary(page, "21");
        QString told;
        for (bool present : s.sections)
            told += present ? '1' : '0';
        return told + " " + s.stem;
    };
    EXPECT_EQ(read(R"("page/21_T1_claims.pdf" "page/21_T2_coverpage.pdf")"), "10100 21_T1");
    EXPECT_EQ(read(R"("_abstract.pdf" "_description.pdf" "_drawings.pdf" "page/21_T_)"),
              "01011 21_T");
    EXPECT_EQ(read(R"(<a href="page/21_../x_coverpage.pdf>)"), "00000 21_../x");
    EXPECT_EQ(read(R"(<a href="http://elsewhere/page/21_T_coverpage.pdf">)"), "10000 21_");
}

// The live key's proxy would refuse every request: the office is reached as the old key says.
TEST_F(OfficeOrders, CanadaOrders) {
    set_settings({{"ACT", "3"}, {"PROXY", "127.0.0.1:9"}});
    const QString notFound = "%1|REF| (Patent not found) / %1 -  (Patent not found) / ";
    EXPECT_EQ(ordered("CA2000001"), notFound.arg("CA2000001")); // no cover page
    EXPECT_EQ(ordered("CA2300000"), "CA2300000|REF|Download error (CA2300000) / CA2300000 Done / ");
    // An abstract that is an error page and claims cut short add nothing.
    EXPECT_EQ(ordered("CA2000002"), "CA2000002|REF|Downloaded (1 Pages ) / CA2000002 Done / "
                                    "CA2000002.pdf");
    // The sections are joined in the office's order, not in that of the summary page.
    EXPECT_EQ(ordered("CA2172863"), "CA2172863|REF|Downloaded (9 Pages ) / CA2172863 Done / "
                                    "CA2172863.pdf");
    EXPECT_EQ(pageLabels(file("CA2172863")).join(",").remove("CA2172863 "),
              "coverpage 1,abstract 1,claims 1,claims 2,description 1,description 2,description 3,"
              "drawings 1,drawings 2");
    EXPECT_EQ(ordered("CA2172863", "", Fault::None, true),
              "FP_CA2172863|REF|Downloaded (1 Pages ) / FP_CA2172863 Done / FP_CA2172863.pdf");
    EXPECT_EQ(pageLabels(file("FP_CA2172863")), QStringList{"CA2172863 coverpage 1"});
    EXPECT_EQ(ctx.state.report_text, "FP_CA2172863  \tFront page\r\n");
    EXPECT_EQ(called(canada_download, "ca-2172863/"),
              "CA2172863||Downloaded (9 Pages ) / CA2172863 Done / CA2172863.pdf");
    EXPECT_EQ(called(canada_download, "CA2172863", "CA2172863", 799),
              "CA2172863||Download error (CA2172863) / CA2172863 Retrieved from cache / ");
    // A cancel while the sections come leaves no joined file, no job file, no log line.
    host.onStatus = [&](const QString& s) {
        if (s.endsWith(" Downloading Claims"))
            cancel_order(ctx, "brightquill", [] {});
    };
    EXPECT_EQ(ordered("CA2172863"), " / Job cancelled / ");
    set_settings({{"ACT", "3"}, {"PROXY", "127.0.0.1:9"}}, old_settings_key);
    const QString byProxy = called(canada_download, "CA2172863");
    QFile::remove(registryFile(old_settings_key));
    EXPECT_TRUE(byProxy.startsWith("CA2172863||Timeout @ the CIPO server (Patent not found)"));
}
