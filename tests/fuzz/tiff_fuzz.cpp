// Any bytes as a page image or a Canadian section: the hand-written PDFs must come out
// readable or not at all.
#include "foundation/general.h"
#include "foundation/host.h"
#include "fuzz_support.h"
#include "pdf/canada_assembly.h"
#include "pdf/tiff_writer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static HeadlessHost host;
    const QString f = fuzz_folder() + '/';
    const QByteArray bytes = fuzz_bytes(data, size);
    write_file(f + "page.tif", bytes);
    tif_to_pdf(host, f + "page.pdf", f + "page.tif");
    delete_file(f + "page.pdf");

    // The same bytes as the cover page and the claims of a Canadian document.
    write_file(f + "ca_cov.pdf", bytes);
    write_file(f + "ca_clm.pdf", bytes);
    int32_t pages = 0;
    QString description;
    can_to_pdf(f + "out", f + "ca", pages, description);
    for (int32_t n = 0; n <= pages + 1 && n < 10000; ++n)
        delete_file(f + QString("out_%1.pdf").arg(n));
    return 0;
}
