// The hand-written one-page PDF from a TIFF. The converter programs are run for real by the
// USPTO and SIPO tests.

#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <gtest/gtest.h>

using namespace pdftest;

// What qpdf reads in the written file: one page whose image has the dictionary values and
// the very bytes that the reading rules of the TIFF give (the factor 255 puts a strip at
// 200 one byte late and one at 600 one byte early).
TEST(TiffWriter, ImageBytesAndSizeAsTheReadingRulesGiveThem) {
    const QByteArray strip = pattern(1000);
    const struct {
        const char* name;
        QByteArray tiff;
        int width, height;
        qsizetype imageFrom;
    } cases[] = {
        {"strip at 300", makeTiff(1728, 2200, 300, strip), 1728, 2200, 300},
        {"strip at 200", makeTiff(1728, 2200, 200, strip), 1728, 2200, 201},
        {"strip at 600", makeTiff(1728, 2200, 600, strip), 1728, 2200, 599},
        {"width 40000 reads negative", makeTiff(40000, 2200, 300, strip), 2320, 2200, 300},
        {"height 40", makeTiff(1728, 40, 300, strip), 1728, 3408, 300},
        {"no width entry", makeTiff(0, 2200, 300, strip), 2320, 2200, 300},
        // Width 273 is the byte pair 17, 1: found first, its "offset" comes from the count
        // field of the next entry (1, 0), so the image starts at byte 2.
        {"pair 17, 1 ahead", makeTiff(273, 2200, 300, strip), 273, 2200, 2},
        {"past the 150000 flush", makeTiff(2560, 3300, 300, pattern(400000)), 2560, 3300, 300},
    };
    HeadlessHost host;
    const QString dir = freshDir("tif");
    const QString in = dir + "/in.tif", out = dir + "/out.pdf";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        write_file(in, c.tiff);
        tif_to_pdf(host, out, in);
        EXPECT_TRUE(qpdfChecks(out, "stream keyword followed by carriage return only"));
        EXPECT_EQ(qpdfPageCount(out), 1);
        const PageImage image = skeletonImage(out);
        EXPECT_EQ(image.data, c.tiff.mid(c.imageFrom));
        const QByteArray w = QByteArray::number(c.width);
        for (const QByteArray& entry :
             {"/Width " + w, "/Columns " + w, "/Height " + QByteArray::number(c.height)})
            EXPECT_TRUE(image.dictionary.contains(entry)) << entry.constData();
        EXPECT_FALSE(QFile::exists(out + ".tmp"));
    }
    // The objects stand at their fixed places, lines ending in a single CR.
    const QByteArray bytes = read_file(out);
    EXPECT_EQ(bytes.mid(15, 8), "1 0 obj\r");
    EXPECT_EQ(bytes.mid(512, 8), "7 0 obj\r");
}

TEST(TiffWriter, AnyInputGivesASoundPdfAndOldFilesGo) {
    HeadlessHost host;
    const QString dir = freshDir("tif-bad");
    QByteArray bigEndian = makeTiff(1728, 2200, 300, pattern(1000));
    bigEndian.replace(0, 4, QByteArray("MM\0*", 4));
    const std::pair<const char*, QByteArray> inputs[] = {
        {"empty", QByteArray()},
        {"five bytes", "II*\0\x08"},
        {"garbage", pattern(15000)},
        {"big-endian", bigEndian},
        {"no tags", QByteArray("II*\0\x08\0\0\0\0\0", 10)},
        {"offset past the end", makeTiff(1728, 2200, 480, QByteArray()).left(300)},
    };
    for (const auto& [name, bytes] : inputs) {
        write_file(dir + "/in.tif", bytes);
        tif_to_pdf(host, dir + '/' + name + ".pdf", dir + "/in.tif");
        EXPECT_TRUE(checkpdf(dir + '/' + name + ".pdf")) << name;
    }
    // A missing source gives the defaults and no image; old files go first, and the old
    // target goes even when the new file cannot be written.
    const QString target = dir + "/old.pdf";
    write_file(target, "old");
    write_file(target + ".tmp", "stale");
    tif_to_pdf(host, target, dir + "/none.tif");
    const PageImage image = skeletonImage(target);
    EXPECT_TRUE(image.dictionary.contains("/Width 2320") &&
                image.dictionary.contains("/Height 3408"))
        << image.dictionary.constData();
    EXPECT_EQ(image.data, QByteArray());
    EXPECT_FALSE(QFile::exists(target + ".tmp"));
    QDir().mkpath(target + ".tmp/blocker");
    tif_to_pdf(host, target, dir + "/none.tif");
    EXPECT_FALSE(QFile::exists(target));
}

