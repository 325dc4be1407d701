// The hand-written one-page PDF from a TIFF, and the two converter programs.

#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

#include <optional>

using namespace pdftest;

namespace {

// The documented skeleton of the TIFF writer.
QByteArray expectedPdf(int width, int height, const QByteArray& image,
                       QList<qsizetype>* offsets = nullptr) {
    const QByteArray w = QByteArray::number(width);
    return crSkeleton(
        "\xD4\xD2\xA4\xCB",
        {{"<<", "/CreationDate (D:20010802093604)", "/Producer (EPO)", "/Author (EPO)",
          "/Creator (Convert v3.6)", "/Title (USA1 4500892)", ">>"},
         {"[ /PDF /ImageB ]"},
         {"<<", "/Type /Catalog", "/Pages 4 0 R", ">>"},
         {"<<", "/Type /Pages", "/MediaBox [ 0 0  556  818 ]", "/Count 1", "/Kids [5 0 R]", ">>"},
         {"<<", "/Type /Page", "/Parent 4 0 R",
          "/Resources << /XObject << /im1 7 0 R >> /ProcSet 2 0 R >>", "/Contents [ 6 0 R ]", ">>"},
         {"<< /Length 26 >>", "stream", "556 0 0 818 0 0 cm", "/im1 Do", "endstream"},
         {"<<", "/Type /XObject", "/Subtype /Image", "/Length " + QByteArray::number(image.size()),
          "/Name /im1", "/Filter [ /CCITTFaxDecode ]", "/Width " + w,
          "/Height " + QByteArray::number(height), "/BitsPerComponent 1", "/ImageMask true",
          "/DecodeParms [ << /K -1 /Columns " + w + " >> ]", ">>", "stream"}},
        image, offsets);
}

QByteArray pattern(qsizetype size) {
    QByteArray b(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
        b[i] = static_cast<char>((i * 7 + 3) & 255);
    return b;
}

// What the corpus test needs of a little-endian TIFF, read with a small directory reader.
struct TiffInfo {
    int width = 0, height = 0, compression = 0, photometric = -1, fillOrder = 1;
    std::vector<uint32_t> offsets, counts;
};
std::optional<TiffInfo> readTiff(const QByteArray& t) {
    if (!t.startsWith("II*"))
        return std::nullopt;
    auto u = [&](qsizetype at, int bytes) {
        uint32_t v = 0;
        for (int i = bytes - 1; i >= 0; --i)
            v = v << 8 | (at + i < t.size() ? static_cast<uchar>(t[at + i]) : 0);
        return v;
    };
    const qsizetype ifd = u(4, 4);
    TiffInfo info;
    for (uint32_t i = 0, n = u(ifd, 2); i < n; ++i) {
        const qsizetype e = ifd + 2 + 12 * i;
        const int size = u(e + 2, 2) == 3 ? 2 : 4;
        const uint32_t count = std::min<uint32_t>(u(e + 4, 4), 100000);
        const qsizetype values = size * count <= 4 ? e + 8 : u(e + 8, 4);
        std::vector<uint32_t> v;
        for (uint32_t k = 0; k < count; ++k)
            v.push_back(u(values + size * k, size));
        const int first = v.empty() ? 0 : static_cast<int>(v[0]);
        switch (u(e, 2)) {
        case 256:
            info.width = first;
            break;
        case 257:
            info.height = first;
            break;
        case 259:
            info.compression = first;
            break;
        case 262:
            info.photometric = first;
            break;
        case 266:
            info.fillOrder = first;
            break;
        case 273:
            info.offsets = v;
            break;
        case 279:
            info.counts = v;
            break;
        }
    }
    return info;
}

// The same Group 4 image laid out as the office's TIFFs are: directory first, strip at
// stripAt. The bits of a least-significant-first strip are turned round.
QByteArray relaid(const QByteArray& tiff, const TiffInfo& info, uint32_t stripAt) {
    QByteArray strip = tiff.mid(info.offsets[0], info.counts[0]);
    for (char& c : strip) {
        uchar r = 0;
        for (int i = 0; i < 8 && info.fillOrder == 2; ++i)
            r |= ((static_cast<uchar>(c) >> i) & 1) << (7 - i);
        c = info.fillOrder == 2 ? static_cast<char>(r) : c;
    }
    return makeTiff(g4Entries(info.width, info.height, stripAt, strip.size()), stripAt, strip);
}

} // namespace

TEST(TiffWriter, WritesTheSkeletonByteForByte) {
    const QByteArray strip = pattern(1000);
    std::vector<TiffEntry> noWidth = g4Entries(1728, 2200, 300, 1000);
    noWidth.erase(noWidth.begin());
    struct Case {
        const char* name;
        QByteArray tiff;
        int width, height;
        qsizetype imageFrom;
    };
    auto g4 = [&](uint32_t w, uint32_t h, uint32_t at) {
        return makeTiff(g4Entries(w, h, at, 1000), at, strip);
    };
    const Case cases[] = {
        {"strip at 300", g4(1728, 2200, 300), 1728, 2200, 300},
        {"strip at 256", g4(1728, 2200, 256), 1728, 2200, 256},
        {"strip at 511", g4(1728, 2200, 511), 1728, 2200, 511},
        {"strip at 200", g4(1728, 2200, 200), 1728, 2200, 201},
        {"strip at 600", g4(1728, 2200, 600), 1728, 2200, 599},
        {"width 6000", g4(6000, 2200, 300), 2320, 2200, 300},
        {"width 40000 reads negative", g4(40000, 2200, 300), 2320, 2200, 300},
        {"height 40", g4(1728, 40, 300), 1728, 3408, 300},
        {"no width entry", makeTiff(noWidth, 300, strip), 2320, 2200, 300},
        // Width 273 is the byte pair 17, 1: found first, its "offset" comes from the count
        // field of the next entry (1, 0), so the image starts at byte 2.
        {"pair 17, 1 ahead", g4(273, 2200, 300), 273, 2200, 2},
        {"past the 150000 flush", makeTiff(g4Entries(2560, 3300, 300, 0), 300, pattern(400000)),
         2560, 3300, 300},
    };
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("tif-bytes"));
    const QString in = dir + QStringLiteral("/in.tif");
    const QString out = dir + QStringLiteral("/out.pdf");
    for (const Case& c : cases) {
        writeFile(in, c.tiff);
        tif_to_pdf(host, out, in);
        EXPECT_EQ(readFile(out), expectedPdf(c.width, c.height, c.tiff.mid(c.imageFrom))) << c.name;
        EXPECT_FALSE(QFile::exists(out + QStringLiteral(".tmp"))) << c.name;
    }
    // The fixed places of the objects; with 1000 image bytes the table follows object 7.
    QList<qsizetype> offsets;
    const QByteArray pdf = expectedPdf(1728, 2200, strip, &offsets);
    EXPECT_EQ(offsets, QList<qsizetype>({15, 145, 177, 226, 311, 436, 512}));
    EXPECT_EQ(pdf.indexOf("xref\r"), pdf.indexOf("endstream\rendobj\r", 512) + 17);
    EXPECT_TRUE(checkpdf(out));
}

