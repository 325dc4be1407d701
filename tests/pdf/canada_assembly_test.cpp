// Cutting the Canadian section files into one-page PDFs, image by image.

#include "pdf/canada_assembly.h"
#include "pdf/pdf_library.h"

#include "pdf_test_util.h"

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

// A section file as the office sends it: one image object per page, LF line ends.
QByteArray sectionPdf(const QList<QByteArray>& images, const QByteArray& width = "1728") {
    QByteArray out = "%PDF-1.4\n1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    for (const QByteArray& data : images)
        out += "2 0 obj\n<< /Type /XObject /Subtype /Image /Width " + width +
               "\n/Height 2200 /BitsPerComponent 1 /DecodeParms << /K -1 /Columns " + width +
               " >> /Length " + QByteArray::number(data.size()) + " >>\nstream\n" + data +
               "\nendstream\nendobj\n";
    return out + "trailer\n<< /Root 1 0 R >>\n%%EOF\n";
}

} // namespace

TEST(CanadaAssembly, CutsSectionsIntoNumberedPagesWithEntries) {
    const QString dir = freshDir("canada"), src = dir + "/CA2000000", out = dir + "/page";
    // 1, 3 and 2 images; the disclosures and the drawings are missing.
    QList<QByteArray> images;
    for (const auto& [ending, count] : {std::pair{"_cov", 1}, {"_abs", 3}, {"_clm", 2}}) {
        QList<QByteArray> section;
        for (int i = 0; i < count; ++i)
            section << ending + QByteArray::number(i) + QByteArray(40 + i, 'g');
        write_file(src + ending + ".pdf", sectionPdf(section));
        images += section;
    }
    write_file(out, "old target");
    int32_t pages = -1;
    QString desc;
    can_to_pdf(out, src, pages, desc);
    EXPECT_EQ(pages, 6);
    EXPECT_EQ(desc, "1:Cover Page,2:Abstract,5:Claims");
    EXPECT_FALSE(QFile::exists(out));
    for (int n = 0; n < 6; ++n) {
        const QString page = out + QString("_%1.pdf").arg(n);
        // From the line end behind "stream" to the character before the one ahead of
        // "endstream".
        const PageImage image = skeletonImage(page);
        EXPECT_EQ(image.data, "\n" + images[n]) << n;
        EXPECT_TRUE(image.dictionary.contains("/Width 1728") &&
                    image.dictionary.contains("/Height 2200"))
            << n;
        EXPECT_EQ(qpdfPageCount(page), 1) << n;
    }
    EXPECT_FALSE(QFile::exists(out + "_6.pdf"));
    EXPECT_FALSE(QFile::exists(out + "_0.pdf.tmp"));
    EXPECT_TRUE(checkpdf(out + "_0.pdf"));

    // An incoming description gets a comma first.
    QString front = "1:Front";
    can_to_pdf(out, src, pages, front);
    EXPECT_EQ(front, "1:Front,1:Cover Page,2:Abstract,5:Claims");
}

TEST(CanadaAssembly, OddSectionsKeepTheirDocumentedQuirksAndEnd) {
    const QString dir = freshDir("canada-odd"), src = dir + "/CA1", out = dir + "/p";
    const QByteArray marker = "/DecodeParms << /K -1 /Columns ";
    // A cover without images still moves the page counter on; "864" takes the line end that
    // follows it as its fourth character.
    write_file(src + "_cov.pdf", "%PDF-1.4\n1 0 obj\n<< >>\nendobj\n");
    write_file(src + "_abs.pdf", sectionPdf({"tiny"}, "864"));
    // Markers without a stream, a stream that never ends, and noise.
    write_file(src + "_dis.pdf", marker + "1728 >>\n" + marker + "1728 >>\n");
    write_file(src + "_clm.pdf", "/Type /XObject /Width 1728 /Height 99 " + marker +
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
