#include "uspto_samples.h"

#include "foundation/host.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdint>
#include <optional>
#include <vector>

namespace {

constexpr int kWidth = 1728;
constexpr int kHeight = 2200;
constexpr uint32_t kStripAt = 300;

// A bilevel page, one bit a pixel, 1 black, rows padded to whole bytes.
class Raster {
public:
    Raster() : bits_(kRowBytes * kHeight, '\0') {}
    void fill(int x0, int y0, int x1, int y1) {
        for (int y = qMax(y0, 0); y < qMin(y1, kHeight); ++y)
            for (int x = qMax(x0, 0); x < qMin(x1, kWidth); ++x)
                bits_[y * kRowBytes + x / 8] =
                    char(bits_[y * kRowBytes + x / 8] | (0x80 >> (x % 8)));
    }
    void frame(int x0, int y0, int x1, int y1, int t) {
        fill(x0, y0, x1, y0 + t);
        fill(x0, y1 - t, x1, y1);
        fill(x0, y0, x0 + t, y1);
        fill(x1 - t, y0, x1, y1);
    }
    const QByteArray& bits() const { return bits_; }

private:
    static constexpr int kRowBytes = kWidth / 8;
    QByteArray bits_;
};

void put16(QByteArray& b, uint16_t v) {
    b.append(char(v & 0xFF)).append(char(v >> 8));
}
void put32(QByteArray& b, uint32_t v) {
    put16(b, uint16_t(v & 0xFFFF));
    put16(b, uint16_t(v >> 16));
}
std::optional<uint32_t> get(const QByteArray& b, qsizetype at, int size) {
    if (at < 0 || at + size > b.size())
        return std::nullopt;
    uint32_t v = 0;
    for (int i = size - 1; i >= 0; --i)
        v = (v << 8) | uint8_t(b[at + i]);
    return v;
}

// A little-endian TIFF: directory at byte 8, resolution values behind it, the one strip at
// byte 300.
QByteArray tiff(uint16_t compression, const QByteArray& strip) {
    struct Entry {
        uint16_t tag, type;
        uint32_t value;
    };
    const uint32_t resolutionAt = 8 + 2 + 12 * 12 + 4;
    const std::vector<Entry> entries = {
        {256, 4, kWidth},
        {257, 4, kHeight},
        {258, 3, 1},
        {259, 3, compression},
        {262, 3, 0},
        {273, 4, kStripAt},
        {277, 3, 1},
        {278, 4, kHeight},
        {279, 4, uint32_t(strip.size())},
        {282, 5, resolutionAt},
        {283, 5, resolutionAt + 8},
        {296, 3, 2},
    };
    QByteArray b("II*\0", 4);
    put32(b, 8);
    put16(b, uint16_t(entries.size()));
    for (const Entry& e : entries) {
        put16(b, e.tag);
        put16(b, e.type);
        put32(b, 1);
        put32(b, e.value);
    }
    put32(b, 0);
    for (int i = 0; i < 2; ++i) {
        put32(b, 200);
        put32(b, 1);
    }
    b.append(QByteArray(kStripAt - b.size(), '\0'));
    return b + strip;
}

// The one strip of a TIFF that tiffcp wrote (in this machine's little-endian order).
QByteArray only_strip(const QByteArray& t) {
    const auto ifd = get(t, 4, 4);
    const auto count = ifd ? get(t, *ifd, 2) : std::nullopt;
    if (!t.startsWith("II*") || !count)
        return {};
    std::optional<uint32_t> offset, bytes;
    for (uint32_t i = 0; i < *count; ++i) {
        const qsizetype e = qsizetype(*ifd) + 2 + 12 * qsizetype(i);
        const auto tag = get(t, e, 2);
        const auto type = get(t, e + 2, 2);
        const auto n = get(t, e + 4, 4);
        if (!tag || !type || !n || *n != 1)
            continue;
        const auto value = get(t, e + 8, *type == 3 ? 2 : 4);
        if (*tag == 273)
            offset = value;
        else if (*tag == 279)
            bytes = value;
    }
    if (!offset || !bytes || qsizetype(*offset) + qsizetype(*bytes) > t.size())
        return {};
    return t.mid(*offset, *bytes);
}

struct Sample {
    const char* number;
    int pages;
    int certificates;
};
const Sample kSamples[] = {
    {"US4500000", 2, 0}, {"US5123456", 3, 2}, {"USD339456", 1, 0}, {"USPP8901", 2, 1},
    {"USRE35312", 2, 0}, {"USH1523", 1, 0},   {"UST109201", 1, 0}, {"US20010000044", 2, 0},
};

bool write(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    return !bytes.isEmpty() && f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

} // namespace

QByteArray uspto_sample_tiff(int mark, bool certificate) {
    const QString tiffcp = QStandardPaths::findExecutable(QStringLiteral("tiffcp"));
    QTemporaryDir dir;
    if (tiffcp.isEmpty() || !dir.isValid())
        return {};

    Raster r;
    r.frame(100, 100, kWidth - 100, kHeight - 100, 4);
    r.fill(150, 150, kWidth - 150, 190);
    for (int i = 0; i < qBound(0, mark, 40); ++i)
        r.fill(kWidth - 200 - 40 * i, 220, kWidth - 170 - 40 * i, 250);
    const int lines = certificate ? 12 : 30;
    const int top = certificate ? 700 : 300;
    for (int i = 0; i < lines; ++i)
        r.fill(certificate ? 260 : 150, top + 55 * i,
               kWidth - (certificate ? 260 : 150) - (i * 137 + mark * 59) % 500, top + 55 * i + 14);
    if (certificate) {
        r.frame(200, 400, kWidth - 200, 1500, 10);
        r.fill(500, 480, kWidth - 500, 560);
    }

    const QString in = dir.filePath(QStringLiteral("in.tif"));
    const QString out = dir.filePath(QStringLiteral("out.tif"));
    if (!write(in, tiff(1, r.bits())))
        return {};
    QProcess p;
    p.start(tiffcp, {QStringLiteral("-c"), QStringLiteral("g4"), QStringLiteral("-r"),
                     QStringLiteral("10000"), in, out});
    if (!p.waitForFinished(30000) || p.exitCode() != 0)
        return {};
    QFile f(out);
    const QByteArray strip = f.open(QIODevice::ReadOnly) ? only_strip(f.readAll()) : QByteArray();
    return strip.isEmpty() ? QByteArray() : tiff(4, strip);
}

bool uspto_ensure_samples(const QString& folder) {
    QDir().mkpath(folder);
    HeadlessHost host;
    for (const Sample& s : kSamples) {
        const QString stem = folder + QLatin1Char('/') + QLatin1String(s.number);
        if (QFile::exists(stem + QStringLiteral(".pdf")))
            continue;
        for (int c = 1; c <= s.certificates; ++c) {
            if (!write(stem + QStringLiteral(".cc%1.tif").arg(c), uspto_sample_tiff(c, true)))
                return false;
        }
        // The PDF is made of the very pages that the viewer serves.
        const int32_t handle = PDocNew(0, 0, stem + QStringLiteral(".pdf"));
        for (int n = 1; n <= s.pages; ++n) {
            const QString page = stem + QStringLiteral(".p%1.tif").arg(n);
            if (!write(page, uspto_sample_tiff(n, false)))
                break;
            tif_to_pdf(host, page + QStringLiteral(".pdf"), page);
            PDocMerge(handle, page + QStringLiteral(".pdf"), 1, 1);
            QFile::remove(page + QStringLiteral(".pdf"));
        }
        PDocRelease(handle);
        if (!QFile::exists(stem + QStringLiteral(".pdf")))
            return false;
    }
    return true;
}

QStringList uspto_sample_numbers(const QString& folder) {
    QStringList numbers;
    for (const QString& name :
         QDir(folder).entryList({QStringLiteral("US*.pdf")}, QDir::Files, QDir::Name))
        numbers.append(name.chopped(4));
    return numbers;
}
