// Any file as a number list in each of the five import formats. The decoded text has only
// CR LF line ends, whatever the file had.
#include "foundation/list_import.h"
#include "fuzz_support.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = import_text(fuzz_bytes(data, size));
    // Each CR belongs to a CR LF pair, and so does each LF.
    const qsizetype pairs = text.count(QStringLiteral("\r\n"));
    if (text.count(u'\r') != pairs || text.count(u'\n') != pairs)
        std::abort();
    for (int filter = 0; filter <= 6; ++filter)
        import_list(text, filter);
    return 0;
}