// Single-strip Group 4 images of the corpus, laid out as the office's files are (directory
// first, the strip at byte 300 with its bits turned round when they run least-significant
// first), look the same as the converter's PDF of them; every corpus file gives a sound PDF.
TEST(TiffWriter, CorpusImagesRenderLikeTheConvertersPdf) {
    const QDir corpus(BQ_SHARED_DIR "/corpus/tiff");
    if (!corpus.exists())
        GTEST_SKIP() << "the shared corpus folder " BQ_SHARED_DIR "/corpus/tiff is absent";
    HeadlessHost host;
    const QString dir = freshDir("tif-corpus");
    const QString in = dir + "/variant.tif", ours = dir + "/ours.pdf", theirs = dir + "/theirs.pdf";
    int compared = 0;
    for (const QString& name : corpus.entryList({"*.tif", "*.tiff"}, QDir::Files)) {
        SCOPED_TRACE(name.toStdString());
        tif_to_pdf(host, ours, corpus.filePath(name));
        EXPECT_TRUE(checkpdf(ours));

        // Tag number: (count, first value), from tiffdump.
        std::map<int, std::pair<int, uint32_t>> tags;
        static const QRegularExpression entry("^\\w+ \\((\\d+)\\) \\w+ \\(\\d+\\) (\\d+)<(\\d+)",
                                              QRegularExpression::MultilineOption);
        const QString dump = QString::fromLatin1(run("tiffdump", {corpus.filePath(name)}).out);
        for (auto it = entry.globalMatch(dump.section("Directory 1:", 0, 0)); it.hasNext();) {
            const auto m = it.next();
            tags[m.captured(1).toInt()] = {m.captured(2).toInt(), m.captured(3).toUInt()};
        }
        auto tag = [&](int t) { return tags.count(t) ? tags[t].second : 99u; };
        if (!dump.contains("<little-endian>") || tag(259) != 4 || tags[273].first != 1 ||
            tags[279].first != 1 || tag(262) != 0)
            continue;
        QByteArray strip = read_file(corpus.filePath(name)).mid(tag(273), tag(279));
        for (char& c : strip) // bits turned round when they run least-significant first
            for (int i = 0, r = uchar(c); i < 8 && tag(266) == 2; ++i)
                c = char((i ? uchar(c) : 0) | ((r >> i) & 1) << (7 - i));
        const int width = tag(256), height = tag(257);
        write_file(in, makeTiff(width, height, 300, strip));
        QFile::remove(theirs);
        tif_to_pdf(host, ours, in);
        run("tiff2pdf", {"-o", theirs, in});
        // Half size or less, in even steps: an image mask drawn 1:1 lands a pixel off here
        // and there against an image, which averages out in pairs.
        const int scale = 2 * (1 + std::max(width, height) / 1600);
        const QStringList size = {"-scale-to-x", QString::number(std::max(1, width / scale)),
                                  "-scale-to-y", QString::number(std::max(1, height / scale))};
        const auto a = render(ours, 1, size), b = render(theirs, 1, size);
        ASSERT_TRUE(a.size() == 1 && b.size() == 1);
        EXPECT_LE(differingShare(a[0], b[0], 64), 0.01);
        ++compared;
    }
    EXPECT_GT(compared, 0);
}
