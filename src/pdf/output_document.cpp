#include "pdf/output_document.h"

#include "pdf/atomic_file.h"
#include "pdf/page_copier.h"

#include <QFile>

#include <utility>

namespace bq::pdf {

namespace {
// "%PDF-d.d" CR LF "%" and four bytes above 127 CR LF: always 17 bytes, so body offsets do
// not depend on the version finally written.
constexpr int64_t kHeaderSize = 17;
} // namespace

OutputDocument::OutputDocument(QString target)
    : target_(std::move(target)), partPath_(assembly_name(target_)) {}

OutputDocument::~OutputDocument() {
    if (part_) {
        part_->close();
        QFile::remove(partPath_);
    }
}

QByteArray OutputDocument::header() const {
    return "%PDF-" + version_ + "\r\n%\xE2\xE3\xCF\xD3\r\n";
}

// The copied objects go to a file beside the target as they are made, so that memory holds
// one source at a time. Where that file cannot be made they are kept in memory.
bool OutputDocument::store(const QByteArray& chunk) {
    if (!part_ && !inMemory_) {
        part_ = std::make_unique<QFile>(partPath_);
        if (!part_->open(QIODevice::ReadWrite | QIODevice::Truncate) ||
            part_->write(header()) != kHeaderSize) {
            part_.reset();
            QFile::remove(partPath_);
            inMemory_ = true;
        }
    }
    if (inMemory_) {
        memoryBody_.append(chunk);
    } else if (part_->write(chunk) != chunk.size()) {
        // Take back what went out, so the file stays as it was before this call.
        part_->resize(kHeaderSize + bodySize_);
        part_->seek(kHeaderSize + bodySize_);
        return false;
    }
    bodySize_ += chunk.size();
    return true;
}

bool OutputDocument::appendPages(const QByteArray& source, int32_t first, int32_t last) noexcept {
    try {
        std::optional<CopiedPages> copied = copyPages(source, first, last, nextNumber());
        const int64_t base = bodySize_;
        if (!copied || !store(copied->objects))
            return false;
        for (int64_t offset : copied->offsets)
            offsets_.push_back(base + offset);
        pages_.insert(pages_.end(), copied->pages.begin(), copied->pages.end());
        for (const auto& [number, hidden] : copied->ocgs) {
            ocgs_.push_back(number);
            if (hidden)
                ocgsOff_.push_back(number);
        }
        if (copied->version > version_)
            version_ = copied->version;
        return true;
    } catch (...) {
        return false;
    }
}

QByteArray OutputDocument::tail() const {
    QByteArray out;
    const int64_t catalogOffset = kHeaderSize + bodySize_;
    out.append("1 0 obj\r\n<<\r\n/Type /Catalog\r\n/Pages 2 0 R\r\n");
    if (!ocgs_.empty()) {
        auto list = [](const std::vector<int>& numbers) {
            QByteArray text = "[";
            for (size_t i = 0; i < numbers.size(); ++i) {
                if (i)
                    text.append(' ');
                text.append(QByteArray::number(numbers[i])).append(" 0 R");
            }
            return text.append(']');
        };
        out.append("/OCProperties << /OCGs ").append(list(ocgs_));
        out.append(" /D << /OFF ").append(list(ocgsOff_)).append(" >> >>\r\n");
    }
    out.append(">>\r\nendobj\r\n");
    const int64_t pagesOffset = catalogOffset + out.size();
    // "/Type /Pages" stays off the start of a line, so that counting lines that start with
    // "/Type /Page" counts pages only.
    out.append("2 0 obj\r\n<< /Type /Pages\r\n/Count ");
    out.append(QByteArray::number(static_cast<qlonglong>(pages_.size())));
    out.append("\r\n/Kids [");
    for (size_t i = 0; i < pages_.size(); ++i) {
        if (i)
            out.append(i % 10 == 0 ? "\r\n" : " ");
        out.append(QByteArray::number(pages_[i])).append(" 0 R");
    }
    out.append("]\r\n>>\r\nendobj\r\n");

    const int64_t xrefOffset = catalogOffset + out.size();
    const int size = nextNumber();
    out.append("xref\r\n0 ").append(QByteArray::number(size)).append("\r\n");
    out.append("0000000000 65535 f\r\n");
    char line[32];
    auto entry = [&](int64_t offset) {
        std::snprintf(line, sizeof line, "%010lld 00000 n\r\n", static_cast<long long>(offset));
        out.append(line, 20);
    };
    entry(catalogOffset);
    entry(pagesOffset);
    for (int64_t offset : offsets_)
        entry(kHeaderSize + offset);
    out.append("trailer\r\n<<\r\n/Size ").append(QByteArray::number(size));
    out.append("\r\n/Root 1 0 R\r\n>>\r\nstartxref\r\n");
    out.append(QByteArray::number(static_cast<qlonglong>(xrefOffset))).append("\r\n%%EOF\r\n");
    return out;
}

bool OutputDocument::finish() noexcept {
    try {
        if (pages_.empty())
            return false;
        const QByteArray rest = tail();
        if (inMemory_) {
            const QByteArray whole = header() + memoryBody_ + rest;
            if (store_whole(target_, whole))
                return true;
            // No assembly could be made beside the target: the file is written in place.
            QFile file(target_);
            return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                   file.write(whole) == whole.size();
        }
        // The header is written again now that the highest version is known.
        bool ok = part_->seek(0) && part_->write(header()) == kHeaderSize &&
                  part_->seek(kHeaderSize + bodySize_) && part_->write(rest) == rest.size();
        part_->close();
        ok = ok && part_->error() == QFileDevice::NoError;
        part_.reset();
        if (!ok)
            QFile::remove(partPath_);
        return ok && publish(partPath_, target_);
    } catch (...) {
        return false;
    }
}

} // namespace bq::pdf
