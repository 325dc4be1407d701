// IP Australia: searches, result pages, orders against the simulated office, the size test.
#include "office_orders.h"
#include "offices/australia.h"
#include "settings_fixture.h"

TEST(AustraliaNumbers, SearchesAndResultPages) {
    // The simple search's query, between its fixed path and its fixed procedure.
    const auto search = [](const char* number) {
        return australia_search(number)
            .pathAndQuery.remove("/aub/aub_pages_1.process_simple_search?")
            .remove("&p_procedure=paint_simple_search");
    };
    EXPECT_EQ(search("AU728936"), "p_serial_no=728936");
    EXPECT_EQ(search("AU199662135"), "p_application_no=199662135");
    EXPECT_EQ(search("AU12345678"), "p_serial_no=12345678");
    EXPECT_EQ(search("AUA 2004 1"), "p_application_no=2004 1");
    // "found link [pages]": the link begins at the first "pdf/" of the page, wherever it
    // stands, so that another host in it is dropped.
    const auto read = [](const char* page) {
        const AustraliaResult r = read_australia_result(page);
        return QString("%1 %2 [%3]").arg(int(r.found)).arg(r.link, r.pages);
    };
    EXPECT_EQ(read(R"(<LINK HREF="/pdf/x.css"><A HREF="pdf/y.pdf">Full Document</A> [2] [3])"),
              R"(1 pdf/x.css"><A HREF="pdf/y.pdf [2])");
    EXPECT_EQ(read(R"(<A HREF="http://x/../pdf/../y.pdf">Full Document</a> [1])"),
              "1 pdf/../y.pdf []");
    EXPECT_EQ(read(R"(<A HREF="y.pdf">Full Document</A> [)"), "1  []");
    EXPECT_EQ(read("<A HREF=pdf/y.pdf>Full Document</A> [3]"), "0  []");
}

// "AUA" numbers come by the routing, others by the chain. Only a time-out keeps no "FP_".
TEST_F(OfficeOrders, AustraliaOrders) {
    const QString found = "%1|REF|Downloaded (3 Pages ) / Bright Quill / %1.pdf";
    const QString notFound = "%1|REF|AUA1 (Patent not found)  / Bright Quill / ";
    EXPECT_EQ(ordered("AUA199662135"), found.arg("AUA199662135"));
    EXPECT_EQ(ordered("AU728936"), found.arg("AU728936"));
    EXPECT_EQ(ordered("AU728936", "", Fault::None, true), found.arg("FP_AU728936"));
    EXPECT_EQ(ordered("AUA1", "", Fault::None, true), notFound.arg("FP_AUA1"));
    EXPECT_EQ(ordered("AUA199700001"),
              "AUA199700001|REF|Download error (AUA199700001) / Bright Quill / ");
    EXPECT_EQ(ordered("AUA1", "IpAustraliaHost", Fault::Refused, true),
              "AUA1|REF|AUA1 Timeout @ the Australian server / AUA1 Checking if patent application "
              "exists / ");
}

// Fetched or cached, a file below 800 bytes is dropped; a cached file costs one search.
TEST_F(OfficeOrders, AustraliaDropsFilesBelow800Bytes) {
    point_roles({"IpAustraliaHost"}, server.host());
    std::string page = R"(<A HREF="pdf/AU1.pdf">Full Document</A>)";
    size_t bytes = 799;
    server.on("/aub/aub_pages_1.process_simple_search",
              [&](const auto&) { return Answer::text(page); });
    server.on("/aub/pdf/AU1.pdf",
              [&](const auto&) { return Answer::bytes(std::string(bytes, 'x')); });
    EXPECT_EQ(called(australia_download, "AU1"), "AU1||Download error (AU1) / Bright Quill / ");
    bytes = 800;
    EXPECT_EQ(called(australia_download, "AU1"),
              "AU1||Downloaded (0.00 MB ) / Bright Quill / AU1.pdf");
    page = "none";
    server.clearRequests();
    EXPECT_EQ(called(australia_download, "AU1", "AU1", 800),
              "AU1||AU1 (Patent not found)  / AU1 Retrieved from cache / AU1.pdf");
    EXPECT_EQ(called(australia_download, "AU1", "AU1", 799),
              "AU1||Download error (AU1) / AU1 Retrieved from cache / ");
    EXPECT_EQ(server.requestCount(), 2u);
}
