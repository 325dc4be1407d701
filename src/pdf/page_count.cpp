#include "pdf/page_count.h"

#include "foundation/host.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStringList>

#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

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

// The first offset of "\r\n" + n + " 0 obj" for every n from 0 to highest, found in one pass:
// at each CR LF the run of digits must be the plain decimal form of n (no leading zero)
// followed by " 0 obj". Numbers never found keep -1.
std::vector<qint64> firstObjectOffsets(const QByteArray& buffer, int highest, Host& host) {
    std::vector<qint64> offsets(static_cast<size_t>(highest) + 1, -1);
    const char* data = buffer.constData();
    const qsizetype size = buffer.size();
    static const char kTail[] = " 0 obj";
    constexpr qsizetype kTailLength = sizeof kTail - 1;
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
                offsets[n] = digitsStart;
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
    return offsets;
}

QByteArray tenDigits(qint64 value) {
    return QByteArray::number(value).rightJustified(10, '0');
}

// Steps 2 to 14 of the rewrite. Empty when any step fails; the file is then left alone.
std::optional<QByteArray> rewritten(Host& host, const QByteArray& file, const QByteArray& title,
                                    const QByteArray& bookmarks) {
    const qsizetype xref = file.indexOf("xref");
    if (xref < 0)
        return std::nullopt;
    const QByteArray tail = file.mid(xref);
    QByteArray buffer = file.left(xref);

    QByteArray sizeText = valueBehind(tail, "/Size");
    sizeText.replace(' ', QByteArray());
    bool numeric = false;
    const long long size = sizeText.toLongLong(&numeric);
    if (!numeric || size < 0 || size > kLargestObjectNumber)
        return std::nullopt;
    const QByteArray root = valueBehind(tail, "/Root");

    const QByteArray eol = "\r\n";
    const QByteArray outlines = QByteArray::number(size + 1);
    buffer += sizeText + " 0 obj" + eol + "<<" + eol + "/Author (Tarnwell Brightquill)" + eol +
              "/Title (" + title + ")" + eol + "/Producer (Tarnwell)" + eol + ">>" + eol +
              "endobj" + eol;

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
    buffer += text;

    buffer.replace("\r\n/Type /Catalog\r\n", "\r\n/Type /Catalog\r\n/Outlines " + outlines +
                                                 " 0 R\r\n/PageMode /UseOutlines\r\n");

    const qsizetype startxref = buffer.size();
    const long long highest = next;
    if (highest > kLargestObjectNumber)
        return std::nullopt;
    const std::vector<qint64> offsets = firstObjectOffsets(buffer, static_cast<int>(highest), host);

    QByteArray table;
    table.reserve(static_cast<qsizetype>(highest) * 20 + 200);
    table += "xref" + eol + "0 " + QByteArray::number(highest) + eol + "0000000000 65535 f" + eol;
    // Numbers that are not found get no line at all, so the lines after them move up.
    for (qint64 offset : offsets)
        if (offset > 2)
            table += tenDigits(offset) + " 00000 n" + eol;
    table += "trailer" + eol + "<<" + eol + "/Size " + QByteArray::number(highest) + eol + "/Root" +
             root + eol + "/Info " + sizeText + " 0 R" + eol + ">>" + eol + "startxref" + eol +
             QByteArray::number(startxref) + eol + "%%EOF" + eol;
    buffer += table;
    return buffer;
}

// Replaces the file's content by data as an overwrite in place would: where the old file was
// longer, its remaining bytes stay behind the new ones. A temporary file renamed over the
// old one keeps a failed write from leaving half a file.
bool overwrite(const QString& path, const QByteArray& old, const QByteArray& data) {
    const QString temp = path + QStringLiteral(".bqtmp");
    QFile out(temp);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    bool ok = out.write(data) == data.size();
    if (ok && old.size() > data.size()) {
        const qsizetype rest = old.size() - data.size();
        ok = out.write(old.constData() + data.size(), rest) == rest;
    }
    out.close();
    ok = ok && out.error() == QFileDevice::NoError;
    if (ok) {
        out.setPermissions(QFile::permissions(path));
        ok = std::rename(QFile::encodeName(temp).constData(),
                         QFile::encodeName(path).constData()) == 0;
    }
    if (!ok)
        QFile::remove(temp);
    return ok;
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

        QFile file(Book_input_file);
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray old = file.readAll();
            const bool read = file.error() == QFileDevice::NoError;
            file.close();
            const std::optional<QByteArray> result =
                read ? rewritten(host, old, Book_output_PN.toLatin1(), Bookmark_string.toLatin1())
                     : std::nullopt;
            if (result)
                overwrite(Book_input_file, old, *result);
        }
    } catch (...) {
    }
    host.doEvents();
    host.setStatus(kept);
    host.doEvents();
}
