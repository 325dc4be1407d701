// The hand-written one-page PDFs: from a TIFF, and cut out of the Canadian section files
// image by image. The converter programs are run for real by the USPTO and SIPO tests.

#include "pdf/canada_assembly.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <gtest/gtest.h>

using namespace pdftest;

// Whatever the input, qpdf reads one page without fault; its image has the dictionary values
// and the very bytes that the reading rules of the TIFF give (the factor 255 puts a strip at
// 200 one byte late and one at 600 one byte early; width 0: any values).
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
        {"empty", QByteArray(), 2320, 3408, 0},
        {"no tags", QByteArray("II*\0\x08\0\0\0\0\0", 10), 2320, 3408, 1},
        {"offset past the end", makeTiff(1728, 2200, 480, QByteArray()).left(300), 1728, 2200, 480},
        {"garbage", pattern(15000), 0, 0, 0},
        {"big-endian", makeTiff(1728, 2200, 300, strip).replace(0, 4, QByteArray("MM\0*", 4)), 0, 0,
         0},
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
        EXPECT_FALSE(QFile::exists(out + ".tmp"));
        if (c.width == 0)
            continue;
        const PageImage image = skeletonImage(out);
        EXPECT_EQ(image.data, c.tiff.mid(c.imageFrom));
        const QByteArray w = QByteArray::number(c.width);
        for (const QByteArray& entry :
             {"/Width " + w, "/Columns " + w, "/Height " + QByteArray::number(c.height)})
            EXPECT_TRUE(image.dictionary.contains(entry)) << entry.constData();
    }
    // The objects stand at their fixed places, lines ending in a single CR.
    const QByteArray bytes = read_file(out);
    EXPECT_EQ(bytes.mid(15, 8), "1 0 obj\r");
    EXPECT_EQ(bytes.mid(512, 8), "7 0 obj\r");

    // A missing source gives the defaults and no image; old files go first, and the old
    // target goes even when the new file cannot be written.
    write_file(out, "old");
    write_file(out + ".tmp", "stale");
    tif_to_pdf(host, out, dir + "/none.tif");
    EXPECT_EQ(skeletonImage(out).data, QByteArray());
    EXPECT_FALSE(QFile::exists(out + ".tmp"));
    QDir().mkpath(out + ".tmp/blocker");
    tif_to_pdf(host, out, dir + "/none.tif");
    EXPECT_FALSE(QFile::exists(out));
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

        // Tag number: (count, first value) of the first directory, from tiffdump.
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
            tag(262) != 0)
            continue;
        QByteArray strip = read_file(corpus.filePath(name)).mid(tag(273), tag(279));
        for (char& c : strip)
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

namespace {

const QByteArray kMarker = "/DecodeParms << /K -1 /Columns ";

// A section file as the office sends it: one image object per page, LF line ends.
QByteArray sectionPdf(const QList<QByteArray>& images, const QByteArray& width = "1728") {
    QByteArray out = "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    for (const QByteArray& data : images)
        out += "2 0 obj\n<< /Type /XObject /Subtype /Image /Width " + width +
               "\n/Height 2200 /BitsPerComponent 1 " + kMarker + width + " >> /Length " +
               QByteArray::number(data.size()) + " >>\nstream\n" + data + "\nendstream\nendobj\n";
    return out + "trailer\n<< /Root 1 0 R >>\n%%EOF\n";
}

} // namespace

TEST(CanadaAssembly, CutsSectionsIntoNumberedPagesWithEntries) {
    const QString dir = freshDir("canada"), src = dir + "/CA2000000", out = dir + "/page";
    // 1, 3, 1 and 2 images in the order of work; the drawings are missing.
    QList<QByteArray> images;
    for (const auto& [ending, count] :
         {std::pair{"_cov", 1}, {"_abs", 3}, {"_dis", 1}, {"_clm", 2}}) {
        QList<QByteArray> section;
        for (int i = 0; i < count; ++i)
            section << ending + QByteArray::number(i) + QByteArray(40 + i, 'g');
        write_file(src + ending + ".pdf", sectionPdf(section));
        images += section;
    }
    write_file(out, "old target");
    int32_t pages = -1;
    QString desc = "1:Front"; // an incoming description gets a comma first
    can_to_pdf(out, src, pages, desc);
    EXPECT_EQ(pages, 7);
    EXPECT_EQ(desc, "1:Front,1:Cover Page,2:Abstract,5:Disclosures,6:Claims");
    EXPECT_FALSE(QFile::exists(out));
    for (int n = 0; n < 7; ++n) {
        // From the line end behind "stream" to the character before the one ahead of
        // "endstream".
        const QString page = out + QString("_%1.pdf").arg(n);
        const PageImage image = skeletonImage(page);
        EXPECT_EQ(image.data, "\n" + images[n]) << n;
        EXPECT_TRUE(image.dictionary.contains("/Width 1728") &&
                    image.dictionary.contains("/Height 2200"))
            << n;
        EXPECT_EQ(qpdfPageCount(page), 1) << n;
        EXPECT_FALSE(QFile::exists(page + ".tmp"));
    }
    EXPECT_FALSE(QFile::exists(out + "_7.pdf"));
    EXPECT_TRUE(checkpdf(out + "_0.pdf"));
}

TEST(CanadaAssembly, OddSectionsKeepTheirDocumentedQuirksAndEnd) {
    const QString dir = freshDir("canada-odd"), src = dir + "/CA1", out = dir + "/p";
    // A cover without images still moves the page counter on; "864" takes the line end that
    // follows it as its fourth character.
    write_file(src + "_cov.pdf", "%PDF-1.4\n1 0 obj\n<< >>\nendobj\n");
    write_file(src + "_abs.pdf", sectionPdf({"tiny"}, "864"));
    // Markers without a stream, a stream that never ends, and noise.
    write_file(src + "_dis.pdf", kMarker + "1728 >>\n" + kMarker + "1728 >>\n");
    write_file(src + "_clm.pdf", "/Type /XObject /Width 1728 /Height 99 " + kMarker +
                                     "1728 >>\nstream\nunending data");
    write_file(src + "_drw.pdf", QByteArray(3000, '\xff'));
    int32_t pages = 0;
    QString desc;
    can_to_pdf(out, src, pages, desc);
    EXPECT_EQ(desc, "2:Abstract,3:Disclosures,4:Claims");
    EXPECT_EQ(pages, 4);
    EXPECT_FALSE(QFile::exists(out + "_0.pdf"));
    EXPECT_TRUE(read_file(out + "_1.pdf").contains("/Width 864\n /Height 2200 "));
    EXPECT_EQ(skeletonImage(out + "_1.pdf").data, "\ntiny");
    EXPECT_TRUE(read_file(out + "_3.pdf").contains("/Width 1728 /Height 99 / "));
    EXPECT_EQ(skeletonImage(out + "_3.pdf").data, "\nunending data");
    for (int n = 1; n <= 3; ++n)
        EXPECT_TRUE(checkpdf(out + QString("_%1.pdf").arg(n))) << n;
}
