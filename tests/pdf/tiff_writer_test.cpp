// The hand-written one-page PDF from a TIFF, and the two converter programs.

#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <optional>

using namespace pdftest;

namespace {

struct Entry {
    int tag;
    int type; // 3 SHORT, 4 LONG
    uint32_t value;
};

void put16(QByteArray& b, qsizetype at, uint32_t v) {
    b[at] = static_cast<char>(v & 255);
    b[at + 1] = static_cast<char>((v >> 8) & 255);
}
void put32(QByteArray& b, qsizetype at, uint32_t v) {
    put16(b, at, v & 0xffff);
    put16(b, at + 2, v >> 16);
}

// A little-endian TIFF with its directory at byte 8 and the strip at stripAt.
QByteArray makeTiff(const std::vector<Entry>& entries, qsizetype stripAt, const QByteArray& strip) {
    QByteArray t(std::max<qsizetype>(stripAt, 10 + 12 * entries.size() + 4), '\0');
    t.replace(0, 4, QByteArray("II*\0", 4));
    put32(t, 4, 8);
    put16(t, 8, static_cast<uint32_t>(entries.size()));
    for (size_t i = 0; i < entries.size(); ++i) {
        const qsizetype at = 10 + 12 * static_cast<qsizetype>(i);
        put16(t, at, entries[i].tag);
        put16(t, at + 2, entries[i].type);
        put32(t, at + 4, 1);
        if (entries[i].type == 3)
            put16(t, at + 8, entries[i].value);
        else
            put32(t, at + 8, entries[i].value);
    }
    return t.left(stripAt) + strip;
}

std::vector<Entry> g4Entries(uint32_t width, uint32_t height, uint32_t stripAt, uint32_t bytes) {
    return {{256, 3, width},   {257, 3, height}, {258, 3, 1},      {259, 3, 4},    {262, 3, 0},
            {273, 4, stripAt}, {277, 3, 1},      {278, 4, height}, {279, 4, bytes}};
}

// The seven-object skeleton, line by line as documented.
QByteArray expectedPdf(int width, int height, const QByteArray& image,
                       QList<qsizetype>* offsets = nullptr) {
    QByteArray out;
    QList<qsizetype> at;
    auto lines = [&](std::initializer_list<QByteArray> list) {
        for (const QByteArray& l : list)
            out += l + '\r';
    };
    const QByteArray w = QByteArray::number(width);
    lines({"%PDF-1.1", "%\xD4\xD2\xA4\xCB"});
    at << out.size();
    lines({"1 0 obj", "<<", "/CreationDate (D:20010802093604)", "/Producer (EPO)", "/Author (EPO)",
           "/Creator (Convert v3.6)", "/Title (USA1 4500892)", ">>", "endobj"});
    at << out.size();
    lines({"2 0 obj", "[ /PDF /ImageB ]", "endobj"});
    at << out.size();
    lines({"3 0 obj", "<<", "/Type /Catalog", "/Pages 4 0 R", ">>", "endobj"});
    at << out.size();
    lines({"4 0 obj", "<<", "/Type /Pages", "/MediaBox [ 0 0  556  818 ]", "/Count 1",
           "/Kids [5 0 R]", ">>", "endobj"});
    at << out.size();
    lines({"5 0 obj", "<<", "/Type /Page", "/Parent 4 0 R",
           "/Resources << /XObject << /im1 7 0 R >> /ProcSet 2 0 R >>", "/Contents [ 6 0 R ]", ">>",
           "endobj"});
    at << out.size();
    lines({"6 0 obj", "<< /Length 26 >>", "stream", "556 0 0 818 0 0 cm", "/im1 Do", "endstream",
           "endobj"});
    at << out.size();
    lines({"7 0 obj", "<<", "/Type /XObject", "/Subtype /Image",
           "/Length " + QByteArray::number(image.size()), "/Name /im1",
           "/Filter [ /CCITTFaxDecode ]", "/Width " + w, "/Height " + QByteArray::number(height),
           "/BitsPerComponent 1", "/ImageMask true",
           "/DecodeParms [ << /K -1 /Columns " + w + " >> ]", ">>", "stream"});
    out += image + '\r';
    lines({"endstream", "endobj"});
    const qsizetype xref = out.size();
    lines({"xref", "0 8", "0000000000 65535 f "});
    for (qsizetype offset : at)
        lines({QByteArray::number(offset).rightJustified(10, '0') + " 00000 n "});
    lines({"trailer"});
    out += "<<";
    lines({"/Size 8", "/Info 1 0 R", "/Root 3 0 R", ">>", "startxref", QByteArray::number(xref),
           "%%EOF"});
    if (offsets)
        *offsets = at;
    return out;
}

QByteArray pattern(qsizetype size) {
    QByteArray b(size, '\0');
    for (qsizetype i = 0; i < size; ++i)
        b[i] = static_cast<char>((i * 7 + 3) & 255);
    return b;
}

// What the test needs of a TIFF: read with a small directory reader (little-endian only).
struct TiffInfo {
    int width = 0, height = 0, compression = 0, photometric = -1, fillOrder = 1;
    std::vector<uint32_t> offsets, counts;
};
std::optional<TiffInfo> readTiff(const QByteArray& t) {
    if (t.size() < 8 || !t.startsWith("II"))
        return std::nullopt;
    auto u16 = [&](qsizetype at) -> uint32_t {
        return at + 2 <= t.size() ? static_cast<uchar>(t[at]) | static_cast<uchar>(t[at + 1]) << 8
                                  : 0;
    };
    auto u32 = [&](qsizetype at) { return u16(at) | u16(at + 2) << 16; };
    const qsizetype ifd = u32(4);
    TiffInfo info;
    for (uint32_t i = 0, n = u16(ifd); i < n; ++i) {
        const qsizetype e = ifd + 2 + 12 * i;
        const uint32_t tag = u16(e), type = u16(e + 2), count = u32(e + 4);
        auto value = [&](uint32_t k) {
            const qsizetype size = type == 3 ? 2 : 4;
            const qsizetype at = size * count <= 4 ? e + 8 + size * k : u32(e + 8) + size * k;
            return type == 3 ? u16(at) : u32(at);
        };
        std::vector<uint32_t> values;
        for (uint32_t k = 0; k < count && k < 100000; ++k)
            values.push_back(value(k));
        if (values.empty())
            continue;
        switch (tag) {
        case 256:
            info.width = static_cast<int>(values[0]);
            break;
        case 257:
            info.height = static_cast<int>(values[0]);
            break;
        case 259:
            info.compression = static_cast<int>(values[0]);
            break;
        case 262:
            info.photometric = static_cast<int>(values[0]);
            break;
        case 266:
            info.fillOrder = static_cast<int>(values[0]);
            break;
        case 273:
            info.offsets = values;
            break;
        case 279:
            info.counts = values;
            break;
        }
    }
    return info;
}

// The same Group 4 image laid out as the office's TIFFs are: directory first, strip at
// stripAt. Bits of a least-significant-first strip are turned round.
QByteArray relaid(const QByteArray& tiff, const TiffInfo& info, uint32_t stripAt) {
    QByteArray strip = tiff.mid(info.offsets[0], info.counts[0]);
    if (info.fillOrder == 2)
        for (char& c : strip) {
            uchar b = static_cast<uchar>(c), r = 0;
            for (int i = 0; i < 8; ++i)
                r |= ((b >> i) & 1) << (7 - i);
            c = static_cast<char>(r);
        }
    return makeTiff(g4Entries(info.width, info.height, stripAt, strip.size()), stripAt, strip);
}

QString fakeConverter(const QString& dir, const QString& argsFile) {
    const QString path = dir + QStringLiteral("/fake.lib");
    writeFile(path, "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + argsFile.toLocal8Bit() + "'\n");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace

TEST(TiffWriter, WritesTheSkeletonByteForByte) {
    struct Case {
        const char* name;
        QByteArray tiff;
        int width, height;
        qsizetype imageFrom; // 0-based
    };
    const QByteArray strip = pattern(1000);
    std::vector<Entry> noWidth = g4Entries(1728, 2200, 300, 1000);
    noWidth.erase(noWidth.begin());
    // Width 273 is the byte pair 17, 1: found there first, its "offset" is read from the
    // count field of the next entry (1, 0), so the image starts at byte 2.
    std::vector<Entry> decoy = g4Entries(273, 2200, 300, 1000);
    const QByteArray decoyTiff = makeTiff(decoy, 300, strip);
    const Case cases[] = {
        {"strip at 300", makeTiff(g4Entries(1728, 2200, 300, 1000), 300, strip), 1728, 2200, 300},
        {"strip at 256", makeTiff(g4Entries(1728, 2200, 256, 1000), 256, strip), 1728, 2200, 256},
        {"strip at 511", makeTiff(g4Entries(1728, 2200, 511, 1000), 511, strip), 1728, 2200, 511},
        {"strip at 200", makeTiff(g4Entries(1728, 2200, 200, 1000), 200, strip), 1728, 2200, 201},
        {"strip at 600", makeTiff(g4Entries(1728, 2200, 600, 1000), 600, strip), 1728, 2200, 599},
        {"width 6000", makeTiff(g4Entries(6000, 2200, 300, 1000), 300, strip), 2320, 2200, 300},
        {"width 40000", makeTiff(g4Entries(40000, 2200, 300, 1000), 300, strip), 2320, 2200, 300},
        {"height 40", makeTiff(g4Entries(1728, 40, 300, 1000), 300, strip), 1728, 3408, 300},
        {"no width entry", makeTiff(noWidth, 300, strip), 2320, 2200, 300},
        {"pair 17, 1 ahead", decoyTiff, 273, 2200, 2},
        {"past the 150000 flush", makeTiff(g4Entries(2560, 3300, 300, 0), 300, pattern(400000)),
         2560, 3300, 300},
    };
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("tif-bytes"));
    for (const Case& c : cases) {
        writeFile(dir + QStringLiteral("/in.tif"), c.tiff);
        const QString out = dir + QStringLiteral("/out.pdf");
        tif_to_pdf(host, out, dir + QStringLiteral("/in.tif"));
        EXPECT_EQ(readFile(out), expectedPdf(c.width, c.height, c.tiff.mid(c.imageFrom))) << c.name;
        EXPECT_FALSE(QFile::exists(out + QStringLiteral(".tmp"))) << c.name;
    }

    // The fixed places of the objects, and the table right behind object 7.
    QList<qsizetype> offsets;
    expectedPdf(1728, 2200, strip, &offsets);
    EXPECT_EQ(offsets, QList<qsizetype>({15, 145, 177, 226, 311, 436, 512}));
    writeFile(dir + QStringLiteral("/in.tif"), cases[0].tiff);
    tif_to_pdf(host, dir + QStringLiteral("/out.pdf"), dir + QStringLiteral("/in.tif"));
    const QByteArray out = readFile(dir + QStringLiteral("/out.pdf"));
    const qsizetype objectSeven = out.indexOf("endstream\rendobj\r", 512) + 17 - 512;
    EXPECT_EQ(out.mid(512, 8), "7 0 obj\r");
    EXPECT_EQ(out.indexOf("xref\r"), 512 + objectSeven);
    EXPECT_TRUE(out.endsWith("startxref\r" + QByteArray::number(512 + objectSeven) + "\r%%EOF\r"));
    EXPECT_TRUE(checkpdf(dir + QStringLiteral("/out.pdf")));
}

TEST(TiffWriter, AnyInputGivesASoundPdfAndOldFilesGo) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("tif-bad"));
    QByteArray random(5000, '\0');
    QRandomGenerator rng(7);
    for (char& c : random)
        c = static_cast<char>(rng.bounded(256));
    QByteArray bigEndian = makeTiff(g4Entries(1728, 2200, 300, 1000), 300, pattern(1000));
    bigEndian.replace(0, 4, QByteArray("MM\0*", 4));
    const std::pair<const char*, QByteArray> inputs[] = {
        {"empty", QByteArray()},
        {"five bytes", "II*\0\x08"},
        {"random", random},
        {"big-endian", bigEndian},
        {"no tags", QByteArray("II*\0\x08\0\0\0\0\0", 10)},
        {"offset past the end", makeTiff(g4Entries(1728, 2200, 480, 10), 300, QByteArray())},
    };
    for (const auto& [name, bytes] : inputs) {
        writeFile(dir + QStringLiteral("/in.tif"), bytes);
        const QString out = dir + QStringLiteral("/") + name + QStringLiteral(".pdf");
        tif_to_pdf(host, out, dir + QStringLiteral("/in.tif"));
        EXPECT_TRUE(readFile(out).startsWith("%PDF-1.1\r")) << name;
        EXPECT_TRUE(checkpdf(out)) << name;
    }
    // A missing source gives the defaults and no image.
    const QString missing = dir + QStringLiteral("/missing.pdf");
    tif_to_pdf(host, missing, dir + QStringLiteral("/none.tif"));
    EXPECT_EQ(readFile(missing), expectedPdf(2320, 3408, QByteArray()));

