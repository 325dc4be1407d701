// The hand-written one-page PDF from a TIFF, and the two converter programs.

#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <map>

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

// The first directory of a little-endian TIFF as tiffdump reads it: for each tag the number
// of values and the first of them.
std::map<int, std::pair<int, uint32_t>> tiffTags(const QString& path) {
    static const QRegularExpression entry("^\\w+ \\((\\d+)\\) \\w+ \\(\\d+\\) (\\d+)<(\\d+)",
                                          QRegularExpression::MultilineOption);
    const QString dump = QString::fromLatin1(run("tiffdump", {path}).out);
    std::map<int, std::pair<int, uint32_t>> tags;
    for (auto it = entry.globalMatch(dump.section("Directory 1:", 0, 0)); it.hasNext();) {
        const auto m = it.next();
        tags[m.captured(1).toInt()] = {m.captured(2).toInt(), m.captured(3).toUInt()};
    }
    return dump.contains("<little-endian>") ? tags : decltype(tags)();
}

} // namespace

TEST(TiffWriter, WritesTheSkeletonByteForByte) {
    const QByteArray strip = pattern(1000);
    std::vector<TiffEntry> noWidth = g4Entries(1728, 2200, 300, 1000);
    noWidth.erase(noWidth.begin());
    auto g4 = [&](uint32_t w, uint32_t h, uint32_t at) {
        return makeTiff(g4Entries(w, h, at, 1000), at, strip);
    };
    struct Case {
        const char* name;
        QByteArray tiff;
        int width, height;
        qsizetype imageFrom;
    } cases[] = {
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
    const QString dir = freshDir("tif-bytes");
    const QString in = dir + "/in.tif", out = dir + "/out.pdf";
    for (const Case& c : cases) {
        writeFile(in, c.tiff);
        tif_to_pdf(host, out, in);
        EXPECT_EQ(readFile(out), expectedPdf(c.width, c.height, c.tiff.mid(c.imageFrom))) << c.name;
        EXPECT_FALSE(QFile::exists(out + ".tmp")) << c.name;
    }
    // The fixed places of the objects.
    QList<qsizetype> offsets;
    expectedPdf(1728, 2200, strip, &offsets);
    EXPECT_EQ(offsets, QList<qsizetype>({15, 145, 177, 226, 311, 436, 512}));
    EXPECT_TRUE(checkpdf(out));
}

TEST(TiffWriter, AnyInputGivesASoundPdfAndOldFilesGo) {
    HeadlessHost host;
    const QString dir = freshDir("tif-bad");
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
        writeFile(dir + "/in.tif", bytes);
        tif_to_pdf(host, dir + '/' + name + ".pdf", dir + "/in.tif");
        EXPECT_TRUE(checkpdf(dir + '/' + name + ".pdf")) << name;
    }
    // A missing source gives the defaults and no image; old files go first, and the old
    // target goes even when the new file cannot be written.
    const QString target = dir + "/old.pdf";
    writeFile(target, "old");
    writeFile(target + ".tmp", "stale");
    tif_to_pdf(host, target, dir + "/none.tif");
    EXPECT_EQ(readFile(target), expectedPdf(2320, 3408, QByteArray()));
    EXPECT_FALSE(QFile::exists(target + ".tmp"));
    QDir().mkpath(target + ".tmp/blocker");
    tif_to_pdf(host, target, dir + "/none.tif");
    EXPECT_FALSE(QFile::exists(target));
}

