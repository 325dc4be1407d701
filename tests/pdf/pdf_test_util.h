#pragma once

// Helpers shared by the PDF toolkit tests: folders, external programs, sample documents,
// TIFFs, what qpdf reads in a file, and rendering.

#include "foundation/general.h"
#include "pdf/pdf_library.h"
#include "simulator.h"

#include <QDataStream>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "test_env.h" // also gives QString parameters readable names

namespace pdftest {

// A new, empty folder below the test root.
inline QString freshDir(QString name) {
    static int serial = 0;
    const QString path = test_root() + QString("/t%1-").arg(++serial) + name.replace('/', '_');
    QDir().mkpath(path);
    return path;
}

struct RunResult {
    int exitCode = -1; // -1: could not be started or crashed
    QByteArray out;
};
inline RunResult run(const QString& program, const QStringList& args) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, args);
    const bool ended = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit;
    return {ended ? process.exitCode() : -1, process.readAll()};
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

// A sample document dir/<title>.pdf whose pages read "<title> <n>" to pageLabels.
inline QString sample(const QString& dir, const QString& title, int pages) {
    make_sample_pdf(dir + '/' + title + ".pdf", title, pages, 100);
    return dir + '/' + title + ".pdf";
}

// A little-endian G4 TIFF with its directory at byte 8 (tag, type 3 or 4, one value each)
// and the strip at stripAt; without width the ImageWidth entry is left out.
inline QByteArray makeTiff(uint32_t width, uint32_t height, qsizetype stripAt,
                           const QByteArray& strip) {
    QList<std::pair<quint16, uint32_t>> entries = {{257, height}, {258, 1},
                                                   {259, 4},      {262, 0},
                                                   {277, 1},      {273, uint32_t(stripAt)},
                                                   {278, height}, {279, uint32_t(strip.size())}};
    if (width)
        entries.prepend({256, width});
    QByteArray t;
    QDataStream s(&t, QIODevice::WriteOnly);
    s.setByteOrder(QDataStream::LittleEndian);
    s.writeRawData("II*\0", 4);
    s << quint32(8) << quint16(entries.size());
    for (const auto& [tag, value] : entries) {
        const bool isLong = tag >= 273 && tag != 277;
        s << tag << quint16(isLong ? 4 : 3) << quint32(1);
        isLong ? s << value : s << quint16(value) << quint16(0);
    }
    s << quint32(0);
    return t.leftJustified(stripAt, '\0', true) + strip;
}

// Bytes of a repeating pattern, all 256 values.
inline QByteArray pattern(qsizetype size) {
    QByteArray b;
    for (qsizetype i = 0; i < size; ++i)
        b += char((i * 7 + 3) & 255);
    return b;
}

// qpdf --check finds no error and no warning but those that hold tolerated ("": any).
inline ::testing::AssertionResult qpdfChecks(const QString& path, const char* tolerated = nullptr) {
    const RunResult r = run("qpdf", {"--check", path});
    bool ok = r.exitCode == 0 || (r.exitCode == 3 && tolerated && !r.out.contains("ERROR"));
    for (const QByteArray& line : r.out.split('\n'))
        ok = ok && (!line.startsWith("WARNING") || (tolerated && line.contains(tolerated)));
    return ok ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << r.out.constData();
}

// Page count as qpdf sees it in the page tree; -1 when qpdf cannot read the file. (Its
// --show-npages tells the root's /Count instead, which may disagree.)
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
