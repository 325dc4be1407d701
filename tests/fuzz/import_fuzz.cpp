// Any file as a number list in each of the five import formats. The decoded text has only
// CR LF line ends, whatever the file had.
#include "foundation/list_import.h"
#include "fuzz_support.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = import_text(fuzz_bytes(data, size));
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool lone_cr = text[i] == u'\r' && (i + 1 == text.size() || text[i + 1] != u'\n');
        const bool lone_lf = text[i] == u'\n' && (i == 0 || text[i - 1] != u'\r');
        if (lone_cr || lone_lf)
            std::abort();
    }
    for (int filter = 0; filter <= 6; ++filter)
        import_list(text, filter);
    return 0;
}
