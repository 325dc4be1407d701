#include "pdf/page_count.h"

#include "foundation/host.h"
#include "pdf/atomic_file.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include <sys/mman.h>

namespace {

constexpr qint64 kLargestCountedFile = 10000000;
// The table loop counts up to the next free number with a 16-bit signed integer, so that
// number has to stay below 32767; larger documents are left alone.
constexpr int kLargestObjectNumber = 32766;

qsizetype countOf(const QByteArray& text, const char* pattern) {
    const qsizetype length = static_cast<qsizetype>(std::strlen(pattern));
    qsizetype count = 0;
    for (qsizetype at = text.indexOf(pattern); at >= 0; at = text.indexOf(pattern, at + length))
        ++count;
    return count;
}

// The text behind key in tail: 30 characters, cut at the first CR and then at the first LF.
// Without the key the first 30 characters of the tail are taken.
QByteArray valueBehind(const QByteArray& tail, const char* key) {
    const qsizetype at = tail.indexOf(key);
    QByteArray value =
        at < 0 ? tail.left(30) : tail.mid(at + static_cast<qsizetype>(std::strlen(key)), 30);
    const qsizetype cr = value.indexOf('\r');
    if (cr >= 0)
        value.truncate(cr);
    const qsizetype lf = value.indexOf('\n');
    if (lf >= 0)
        value.truncate(lf);
    return value;
}

// The page number of a bookmark entry: blanks around it are allowed, and reading stops at the
// first character that is no digit; no digits at all read as 0.
long long pageNumber(const QByteArray& text) {
    const QByteArray t = text.trimmed();
    qsizetype i = 0;
    bool negative = false;
    if (i < t.size() && (t[i] == '-' || t[i] == '+'))
        negative = t[i++] == '-';
    long long value = 0;
    for (; i < t.size() && t[i] >= '0' && t[i] <= '9' && value < 1000000000000LL; ++i)
        value = value * 10 + (t[i] - '0');
    return negative ? -value : value;
}

// Notes the first offset of "\r\n" + n + " 0 obj" for every n from 0 to offsets.size() - 1
// in data (which starts at offset base of the file), in one pass: at each CR LF the run of
// digits must be the plain decimal form of n (no leading zero) followed by " 0 obj".
// Numbers already found keep their earlier offset.
void noteObjectOffsets(const char* data, qsizetype size, qsizetype base,
                       std::vector<qint64>& offsets, Host& host) {
    static const char kTail[] = " 0 obj";
    constexpr qsizetype kTailLength = sizeof kTail - 1;
    const auto highest = static_cast<long long>(offsets.size()) - 1;
    qsizetype scanned = 0;
    for (const char* cr = static_cast<const char*>(std::memchr(data, '\r', size)); cr;) {
        const qsizetype at = cr - data;
        qsizetype i = at + 2;
        if (at + 1 < size && data[at + 1] == '\n') {
            long long n = 0;
            const qsizetype digitsStart = i;
            while (i < size && data[i] >= '0' && data[i] <= '9' && i - digitsStart < 7)
                n = n * 10 + (data[i++] - '0');
            const qsizetype digits = i - digitsStart;
            const bool plain = digits > 0 && (digits == 1 || data[digitsStart] != '0');
            if (plain && n <= highest && i + kTailLength <= size &&
                std::memcmp(data + i, kTail, kTailLength) == 0 && offsets[n] < 0)
                offsets[n] = base + digitsStart;
        }
        // Keep the window alive on very large files.
        if (at - scanned > (qsizetype{1} << 24)) {
            scanned = at;
            host.doEvents();
        }
        const qsizetype next = at + 1;
        cr = next < size ? static_cast<const char*>(std::memchr(data + next, '\r', size - next))
                         : nullptr;
    }
}

QByteArray tenDigits(qint64 value) {
    return QByteArray::number(value).rightJustified(10, '0');
}

// The first occurrence of what in data[from, size), or -1: the first byte is looked for
// with memchr, which is much faster on large files than a general substring search.
qsizetype find(const char* data, qsizetype size, qsizetype from, const QByteArray& what) {
    const auto length = static_cast<size_t>(what.size());
    if (from < 0 || from > size || length == 0)
        return -1;
    const char* end = data + size;
    for (const char* p = data + from; static_cast<size_t>(end - p) >= length; ++p) {
        p = static_cast<const char*>(std::memchr(p, what[0], static_cast<size_t>(end - p)));
        if (!p || static_cast<size_t>(end - p) < length)
            return -1;
        if (std::memcmp(p, what.constData(), length) == 0)
            return p - data;
    }
    return -1;
}

qsizetype find(const QByteArray& data, qsizetype from, const QByteArray& what) {
    return find(data.constData(), data.size(), from, what);
}

// Replaces every occurrence from left to right; the text put in is not searched again.
void replaceAll(QByteArray& data, const QByteArray& before, const QByteArray& after) {
    for (qsizetype at = find(data, 0, before); at >= 0; at = find(data, at + after.size(), before))
        data.replace(at, before.size(), after);
}

// A read-only view of a whole file, mapped into memory where possible.
class FileView {
public:
    explicit FileView(const QString& path) : file_(path) {
        if (!file_.open(QIODevice::ReadOnly))
            return;
        const qint64 size = file_.size();
        if (size > 0) {
            void* map = mmap(nullptr, static_cast<size_t>(size), PROT_READ,
                             MAP_PRIVATE | MAP_POPULATE, file_.handle(), 0);
            if (map != MAP_FAILED) {
                map_ = map;
                data_ = static_cast<const char*>(map);
                size_ = size;
                ok_ = true;
                return;
            }
        }
        copy_ = file_.readAll();
        data_ = copy_.constData();
        size_ = copy_.size();
        ok_ = file_.error() == QFileDevice::NoError && size_ == size;
    }
    ~FileView() {
        if (map_)
            munmap(map_, static_cast<size_t>(size_));
    }
    FileView(const FileView&) = delete;
    FileView& operator=(const FileView&) = delete;

