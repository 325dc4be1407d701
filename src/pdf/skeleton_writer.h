#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

#include <functional>
#include <initializer_list>

namespace bq::pdf {

// Writes the fixed seven-object skeleton of the hand-made one-page PDFs: every line ends in a
// single CR, and the running byte count gives the offsets of the cross-reference table.
// Output is collected in a buffer and written when flushed or finished.
class SkeletonWriter {
public:
    explicit SkeletonWriter(const QString& path);

    // One line, followed by CR.
    void line(const QByteArray& text);
    // "n 0 obj", the lines, then (for a stream) the data followed by CR and "endstream",
    // then "endobj". The object's offset is noted for the table.
    void object(int number, std::initializer_list<QByteArray> lines,
                const QByteArray* stream = nullptr);
    // Writes the buffer out once more than 150000 bytes wait in it.
    void flushIfLarge();
    // The table of objects 1 to 7 and the trailer; yield runs once per table slot. Writes
    // everything out and closes the file.
    void finish(const std::function<void()>& yield);

    // False when the file could not be opened or a write failed.
    bool ok() const { return ok_; }

private:
    QFile file_;
    QByteArray buffer_;
    qint64 written_ = 0; // bytes before the buffer
    qint64 offsets_[8] = {};
    bool ok_ = false;

    qint64 position() const { return written_ + buffer_.size(); }
    void flush();
};

} // namespace bq::pdf
