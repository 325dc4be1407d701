#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace bq::pdf {

// Pages copied out of one source PDF, already written out as the text of indirect objects
// in the layout of the joined files: CR LF line ends, every object opening after CR LF,
// "/Type /Page" on a line of its own in each page and in no other line start.
struct CopiedPages {
    QByteArray objects;
    std::vector<int64_t> offsets;           // where object firstNumber + i starts in objects
    std::vector<int> pages;                 // object numbers of the pages, in order
    std::vector<std::pair<int, bool>> ocgs; // optional content groups used; true: hidden
    QByteArray version;                     // the source's PDF version, "d.d", or empty
};

// Copies pages first..last (1-based; last -1 or past the end: through the last page) of the
// PDF held in source, through qpdf. The page tree's inherited attributes become the pages'
// own; a reference to a page that is not copied, to a page tree node or to the catalog
// becomes null. Objects are numbered from firstNumber, and each page's /Parent is object
// 2. Nothing when the source is no readable PDF, has no such pages, or a page's content
// cannot be decoded. Never throws.
std::optional<CopiedPages> copyPages(const QByteArray& source, int32_t first, int32_t last,
                                     int firstNumber) noexcept;

// Bytes that, anywhere in the file before its cross-reference table, would mislead the
// text-level readers of the joined files (the first "xref" ends the object part; "\r\nN 0 obj"
// locates object N; a line starting "/Type /Page" counts as a page). Stream data that holds
// one of them is given one more filter.
bool hasTextHazard(const char* data, size_t size);

} // namespace bq::pdf
