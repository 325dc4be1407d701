// The OEPM through the company's lookup script, simulated, and the lookup answer's reader.
#include "office_orders.h"
#include "offices/spain.h"

TEST(SpainNumbers, DocumentPathInTheLookupAnswer) {
    EXPECT_EQ(spain_document_path(R"(<a href="http://elsewhere/pdf/../x.pdf" "/pdf/2")"),
              "/pdf/../x.pdf");
    EXPECT_EQ(spain_document_path(R"(<a href="/pdf/x.pdf>)"), ""); // no usable address
    EXPECT_EQ(spain_document_path(R"(<a href="/PDF/x.pdf">)"), std::nullopt);
}

// Only the lookup decides about "not found": whatever the office answers is stored as the
// document, and the page count tells what it was.
TEST_F(OfficeOrders, SpainOrders) {
    const QString notFound = "%1|REF| (Spain) (Patent not found) /  (Spain) (Patent not found) / ";
    const QString found = "%1|REF|Downloaded (2 Pages ) / Bright Quill / %1.pdf";
    EXPECT_EQ(ordered("ES2123456T3"), found.arg("ES2123456T3"));
    // The number goes to the script with its kind code.
    EXPECT_EQ(sim->requests("CompanyLookupHost").back(), "/espdf.asp?pn=ES2123456T3");
    EXPECT_EQ(ordered("ES9999999"), notFound.arg("ES9999999"));
    EXPECT_EQ(ordered("ES9999999", "", Fault::None, true), notFound.arg("ES9999999"));
    EXPECT_EQ(ordered("ES2", "CompanyLookupHost", Fault::Html), notFound.arg("ES2"));
    EXPECT_EQ(ordered("ES2", "CompanyLookupHost", Fault::Refused),
              QString(notFound).replace(" (S", "Timeout @ the Spanish server (S").arg("ES2"));
    EXPECT_EQ(ordered("ES2123456T3", "", Fault::None, true), found.arg("FP_ES2123456T3"));
    EXPECT_EQ(read_file(file("FP_ES2123456T3")), read_file(samples + "/oepm/ES2123456T3.pdf"));
    EXPECT_EQ(ctx.state.report_text, "FP_ES2123456T3  \tFront page\r\n");
    // A cached file costs a lookup, whose miss is logged even so.
    EXPECT_EQ(called(spain_download, "ES9999999", "ES9999999", 1),
              notFound.arg("ES9999999").remove("REF") + "ES9999999.pdf");
    EXPECT_EQ(called(spain_download, "es-2123456t3/"), found.arg("ES2123456T3").remove("REF"));
    // A cancel that cuts the document's request short leaves nothing under its name.
    sim->set_fault("OepmHost", Fault::Refused);
    host.onStatus = [&](const QString& s) {
        if (s.endsWith("wait! "))
            ctx.state.order_cancelled = true;
    };
    EXPECT_EQ(called(spain_download, "ES2123456T3"), " / Job cancelled / ");
}