TEST(TiffWriter, CorpusImagesRenderLikeTheConvertersPdf) {
    const QString corpus = corpusDir("tiff");
    if (corpus.isEmpty())
        GTEST_SKIP() << "the shared corpus folder " BQ_SHARED_DIR "/corpus/tiff is absent";
    HeadlessHost host;
    const QString dir = freshDir("tif-corpus");
    const QString in = dir + "/variant.tif", ours = dir + "/ours.pdf", theirs = dir + "/theirs.pdf";
    int compared = 0;
    for (const QString& name : QDir(corpus).entryList({"*.tif", "*.tiff"}, QDir::Files)) {
        // Every file: the writer returns and leaves a sound PDF.
        tif_to_pdf(host, ours, corpus + '/' + name);
        EXPECT_TRUE(checkpdf(ours)) << name.toStdString();

        auto tags = tiffTags(corpus + '/' + name);
        auto tag = [&](int t) { return tags.count(t) ? tags[t].second : 99u; };
        if (tag(259) != 4 || tags[273].first != 1 || tags[279].first != 1 || tag(262) != 0)
            continue;
        // Single-strip Group 4 images: as they stand when the strip starts at 256 .. 511, and
        // laid out as the office's files are (directory first, the strip with its bits turned
        // round when they run least-significant first) at both ends and inside that range.
        const QByteArray tiff = readFile(corpus + '/' + name);
        const int width = tag(256), height = tag(257);
        std::vector<QByteArray> variants;
        if (tag(273) >= 256 && tag(273) <= 511)
            variants.push_back(tiff);
        QByteArray strip = tiff.mid(tag(273), tag(279));
        for (char& c : strip) {
            uchar r = 0;
            for (int i = 0; i < 8 && tag(266) == 2; ++i)
                r |= ((static_cast<uchar>(c) >> i) & 1) << (7 - i);
            c = tag(266) == 2 ? static_cast<char>(r) : c;
        }
        for (uint32_t at : {256u, 300u, 511u})
            variants.push_back(makeTiff(g4Entries(width, height, at, strip.size()), at, strip));
        for (const QByteArray& variant : variants) {
            writeFile(in, variant);
            QFile::remove(theirs);
            tif_to_pdf(host, ours, in);
            run("tiff2pdf", {"-o", theirs, in});
            // Half size or less, in even steps: an image mask drawn 1:1 lands a pixel off
            // here and there against an image, which averages out in pairs.
            const int scale = 2 * (1 + std::max(width, height) / 1600);
            const QStringList size = {"-scale-to-x", QString::number(std::max(1, width / scale)),
                                      "-scale-to-y", QString::number(std::max(1, height / scale))};
            const auto a = render(ours, 1, size), b = render(theirs, 1, size);
            ASSERT_TRUE(a.size() == 1 && b.size() == 1) << name.toStdString();
            EXPECT_LE(differingShare(a[0], b[0], 64), 0.01) << name.toStdString();
            ++compared;
        }
    }
    EXPECT_GT(compared, 0);
}

TEST(Converters, CommandLinesReachTheProgramAsDocumented) {
    HeadlessHost host;
    const QString dir = freshDir("conv-args");
    const QString argsFile = dir + "/args.txt", program = dir + "/fake.lib";
    // It takes a moment, so the callers must wait for it.
    writeFile(program,
              "#!/bin/sh\nsleep 0.2\nprintf '%s\\n' \"$@\" > '" + argsFile.toLocal8Bit() + "'\n");
    QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    auto args = [&] { return QString::fromLocal8Bit(readFile(argsFile)).split('\n'); };

    tif2pdf(host, dir + "/out put.pdf", dir + "/in.tif", program);
    EXPECT_EQ(args(), QStringList({"-o", dir + "/out", "put.pdf", dir + "/in.tif", ""}));
    CNtif(host, dir + "/g4 out.tif", dir + "/in put.tif", program);
    EXPECT_EQ(args(), QStringList({"-r", "10000", "-c", "g4", dir + "/in put.tif",
                                   dir + "/g4 out.tif", ""}));
    // A program in a folder with a blank in its name is still found.
    QDir().mkpath(dir + "/app folder");
    QFile::copy(program, dir + "/app folder/uspto.lib");
    tif2pdf(host, dir + "/a.pdf", dir + "/b.tif", dir + "/app folder/uspto.lib");
    EXPECT_EQ(args(), QStringList({"-o", dir + "/a.pdf", dir + "/b.tif", ""}));

    // Missing, empty, not executable or at once ending programs just return.
    const QString empty = dir + "/empty.lib", plain = dir + "/plain.lib";
    writeFile(empty, QByteArray());
    QFile::setPermissions(empty, QFile::ReadOwner | QFile::ExeOwner);
    writeFile(plain, "#!/bin/sh\nexit 0\n");
    QElapsedTimer timer;
    timer.start();
    for (const QString& broken :
         {dir + "/missing.lib", empty, plain, QString("/bin/false"), QString()}) {
        tif2pdf(host, dir + "/o.pdf", dir + "/i.tif", broken);
        CNtif(host, dir + "/o.tif", dir + "/i.tif", broken);
    }
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_FALSE(QFile::exists(dir + "/o.pdf"));
}
