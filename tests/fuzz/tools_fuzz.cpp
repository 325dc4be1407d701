// The side tools' readers: the equivalents service's answer, the version file and the
// family search's number, each from any bytes. Fields: an answer, a number, a list.
#include "fuzz_support.h"
#include "tools/equivalents.h"
#include "tools/family_search.h"
#include "tools/version_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QStringList f = fuzz_fields(data, size, 3);
    const Equivalents eq = read_equivalents(f.at(0));
    paste_into(f.at(2), ticked_numbers(eq.entries));
    read_version_reply(f.at(0));
    read_version_reply(f.at(0), f.at(1).size());
    family_number(f.at(1));
    return 0;
}