TEST(TiffWriter, AnyInputGivesASoundPdfAndOldFilesGo) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("tif-bad"));
    QByteArray bigEndian = makeTiff(g4Entries(1728, 2200, 300, 1000), 300, pattern(1000));
    bigEndian.replace(0, 4, QByteArray("MM\0*", 4));
    const std::pair<const char*, QByteArray> inputs[] = {
        {"empty", QByteArray()},
        {"five bytes", "II*\0\x08"},
        {"garbage", pattern(5000).repeated(3)},
        {"big-endian", bigEndian},
        {"no tags", QByteArray("II*\0\x08\0\0\0\0\0", 10)},
        {"offset past the end", makeTiff(g4Entries(1728, 2200, 480, 10), 300, QByteArray())},
    };
    for (const auto& [name, bytes] : inputs) {
        writeFile(dir + QStringLiteral("/in.tif"), bytes);
        const QString out = dir + '/' + name + QStringLiteral(".pdf");
        tif_to_pdf(host, out, dir + QStringLiteral("/in.tif"));
        EXPECT_TRUE(checkpdf(out)) << name;
    }
    // A missing source gives the defaults and no image; old files go first, and the old
    // target goes even when the new file cannot be written.
    const QString target = dir + QStringLiteral("/old.pdf");
    writeFile(target, "old");
    writeFile(target + QStringLiteral(".tmp"), "stale");
    tif_to_pdf(host, target, dir + QStringLiteral("/none.tif"));
    EXPECT_EQ(readFile(target), expectedPdf(2320, 3408, QByteArray()));
    EXPECT_FALSE(QFile::exists(target + QStringLiteral(".tmp")));
    QDir().mkpath(target + QStringLiteral(".tmp/blocker"));
    tif_to_pdf(host, target, dir + QStringLiteral("/none.tif"));
    EXPECT_FALSE(QFile::exists(target));
}

