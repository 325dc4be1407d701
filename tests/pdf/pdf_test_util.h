#pragma once

// Helpers shared by the PDF toolkit tests: files, external programs, generated PDFs, the
// layout check of joined files, and rendering through pdftoppm.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

#include "test_env.h" // also gives QString parameters readable names

namespace pdftest {

// A new, empty folder below the test root.
QString freshDir(const QString& name);
QByteArray readFile(const QString& path);
void writeFile(const QString& path, const QByteArray& data);

struct RunResult {
    int exitCode = -1; // -1: could not be started or crashed
    QByteArray out;
    QByteArray err;
};
RunResult run(const QString& program, const QStringList& args);

// ../shared/corpus/<sub>, or empty when the folder is absent.
QString corpusDir(const QString& sub);

// A valid PDF with one page per id. Each page draws a box whose place depends on the id and
// carries the comment "% id:<id>" in its uncompressed content stream, followed by
// extraContent; extraEntries go into each page dictionary.
QByteArray makePdf(const QStringList& ids, const QByteArray& extraContent = {},
                   const QByteArray& extraEntries = {});
// The "% id:" marks of a file, in file order.
QStringList pageIds(const QByteArray& pdf);

// A hand-made one-page PDF as the TIFF and Canadian writers make it: "%PDF-1.1" and the
// binary marker line, objects 1 to 7 from their lines (object 7's last line is "stream",
// and the image and one CR follow it), every line ending in CR, the table from the running
// byte count. offsets receives the objects' offsets.
QByteArray crSkeleton(const QByteArray& marker, const std::vector<QList<QByteArray>>& objects,
                      const QByteArray& image, QList<qsizetype>* offsets = nullptr);

// A little-endian TIFF with its directory at byte 8 (entries: tag, type 3 or 4, value) and
// the strip at stripAt.
struct TiffEntry {
    int tag;
    int type;
    uint32_t value;
};
QByteArray makeTiff(const std::vector<TiffEntry>& entries, qsizetype stripAt,
                    const QByteArray& strip);
std::vector<TiffEntry> g4Entries(uint32_t width, uint32_t height, uint32_t stripAt, uint32_t bytes);

// Everything the joined files promise about their layout; empty when all is kept.
QStringList layoutProblems(const QByteArray& pdf);

// Page count as qpdf sees it; -1 when qpdf cannot read the file.
int qpdfPageCount(const QString& path);

struct Gray {
    int width = 0;
    int height = 0;
    QByteArray pixels; // one byte per pixel
};
// Renders pages first..last (1-based) as grey images. With width and height set, each page
// is scaled to exactly that size; otherwise it is rendered at dpi.
std::vector<Gray> render(const QString& pdf, int first, int last, int dpi, int width = 0,
                         int height = 0);
// Share of pixels whose grey levels differ by more than threshold; 1 when sizes differ.
double differingShare(const Gray& a, const Gray& b, int threshold);

} // namespace pdftest
