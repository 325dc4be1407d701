// The readers of the company scripts', Espacenet's and the USPTO's replies, and the number
// forms of these routes: any bytes must give an answer, never a crash.
#include "fuzz_support.h"
#include "offices/uspto.h"
#include "offices/uspto_forms.h"
#include "retrieval/company.h"
#include "retrieval/espace.h"
#include "retrieval/get_patent.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QStringList f = fuzz_fields(data, size, 3);
    const QString& page = f.at(0);
    read_bnsinfo(page);
    read_site_page(page);
    read_wipop2(page);
    read_textdoc(page, f.at(1), f.at(2));
    read_pdfdoc_count(page);
    read_viewer_links(page);
    read_viewer_page(page, 77800);
    read_uspto_viewer(page);
    uspto_viewer_link(page);
    site_lookup(f.at(1));
    wo_years(f.at(1), 9);
    ep_site_padding(f.at(1));
    uspto_pdf_address(f.at(1));
    uspto_text_query(f.at(1));
    return 0;
}
