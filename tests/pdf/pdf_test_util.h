#pragma once

// Helpers shared by the PDF toolkit tests: folders, external programs, generated PDFs and
// TIFFs, what qpdf reads in a file, and rendering.

#include "foundation/general.h"
#include "pdf/pdf_library.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "test_env.h" // also gives QString parameters readable names

namespace pdftest {

// A new, empty folder below the test root.
inline QString freshDir(QString name) {
    static int serial = 0;
    const QString path = test_root() + QString("/t%1-").arg(++serial) + name.replace('/', '_');
    QDir(path).removeRecursively();
    QDir().mkpath(path);
    return path;
}

struct RunResult {
    int exitCode = -1; // -1: could not be started or crashed
    QByteArray out, err;
};
inline RunResult run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    const bool ended = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit;
    return {ended ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

// Joins every page of the sources, in order, into target; false when one was refused.
inline bool joinWhole(const QString& target, const QStringList& sources) {
    const int32_t h = PDocNew(0, 0, target);
    bool all = true;
    for (const QString& source : sources)
        all = PDocMerge(h, source, 1, -1) != 0 && all;
    PDocRelease(h);
    return all;
}

// A valid PDF with one page per id. Each page draws a box whose place depends on the id and
// carries the comment "% id:<id>" in its uncompressed content stream, followed by
// extraContent; extraEntries go into each page dictionary.
inline QByteArray makePdf(const QStringList& ids, const QByteArray& extraContent = {},
                          const QByteArray& extraEntries = {}) {
    QByteArray out = "%PDF-1.4\n", kids;
    QList<qsizetype> offsets;
    auto object = [&](const QByteArray& body) {
        offsets.append(out.size());
        out += QByteArray::number(offsets.size()) + " 0 obj\n" + body + "\nendobj\n";
    };
    for (qsizetype i = 0; i < ids.size(); ++i)
        kids += QByteArray::number(3 + 2 * i) + " 0 R ";
    object("<< /Type /Catalog /Pages 2 0 R >>");
    object("<< /Type /Pages /Kids [" + kids + "] /Count " + QByteArray::number(ids.size()) +
           " /MediaBox [0 0 200 200] >>");
    for (qsizetype i = 0; i < ids.size(); ++i) {
        const int h = static_cast<int>(qHash(ids[i]) % 150);
        const QByteArray content = "% id:" + ids[i].toLatin1() + "\n0 0 0 rg " +
                                   QByteArray::number(10 + h / 3) + " " + QByteArray::number(h) +
                                   " 40 40 re f\n" + extraContent;
        object("<< /Type /Page /Parent 2 0 R /Contents " + QByteArray::number(4 + 2 * i) + " 0 R " +
               extraEntries + " >>");
        object("<< /Length " + QByteArray::number(content.size()) + " >>\nstream\n" + content +
               "endstream");
    }
    const QByteArray size = QByteArray::number(offsets.size() + 1),
                     xref = QByteArray::number(out.size());
    out += "xref\n0 " + size + "\n0000000000 65535 f \n";
    for (qsizetype offset : offsets)
        out += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
    return out + "trailer\n<< /Size " + size + " /Root 1 0 R >>\nstartxref\n" + xref + "\n%%EOF\n";
}

// The "% id:" marks of a file, in file order.
inline QStringList pageIds(const QString& path) {
    const QByteArray pdf = read_file(path);
    QStringList ids;
    for (qsizetype at = pdf.indexOf("% id:"); at >= 0; at = pdf.indexOf("% id:", at + 1))
        ids.append(QString::fromLatin1(pdf.mid(at + 5, pdf.indexOf('\n', at) - at - 5)));
    return ids;
}

// A little-endian G4 TIFF with its directory at byte 8 (tag, type 3 or 4, one value each)
// and the strip at stripAt; without width the ImageWidth entry is left out.
inline QByteArray makeTiff(uint32_t width, uint32_t height, qsizetype stripAt,
                           const QByteArray& strip) {
    std::vector<std::pair<int, uint32_t>> entries = {
        {256, width}, {257, height}, {258, 1},
        {259, 4},     {262, 0},      {273, uint32_t(stripAt)},
        {277, 1},     {278, height}, {279, uint32_t(strip.size())}};
    if (width == 0)
        entries.erase(entries.begin());
    const auto n = static_cast<qsizetype>(entries.size());
    QByteArray t(std::max<qsizetype>(stripAt, 14 + 12 * n), '\0');
    auto put = [&](qsizetype at, uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i)
            t[at + i] = static_cast<char>((v >> (8 * i)) & 255);
    };
    t.replace(0, 4, QByteArray("II*\0", 4));
    put(4, 8, 4);
    put(8, static_cast<uint32_t>(n), 2);
    for (qsizetype i = 0; i < n; ++i) {
        const auto [tag, value] = entries[static_cast<size_t>(i)];
        const bool isLong = tag == 273 || tag == 278 || tag == 279;
        put(10 + 12 * i, tag, 2);
        put(12 + 12 * i, isLong ? 4 : 3, 2);
        put(14 + 12 * i, 1, 4);
        put(18 + 12 * i, value, isLong ? 4 : 2);
    }
    return t.left(stripAt) + strip;
}

// Bytes of a repeating pattern, all 256 values.
inline QByteArray pattern(qsizetype size) {
    QByteArray b(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
        b[i] = static_cast<char>((i * 7 + 3) & 255);
    return b;
}

// qpdf --check finds no error and no warning but those that hold tolerated ("": any).
inline ::testing::AssertionResult qpdfChecks(const QString& path, const char* tolerated = nullptr) {
    const RunResult r = run("qpdf", {"--check", path});
    const QByteArray told = r.out + r.err;
    bool ok = r.exitCode == 0 || (r.exitCode == 3 && tolerated && !told.contains("ERROR"));
    for (const QByteArray& line : told.split('\n'))
        ok = ok && (!line.startsWith("WARNING") || (tolerated && line.contains(tolerated)));
    return ok ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << told.constData();
}

// Page count as qpdf sees it in the page tree; -1 when qpdf cannot read the file.
inline int qpdfPageCount(const QString& path) {
    const RunResult r = run("qpdf", {"--show-pages", path});
    if (r.exitCode != 0 && r.exitCode != 3)
        return -1;
    return static_cast<int>(r.out.count("\npage ") + (r.out.startsWith("page ") ? 1 : 0));
}

// The outline as qpdf reads it: "title:page" per item, pages counted from 0.
inline QStringList qpdfOutline(const QString& path) {
    const RunResult json = run("qpdf", {"--json", "--json-key=outlines", path});
    static const QRegularExpression item("\"dest\": \\[\\s*(-?\\d+),[^}]*\"title\": \"([^\"]*)\"");
    QStringList items;
    for (auto it = item.globalMatch(QString::fromUtf8(json.out)); it.hasNext();) {
        const auto m = it.next();
        items << m.captured(2) + ':' + m.captured(1);
    }
    return items;
}

// The image object (7) of a hand-written one-page PDF: its dictionary as qpdf reads it, and
// the /Length bytes behind the CR that ends its "stream" line, when "endstream" follows them.
struct PageImage {
    QByteArray dictionary, data;
};
inline PageImage skeletonImage(const QString& path) {
    const QByteArray pdf = read_file(path);
    const qsizetype object = pdf.indexOf("\r7 0 obj\r"), length = pdf.indexOf("/Length ", object);
    const qsizetype data = pdf.indexOf(">\rstream\r", length) + 9;
    static const QRegularExpression digits("^\\d+");
    const qsizetype size =
        digits.match(QString::fromLatin1(pdf.mid(length + 8, 12))).captured().toLongLong();
    const bool framed = object >= 0 && data >= 9 && pdf.mid(data + size, 11) == "\rendstream\r";
    return {run("qpdf", {"--show-object=7", path}).out, framed ? pdf.mid(data, size) : "unframed"};
}

// Renders pages 1..last with pdftoppm and the given size options ("-r", "20", ...) as PGM
// files: "P5\n<width> <height>\n255\n" and one grey byte per pixel.
inline std::vector<QByteArray> render(const QString& pdf, int last, const QStringList& size) {
    const QString dir = freshDir("render");
    run("pdftoppm",
        QStringList{"-gray", "-l", QString::number(last)} + size + QStringList{pdf, dir + "/p"});
    std::vector<QByteArray> pages;
    // pdftoppm pads page numbers to the same width, so the names sort in page order.
    for (const QString& f : QDir(dir).entryList({"p-*.pgm"}, QDir::Files, QDir::Name))
        pages.push_back(read_file(dir + '/' + f));
    QDir(dir).removeRecursively();
    return pages;
}

// Share of pixels whose grey levels differ by more than threshold; 1 when sizes differ.
inline double differingShare(const QByteArray& a, const QByteArray& b, int threshold) {
    const qsizetype start = a.indexOf("\n255\n") + 5;
    if (start < 5 || start >= a.size() || a.size() != b.size() || a.left(start) != b.left(start))
        return 1.0;
    qsizetype differing = 0;
    for (qsizetype i = start; i < a.size(); ++i)
        differing += std::abs(uchar(a[i]) - uchar(b[i])) > threshold;
    return static_cast<double>(differing) / static_cast<double>(a.size() - start);
}

} // namespace pdftest
