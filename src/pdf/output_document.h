#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace bq::pdf {

// The output side of the page-copying library: pages copied out of source PDFs (see
// copyPages) are stored at once, so a source is no longer needed once appendPages has
// returned, and the file is finished with its catalog, page tree and table.
//
// Numbering: object 1 is the catalog and object 2 the page tree root, both written by
// finish; copied objects are numbered from 3 in the order in which they are written.
class OutputDocument {
public:
    explicit OutputDocument(QString target);
    ~OutputDocument();
    OutputDocument(const OutputDocument&) = delete;
    OutputDocument& operator=(const OutputDocument&) = delete;

    // Appends pages first..last (1-based; last -1 or past the end: through the last page) of
    // the PDF held in source. True when at least one page was copied. On false the document
    // is exactly as it was before. Never throws.
    bool appendPages(const QByteArray& source, int32_t first, int32_t last) noexcept;

    // Stores the finished file at the target. A document without pages stores nothing. False
    // when nothing was stored.
    bool finish() noexcept;

private:
    QString target_;
    QString partPath_;             // target + ".part": the file as it grows
    std::unique_ptr<QFile> part_;  // open while pages are added
    bool inMemory_ = false;        // the part file could not be made
    QByteArray memoryBody_;        // the objects, when kept in memory
    int64_t bodySize_ = 0;         // bytes of objects stored so far
    std::vector<int64_t> offsets_; // body offset of object 3 + i
    std::vector<int> pages_;       // object numbers of the pages, in order
    std::vector<int> ocgs_;        // optional content groups used by copied pages
    std::vector<int> ocgsOff_;     // those of them that their source's default view hides
    QByteArray version_ = "1.4";   // highest source version seen, "d.d"

    int nextNumber() const { return 3 + static_cast<int>(offsets_.size()); }
    QByteArray header() const;
    QByteArray tail() const;
    bool store(const QByteArray& chunk);
};

} // namespace bq::pdf
