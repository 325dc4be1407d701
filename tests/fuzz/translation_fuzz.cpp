// The translation pages and their texts: the UTF-8 decoder, the query encoder and the page
// cleaner take any bytes. An encoded text must decode to its bytes in the system's code page.
#include "fuzz_support.h"
#include "offices/cn_translation.h"
#include "offices/jpo_translation.h"

#include <cstdlib>

namespace {

void check_encoding(const QString& text) {
    const QString encoded = CN_UrlEncode(text);
    for (const QChar c : encoded)
        if (!(c.isLetterOrNumber() && c.unicode() < 0x80) && c != u'%' && c != u'+')
            std::abort();
    // Every character beyond Latin-1 is sent as "?".
    QByteArray decoded = encoded.toLatin1();
    decoded.replace('+', ' ');
    if (QByteArray::fromPercentEncoding(decoded) != text.toLatin1())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString bytes = fuzz_text(data, size);
    const QString utf8 = CN_ConvertUtf8BytesToString(fuzz_bytes(data, size));
    check_encoding(bytes);
    check_encoding(utf8);
    clean_translation_html(bytes);
    clean_translation_html(utf8);
    translation_found(bytes);
    translation_number(bytes);
    return 0;
}
