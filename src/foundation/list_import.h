#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

// The number list import: the numbers of a file become the text of the number list (Text1),
// one per line. The filter chosen in the file dialog alone tells the file's format, whatever
// its extension says. Nothing is validated here; the order run cleans every line.

// The dialog's filters, in order: "SciFinder export (RTF) (*.rtf)", ... Index 1 is the first.
QStringList import_filters();

// Files larger than this are not read, and lists of this many lines or more are not taken:
// no order comes near them, and the window would be held for seconds.
inline constexpr qint64 kImportLimit = qint64(4) << 20;
inline constexpr int kImportLines = 20000;

// The text of a file: UTF-16 with a byte-order mark (or without one, when every other byte
// is NUL), UTF-8 where the bytes are valid UTF-8, else one character per byte. Line ends of
// any form (CR LF, LF alone, CR alone) come out as CR LF, so that a file written on any
// system reads as one written on Windows. A file with NUL bytes that is not UTF-16 is
// binary: the text is empty.
QString import_text(const QByteArray& bytes);

// The list that the filter with this index (1 to 5) makes of a file's text; "" when the
// index is none of them or nothing is left. yield is called once per SciFinder record.
QString import_list(const QString& text, int filterIndex, const std::function<void()>& yield = {});

struct ImportResult {
    enum Outcome { Read, Unreadable, TooLarge, Binary, TooManyNumbers } outcome = Unreadable;
    QString list; // "" unless Read, and possibly "" then too
};

// The whole import of one file: read (unless too large), decoded, treated by the filter; a
// list of too many lines is dropped.
ImportResult import_numbers(const QString& path, int filterIndex,
                            const std::function<void()>& yield = {});
