// A list as the user types or pastes it: the canonical spelling and the routing of each line.
#include "fuzz_support.h"
#include "order/routing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString list = canonical_list(fuzz_text(data, size));
    for (const QString& line : split_list(list)) {
        const QString cleaned = clean_line(line);
        route_line(cleaned, false);
        route_line(cleaned, true);
    }
    return 0;
}