    bool ok() const { return ok_; }
    const char* data() const { return data_; }
    qsizetype size() const { return size_; }

private:
    QFile file_;
    void* map_ = nullptr;
    QByteArray copy_;
    const char* data_ = nullptr;
    qsizetype size_ = 0;
    bool ok_ = false;
};

// The new content of the file: unchanged up to byte from, then rest. Bytes of the old file
// beyond from + rest.size() stay as they are.
struct Edit {
    qsizetype from = 0;
    QByteArray rest;
};

// Steps 3 to 14 of the rewrite. Nothing when a step fails; the file is then left alone.
//
// The whole buffer of the description (the old objects, then the new ones) is not built: the
// first place where it differs from the old file is the first catalog line to be edited, or
// failing that the end of the old objects, and only what follows it is made. Everything is
// found in one pass over the old bytes, so the time grows with the file's size only.
std::optional<Edit> rewrite(Host& host, const char* old, qsizetype oldSize, const QByteArray& title,
                            const QByteArray& bookmarks) {
    const qsizetype xref = find(old, oldSize, 0, "xref");
    if (xref < 0)
        return std::nullopt;
    const QByteArray tail(old + xref, oldSize - xref);

    QByteArray sizeText = valueBehind(tail, "/Size");
    sizeText.replace(' ', QByteArray());
    bool numeric = false;
    const long long size = sizeText.toLongLong(&numeric);
    if (!numeric || size < 0 || size > kLargestObjectNumber)
        return std::nullopt;
    const QByteArray root = valueBehind(tail, "/Root");

    const QByteArray eol = "\r\n";
    const QByteArray outlines = QByteArray::number(size + 1);
    QByteArray added = sizeText + " 0 obj" + eol + "<<" + eol + "/Author (Tarnwell Brightquill)" +
                       eol + "/Title (" + title + ")" + eol + "/Producer (Tarnwell)" + eol + ">>" +
                       eol + "endobj" + eol;

    QByteArray text = outlines + " 0 obj" + eol + "<<" + eol + "/Type /Outlines" + eol +
                      "/Count@@@" + eol + "/First@@@" + eol + "/Last@@@" + eol + ">>" + eol +
                      "endobj" + eol;
    long long next = size + 2;
    long long first = 0;
    long long last = 0;
    long long items = 0;
    // An empty string has no positions at all; otherwise every comma starts a new one.
    const QList<QByteArray> entries =
        bookmarks.isEmpty() ? QList<QByteArray>() : bookmarks.split(',');
    for (qsizetype i = 0; i < entries.size(); ++i) {
        host.doEvents();
        const QByteArray& entry = entries[i];
        const qsizetype colon = entry.indexOf(':');
        if (colon < 0)
            continue;
        const long long k = next;
        if (first == 0)
            first = k;
        last = k;
        ++items;
        text += QByteArray::number(k) + " 0 obj" + eol + "<<" + eol + "/Title (" +
                entry.mid(colon + 1) + ")" + eol + "/A << /S /GoTo /D [ " +
                QByteArray::number(pageNumber(entry.left(colon)) - 1) +
                " /XYZ null null null ] >>" + eol;
        // Position in the list, not items made: the neighbours named may not exist.
        if (i > 0)
            text += "/Prev " + QByteArray::number(k - 1) + " 0 R" + eol;
        if (i < entries.size() - 1)
            text += "/Next " + QByteArray::number(k + 1) + " 0 R" + eol;
        text += "/Parent " + outlines + " 0 R" + eol + ">>" + eol + "endobj" + eol;
        ++next;
    }
    text.replace("/First@@@", "/First " + QByteArray::number(first) + " 0 R");
    text.replace("/Last@@@", "/Last " + QByteArray::number(last) + " 0 R");
    text.replace("/Count@@@", "/Count " + QByteArray::number(items));
    added += text;
    const long long highest = next;
    if (highest > kLargestObjectNumber)
        return std::nullopt;

    // Where the made part starts: at the first catalog line wholly among the old objects, or
    // else at the last CR that no catalog line ending behind the old objects can start
    // before. Both are CRs, and every pattern searched for starts with one, so no match
    // reaches across that point from the old part.
    const QByteArray catalog = "\r\n/Type /Catalog\r\n";
    qsizetype from = find(old, xref, 0, catalog);
    if (from < 0) {
        const qsizetype limit = std::max<qsizetype>(0, xref - catalog.size());
        const void* cr = limit > 0 ? memrchr(old, '\r', static_cast<size_t>(limit)) : nullptr;
        from = cr ? static_cast<const char*>(cr) - old : 0;
    }
    Edit edit;
    edit.from = from;
    edit.rest = QByteArray(old + from, xref - from) + added;
    replaceAll(edit.rest, catalog,
               "\r\n/Type /Catalog\r\n/Outlines " + outlines +
                   " 0 R\r\n/PageMode /UseOutlines\r\n");

    const qsizetype startxref = from + edit.rest.size();
    std::vector<qint64> offsets(static_cast<size_t>(highest) + 1, -1);
    noteObjectOffsets(old, from, 0, offsets, host);
    noteObjectOffsets(edit.rest.constData(), edit.rest.size(), from, offsets, host);

    QByteArray& out = edit.rest;
    out += "xref" + eol + "0 " + QByteArray::number(highest) + eol + "0000000000 65535 f" + eol;
    // Numbers that are not found get no line at all, so the lines after them move up.
    for (qint64 offset : offsets)
        if (offset > 2)
            out += tenDigits(offset) + " 00000 n" + eol;
    out += "trailer" + eol + "<<" + eol + "/Size " + QByteArray::number(highest) + eol + "/Root" +
           root + eol + "/Info " + sizeText + " 0 R" + eol + ">>" + eol + "startxref" + eol +
           QByteArray::number(startxref) + eol + "%%EOF" + eol;
    return edit;
}

// Writes the edited file: the old content up to its first changed byte, the edit, and,
// where the old file was longer, its last bytes as they were. It is put together under the
// assembly name and then renamed over the file, so a full disk or a program that dies
// meanwhile leaves the file as it was.
bool writeEdit(const QString& path, const char* old, qsizetype oldSize, const Edit& edit) {
    const QString part = assembly_name(path);
    QFile file(part);
    const qsizetype end = edit.from + edit.rest.size();
    bool ok = file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
              file.write(old, edit.from) == edit.from &&
              file.write(edit.rest) == edit.rest.size() &&
              (end >= oldSize || file.write(old + end, oldSize - end) == oldSize - end);
    file.close();
    ok = ok && file.error() == QFileDevice::NoError;
    if (!ok) {
        QFile::remove(part);
        return false;
    }
    return publish(part, path);
}

} // namespace

