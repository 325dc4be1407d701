// Any bytes as a downloaded PDF: the probe, the join, the page count and the bookmark
// rewrite must answer, never crash, and never leave a broken file where a good one stood.
#include "foundation/general.h"
#include "foundation/host.h"
#include "fuzz_support.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static HeadlessHost host;
    const QString in = fuzz_folder() + "/in.pdf", out = fuzz_folder() + "/out.pdf";
    write_file(in, fuzz_bytes(data, size));
    checkpdf(in);
    const int32_t handle = PDocNew(0, 0, out);
    PDocMerge(handle, in, 1, -1);
    PDocRelease(handle);
    pdfnumpages(in);
    pdfnumpages(out);
    AddBookmark(host, in, "EP1", "1:Abstract,2:Claims");
    delete_file(out);
    return 0;
}
