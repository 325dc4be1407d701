#include "pdf/skeleton_writer.h"

#include <cstdio>

namespace bq::pdf {

namespace {
constexpr qsizetype kFlushThreshold = 150000;
}

SkeletonWriter::SkeletonWriter(const QString& path) : file_(path) {
    ok_ = file_.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

void SkeletonWriter::line(const QByteArray& text) {
    buffer_.append(text);
    buffer_.append('\r');
}

void SkeletonWriter::object(int number, std::initializer_list<QByteArray> lines,
                            const QByteArray* stream) {
    if (number >= 1 && number <= 7)
        offsets_[number] = position();
    line(QByteArray::number(number) + " 0 obj");
    for (const QByteArray& text : lines)
        line(text);
    if (stream) {
        buffer_.append(*stream);
        buffer_.append('\r');
        line("endstream");
    }
    line("endobj");
}

void SkeletonWriter::flushIfLarge() {
    if (buffer_.size() > kFlushThreshold)
        flush();
}

void SkeletonWriter::flush() {
    if (ok_ && !buffer_.isEmpty())
        ok_ = file_.write(buffer_) == buffer_.size();
    written_ += buffer_.size();
    buffer_.clear();
}

void SkeletonWriter::finish(const std::function<void()>& yield) {
    const qint64 table = position();
    line("xref");
    line("0 8");
    line("0000000000 65535 f ");
    char entry[32];
    for (int number = 1; number <= 7; ++number) {
        if (yield)
            yield();
        std::snprintf(entry, sizeof entry, "%010lld 00000 n ",
                      static_cast<long long>(offsets_[number]));
        line(entry);
    }
    line("trailer");
    buffer_.append("<<");
    line("/Size 8");
    line("/Info 1 0 R");
    line("/Root 3 0 R");
    line(">>");
    line("startxref");
    line(QByteArray::number(table));
    line("%%EOF");
    flush();
    if (file_.isOpen()) {
        file_.close();
        ok_ = ok_ && file_.error() == QFileDevice::NoError;
    }
}

} // namespace bq::pdf