QString pdfnumpages(const QString& F_pdf_File) {
    try {
        // Opening for reading and writing creates an absent file, empty, as callers expect.
        QFile file(F_pdf_File);
        const bool open = file.open(QIODevice::ReadWrite) || file.open(QIODevice::ReadOnly);
        const qint64 length = open ? file.size() : QFileInfo(F_pdf_File).size();
        qsizetype count = 0;
        if (open && length < kLargestCountedFile) {
            const QByteArray text = file.readAll();
            count = countOf(text, "\r/Type /Page");
            if (count < 1)
                count = countOf(text, "\n/Type /Page");
        }
        file.close();
        if (count > 0)
            return QString::number(count) + QStringLiteral(" Pages");
        return QLocale::system().toString(static_cast<double>(length) / 1000000.0, 'f', 2) +
               QStringLiteral(" MB");
    } catch (...) {
        return QStringLiteral("0.00 MB");
    }
}

void AddBookmark(Host& host, const QString& Book_input_file, const QString& Book_output_PN,
                 const QString& Bookmark_string) {
    const QString kept = host.status();
    try {
        host.setStatus(Book_output_PN + QStringLiteral(" Adding bookmarks please wait!"));
        host.doEvents();
        host.doEvents();

        const FileView file(Book_input_file);
        if (file.ok()) {
            if (const std::optional<Edit> edit =
                    rewrite(host, file.data(), file.size(), Book_output_PN.toLatin1(),
                            Bookmark_string.toLatin1()))
                writeEdit(Book_input_file, file.data(), file.size(), *edit);
        }
    } catch (...) {
    }
    host.doEvents();
    host.setStatus(kept);
    host.doEvents();
}