    // An old .tmp goes first, and an old target even when the new file cannot be written.
    const QString target = dir + QStringLiteral("/old.pdf");
    writeFile(target, "old");
    writeFile(target + QStringLiteral(".tmp"), "stale");
    tif_to_pdf(host, target, dir + QStringLiteral("/none.tif"));
    EXPECT_EQ(readFile(target), expectedPdf(2320, 3408, QByteArray()));
    EXPECT_FALSE(QFile::exists(target + QStringLiteral(".tmp")));
    writeFile(target, "old");
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
    int compared = 0;
    for (const QString& name : QDir(corpus).entryList(QDir::Files)) {
        if (name.endsWith(QStringLiteral(".tsv")) || name.endsWith(QStringLiteral(".md")))
            continue;
        const QByteArray tiff = readFile(corpus + '/' + name);
        // Every file: the writer returns and leaves a sound PDF.
        const QString plain = dir + '/' + name + QStringLiteral(".pdf");
        tif_to_pdf(host, plain, corpus + '/' + name);
        EXPECT_TRUE(checkpdf(plain)) << name.toStdString();

        const auto info = readTiff(tiff);
        if (!info || info->compression != 4 || info->offsets.size() != 1 ||
            info->counts.size() != 1 || info->photometric != 0)
            continue;
        // Single-strip Group 4 images: as they stand when their strip starts at 256 .. 511,
        // and laid out as the office's files are at the ends and the middle of that range.
        std::vector<QByteArray> variants;
        if (info->offsets[0] >= 256 && info->offsets[0] <= 511)
            variants.push_back(tiff);
        for (uint32_t at : {256u, 300u, 511u})
            variants.push_back(relaid(tiff, *info, at));
        for (const QByteArray& variant : variants) {
            const QString in = dir + QStringLiteral("/variant.tif");
            writeFile(in, variant);
            const QString ours = dir + QStringLiteral("/ours.pdf");
            const QString theirs = dir + QStringLiteral("/theirs.pdf");
            QFile::remove(theirs);
            tif_to_pdf(host, ours, in);
            run(QStringLiteral("tiff2pdf"), {QStringLiteral("-o"), theirs, in});
            ASSERT_TRUE(QFile::exists(theirs)) << name.toStdString();
            // Half size or less, in even steps: the grid of a mask drawn 1:1 differs from that of
            // an image by a pixel here and there, which averages out in pairs.
            const int scale = 2 * (1 + std::max(info->width, info->height) / 1600);
            const int w = std::max(1, info->width / scale);
            const int h = std::max(1, info->height / scale);
            const auto a = render(ours, 1, 1, 0, w, h);
            const auto b = render(theirs, 1, 1, 0, w, h);
            ASSERT_EQ(a.size(), 1u);
            ASSERT_EQ(b.size(), 1u);
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
    const QString program = fakeConverter(dir, argsFile);
    auto args = [&] {
        return QString::fromLocal8Bit(readFile(argsFile)).split('\n', Qt::SkipEmptyParts);
    };

    tif2pdf(host, dir + QStringLiteral("/out put.pdf"), dir + QStringLiteral("/in.tif"), program);
    EXPECT_EQ(args(), QStringList({"-o", dir + "/out", "put.pdf", dir + "/in.tif"}));
    CNtif(host, dir + QStringLiteral("/g4 out.tif"), dir + QStringLiteral("/in put.tif"), program);
    EXPECT_EQ(args(),
              QStringList({"-r", "10000", "-c", "g4", dir + "/in put.tif", dir + "/g4 out.tif"}));

    // A program in a folder with a blank in its name is still found.
    QDir().mkpath(dir + QStringLiteral("/app folder"));
    const QString spaced = dir + QStringLiteral("/app folder/uspto.lib");
    QFile::copy(program, spaced);
    QFile::remove(argsFile);
    tif2pdf(host, dir + QStringLiteral("/a.pdf"), dir + QStringLiteral("/b.tif"), spaced);
    EXPECT_EQ(args(), QStringList({"-o", dir + "/a.pdf", dir + "/b.tif"}));
}

TEST(Converters, MissingOrBrokenProgramsJustReturn) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("conv-broken"));
    const QString empty = dir + QStringLiteral("/empty.lib");
    writeFile(empty, QByteArray());
    QFile::setPermissions(empty, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString notExecutable = dir + QStringLiteral("/plain.lib");
    writeFile(notExecutable, "#!/bin/sh\nexit 0\n");
    QElapsedTimer timer;
    timer.start();
    for (const QString& program :
         {dir + QStringLiteral("/missing.lib"), empty, notExecutable, QStringLiteral("/bin/true"),
          QStringLiteral("/bin/false"), QString()}) {
        tif2pdf(host, dir + QStringLiteral("/o.pdf"), dir + QStringLiteral("/i.tif"), program);
        CNtif(host, dir + QStringLiteral("/o.tif"), dir + QStringLiteral("/i.tif"), program);
    }
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_FALSE(QFile::exists(dir + QStringLiteral("/o.pdf")));
}

TEST(Converters, RealConvertersProduceMergeablePages) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("conv-real"));
    const QString uspto = dir + QStringLiteral("/uspto.lib");
    const QString cnpto = dir + QStringLiteral("/cnpto.lib");
    ASSERT_TRUE(QFile::copy(QStringLiteral("/usr/bin/tiff2pdf"), uspto));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/usr/bin/tiffcp"), cnpto));

    // An uncompressed bilevel page, 400 by 300, with four strips.
    QByteArray rows;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 50; ++x)
            rows += static_cast<char>((y / 20 + x / 5) % 2 ? 0xff : 0x00);
    std::vector<Entry> entries = {{256, 3, 400}, {257, 3, 300}, {258, 3, 1},
                                  {259, 3, 1},   {262, 3, 0},   {273, 4, 200},
                                  {277, 3, 1},   {278, 3, 75},  {279, 4, 3750}};
    QByteArray tiff = makeTiff(entries, 200, rows);
    // Four strip offsets and counts, stored behind the image.
    const qsizetype table = tiff.size();
    tiff += QByteArray(32, '\0');
    for (int i = 0; i < 4; ++i) {
        put32(tiff, table + 4 * i, 200 + 3750 * i);
        put32(tiff, table + 16 + 4 * i, 3750);
    }
    put32(tiff, 10 + 12 * 5 + 4, 4);
    put32(tiff, 10 + 12 * 5 + 8, static_cast<uint32_t>(table));
    put32(tiff, 10 + 12 * 8 + 4, 4);
    put32(tiff, 10 + 12 * 8 + 8, static_cast<uint32_t>(table + 16));
    const QString in = dir + QStringLiteral("/page one.tif");
    writeFile(in, tiff);

    const QString g4 = dir + QStringLiteral("/page one g4.tif");
    CNtif(host, g4, in, cnpto);
    const auto info = readTiff(readFile(g4));
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(info->compression, 4);
    EXPECT_EQ(info->offsets.size(), 1u);
    EXPECT_EQ(info->width, 400);

    // tif2pdf splits paths with blanks, so it gets paths without.
    QFile::copy(g4, dir + QStringLiteral("/g4.tif"));
    tif2pdf(host, dir + QStringLiteral("/page.pdf"), dir + QStringLiteral("/g4.tif"), uspto);
    EXPECT_TRUE(checkpdf(dir + QStringLiteral("/page.pdf")));
}