TEST(TiffWriter, CorpusImagesRenderLikeTheConvertersPdf) {
    const QString corpus = corpusDir(QStringLiteral("tiff"));
    if (corpus.isEmpty())
        GTEST_SKIP() << "the shared corpus folder " BQ_SHARED_DIR "/corpus/tiff is absent";
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("tif-corpus"));
    const QString in = dir + QStringLiteral("/variant.tif");
    const QString ours = dir + QStringLiteral("/ours.pdf");
    const QString theirs = dir + QStringLiteral("/theirs.pdf");
    int compared = 0;
    for (const QString& name : QDir(corpus).entryList({"*.tif", "*.tiff"}, QDir::Files)) {
        // Every file: the writer returns and leaves a sound PDF.
        tif_to_pdf(host, ours, corpus + '/' + name);
        EXPECT_TRUE(checkpdf(ours)) << name.toStdString();

        const QByteArray tiff = readFile(corpus + '/' + name);
        const auto info = readTiff(tiff);
        if (!info || info->compression != 4 || info->offsets.size() != 1 ||
            info->counts.size() != 1 || info->photometric != 0)
            continue;
        // Single-strip Group 4 images: as they stand when the strip starts at 256 .. 511, and
        // laid out as the office's files are, at both ends and inside that range.
        std::vector<QByteArray> variants;
        if (info->offsets[0] >= 256 && info->offsets[0] <= 511)
            variants.push_back(tiff);
        for (uint32_t at : {256u, 300u, 511u})
            variants.push_back(relaid(tiff, *info, at));
        for (const QByteArray& variant : variants) {
            writeFile(in, variant);
            QFile::remove(theirs);
            tif_to_pdf(host, ours, in);
            run(QStringLiteral("tiff2pdf"), {QStringLiteral("-o"), theirs, in});
            // Half size or less, in even steps: an image mask drawn 1:1 lands a pixel off
            // here and there against an image, which averages out in pairs.
            const int scale = 2 * (1 + std::max(info->width, info->height) / 1600);
            const int w = std::max(1, info->width / scale), h = std::max(1, info->height / scale);
            const auto a = render(ours, 1, 1, 0, w, h);
            const auto b = render(theirs, 1, 1, 0, w, h);
            ASSERT_TRUE(a.size() == 1 && b.size() == 1) << name.toStdString();
            EXPECT_LE(differingShare(a[0], b[0], 64), 0.01) << name.toStdString();
            ++compared;
        }
    }
    EXPECT_GT(compared, 0);
}

TEST(Converters, CommandLinesReachTheProgramAsDocumented) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("conv-args"));
    const QString argsFile = dir + QStringLiteral("/args.txt");
    const QString program = dir + QStringLiteral("/fake.lib");
    writeFile(program, "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + argsFile.toLocal8Bit() + "'\n");
    QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    auto args = [&] { return QString::fromLocal8Bit(readFile(argsFile)).split('\n'); };

    tif2pdf(host, dir + QStringLiteral("/out put.pdf"), dir + QStringLiteral("/in.tif"), program);
    EXPECT_EQ(args(), QStringList({"-o", dir + "/out", "put.pdf", dir + "/in.tif", ""}));
    CNtif(host, dir + QStringLiteral("/g4 out.tif"), dir + QStringLiteral("/in put.tif"), program);
    EXPECT_EQ(args(), QStringList({"-r", "10000", "-c", "g4", dir + "/in put.tif",
                                   dir + "/g4 out.tif", ""}));
    // A program in a folder with a blank in its name is still found.
    QDir().mkpath(dir + QStringLiteral("/app folder"));
    QFile::copy(program, dir + QStringLiteral("/app folder/uspto.lib"));
    tif2pdf(host, dir + QStringLiteral("/a.pdf"), dir + QStringLiteral("/b.tif"),
            dir + QStringLiteral("/app folder/uspto.lib"));
    EXPECT_EQ(args(), QStringList({"-o", dir + "/a.pdf", dir + "/b.tif", ""}));

    // Missing, empty, not executable or at once ending programs just return.
    const QString empty = dir + QStringLiteral("/empty.lib");
    writeFile(empty, QByteArray());
    QFile::setPermissions(empty, QFile::ReadOwner | QFile::ExeOwner);
    const QString plain = dir + QStringLiteral("/plain.lib");
    writeFile(plain, "#!/bin/sh\nexit 0\n");
    QElapsedTimer timer;
    timer.start();
    for (const QString& broken : {dir + QStringLiteral("/missing.lib"), empty, plain,
                                  QStringLiteral("/bin/false"), QString()}) {
        tif2pdf(host, dir + QStringLiteral("/o.pdf"), dir + QStringLiteral("/i.tif"), broken);
        CNtif(host, dir + QStringLiteral("/o.tif"), dir + QStringLiteral("/i.tif"), broken);
    }
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_FALSE(QFile::exists(dir + QStringLiteral("/o.pdf")));
}

TEST(Converters, RealConvertersProduceMergeablePages) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("conv-real"));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/usr/bin/tiff2pdf"), dir + "/uspto.lib"));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/usr/bin/tiffcp"), dir + "/cnpto.lib"));
    // An uncompressed bilevel page of 400 by 300 with stripes, rows of 50 bytes.
    QByteArray rows;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 50; ++x)
            rows += static_cast<char>((y / 20 + x / 5) % 2 ? 0xff : 0x00);
    std::vector<TiffEntry> entries = g4Entries(400, 300, 200, 15000);
    entries[3].value = 1; // no compression
    writeFile(dir + QStringLiteral("/page one.tif"), makeTiff(entries, 200, rows));

    CNtif(host, dir + QStringLiteral("/g4.tif"), dir + QStringLiteral("/page one.tif"),
          dir + QStringLiteral("/cnpto.lib"));
    const auto info = readTiff(readFile(dir + QStringLiteral("/g4.tif")));
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(info->compression, 4);
    EXPECT_EQ(info->width, 400);
    tif2pdf(host, dir + QStringLiteral("/page.pdf"), dir + QStringLiteral("/g4.tif"),
            dir + QStringLiteral("/uspto.lib"));
    EXPECT_TRUE(checkpdf(dir + QStringLiteral("/page.pdf")));
}
