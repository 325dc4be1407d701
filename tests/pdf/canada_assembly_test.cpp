// Cutting the Canadian section files into one-page PDFs, image by image.

#include "pdf/canada_assembly.h"
#include "pdf/pdf_library.h"

#include "pdf_test_util.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

QByteArray imageData(int section, int image) {
    return "G4-" + QByteArray::number(section) + "-" + QByteArray::number(image) + "-" +
           QByteArray(50 + image, static_cast<char>('a' + image));
}

// A section file as the office sends it: one image object per page, LF line ends.
QByteArray sectionPdf(const QList<QByteArray>& images, const QByteArray& width = "1728",
                      const QByteArray& height = "2200") {
    QByteArray out = "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n";
    int n = 3;
    for (const QByteArray& data : images) {
        out += QByteArray::number(n++) + " 0 obj\n<< /Type /XObject /Subtype /Image /Width " +
               width + "\n/Height " + height +
               " /BitsPerComponent 1 /Filter /CCITTFaxDecode /DecodeParms << /K -1 /Columns " +
               width + " >> /Length " + QByteArray::number(data.size()) + " >>\nstream\n" + data +
               "\nendstream\nendobj\n";
    }
    return out + "trailer\n<< /Root 1 0 R >>\n%%EOF\n";
}

// The one-page skeleton as documented, line by line, CR line ends.
QByteArray expectedPage(const QByteArray& width, const QByteArray& height,
                        const QByteArray& image) {
    QByteArray out;
    QList<qsizetype> at;
    auto lines = [&](std::initializer_list<QByteArray> list) {
        for (const QByteArray& l : list)
            out += l + '\r';
    };
    auto object = [&](std::initializer_list<QByteArray> list) {
        at << out.size();
        lines(list);
    };
    lines({"%PDF-1.1", "%\xBA\xBE\xFA\xCE"});
    object({"1 0 obj", "<<", "/CreationDate (D:20010802093604)", "/Producer (Tarnwell)",
            "/Author (EPO)", "/Creator (Convert v3.6)", "/Title (Patent document)", ">>",
            "endobj"});
    object({"2 0 obj", "/PDF /ImageB", "endobj"});
    object({"3 0 obj", "<<", "/Type /Catalog", "/Pages 4 0 R", ">>", "endobj"});
    object({"4 0 obj", "<<", "/Type /Pages", "/MediaBox [ 0 0  556  818 ]", "/Count 1",
            "/Kids [5 0 R]", ">>", "endobj"});
    object({"5 0 obj", "<<", "/Type /Page", "/Parent 4 0 R",
            "/Resources << /XObject << /Im1 7 0 R >> /ProcSet 2 0 R >>", "/Contents [ 6 0 R ]",
            ">>", "endobj"});
    object({"6 0 obj", "<< /Length  159>>", "stream", "%place page marking operators here",
            "q      % Save state",
            "   591 0 0    778 0.0 0.0 cm  % xscale,?, ?,yscale, xoffset, yoffset (MediaBox "
            "units(points))",
            "/Im1 Do", "Q", "endstream", "endobj"});
    object({"7 0 obj", "<<", "/Type /XObject /Subtype /Image /Name /Im1", "/ColorSpace /DeviceGray",
            "/Width " + width + " /Height " + height + " /BitsPerComponent 1",
            "/Filter /CCITTFaxDecode ", "/DecodeParms << /K -1 /Columns " + width + " >>",
            "/Length " + QByteArray::number(image.size()) + " >>", "stream"});
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
    return out;
}

} // namespace

TEST(CanadaAssembly, CutsSectionsIntoNumberedPagesWithEntries) {
    const QString dir = freshDir(QStringLiteral("canada"));
    const QString src = dir + QStringLiteral("/CA2000000");
    const QString out = dir + QStringLiteral("/page");
    // 1, 3 and 2 images; the disclosures and the drawings are missing.
    const std::pair<const char*, int> sections[] = {{"_cov", 1}, {"_abs", 3}, {"_clm", 2}};
    QList<QByteArray> expectedImages;
    int s = 0;
    for (const auto& [ending, count] : sections) {
        QList<QByteArray> images;
        for (int i = 0; i < count; ++i)
            images << imageData(s, i);
        writeFile(src + QLatin1String(ending) + QStringLiteral(".pdf"), sectionPdf(images));
        // The image runs from the line end behind "stream" up to the line end before
        // "endstream", which stays behind.
        for (const QByteArray& data : images)
            expectedImages << "\n" + data;
        ++s;
    }
    writeFile(out, "old target");
    int32_t pages = -1;
    QString desc;
    can_to_pdf(out, src, pages, desc);
    EXPECT_EQ(pages, 6);
    EXPECT_EQ(desc, QStringLiteral("1:Cover Page,2:Abstract,5:Claims"));
    EXPECT_FALSE(QFile::exists(out));
    for (int n = 0; n < 6; ++n) {
        const QString page = out + QStringLiteral("_%1.pdf").arg(n);
        EXPECT_EQ(readFile(page), expectedPage("1728", "2200", expectedImages[n])) << n;
        EXPECT_FALSE(QFile::exists(page + QStringLiteral(".tmp")));
    }
    EXPECT_FALSE(QFile::exists(out + QStringLiteral("_6.pdf")));
    EXPECT_TRUE(checkpdf(out + QStringLiteral("_0.pdf")));

    // An incoming description gets a comma first.
    QString front = QStringLiteral("1:Front");
    can_to_pdf(out, src, pages, front);
    EXPECT_EQ(front, QStringLiteral("1:Front,1:Cover Page,2:Abstract,5:Claims"));
}

TEST(CanadaAssembly, SizesAreFourCharactersAndEmptySectionsUseANumber) {
    const QString dir = freshDir(QStringLiteral("canada-sizes"));
    const QString src = dir + QStringLiteral("/CA1");
    const QString out = dir + QStringLiteral("/p");
    // A cover without any image still moves the page counter on.
    writeFile(src + QStringLiteral("_cov.pdf"), "%PDF-1.4\n1 0 obj\n<< >>\nendobj\n");
    writeFile(src + QStringLiteral("_abs.pdf"), sectionPdf({"tiny"}, "864", "1100"));
    int32_t pages = 0;
    QString desc;
    can_to_pdf(out, src, pages, desc);
    EXPECT_EQ(desc, QStringLiteral("2:Abstract"));
    EXPECT_EQ(pages, 2);
    EXPECT_FALSE(QFile::exists(out + QStringLiteral("_0.pdf")));
    // "864" is followed by the line end, which comes along; "1100" fills its four places.
    EXPECT_EQ(readFile(out + QStringLiteral("_1.pdf")), expectedPage("864\n", "1100", "\ntiny"));
}

TEST(CanadaAssembly, DamagedSectionsEndWithoutHanging) {
    const QString dir = freshDir(QStringLiteral("canada-damaged"));
    const QString src = dir + QStringLiteral("/CA2");
    const QString out = dir + QStringLiteral("/p");
    const QByteArray marker = "/DecodeParms << /K -1 /Columns ";
    // Markers without a stream, a stream that never ends, and markers only.
    writeFile(src + QStringLiteral("_cov.pdf"), marker + "1728 >>\n" + marker + "1728 >>\n");
    writeFile(src + QStringLiteral("_abs.pdf"),
              "/Type /XObject /Width 1728 /Height 99 " + marker + "1728 >>\nstream\nunending data");
    writeFile(src + QStringLiteral("_dis.pdf"), marker);
    writeFile(src + QStringLiteral("_clm.pdf"), QByteArray(3000, '\xff'));
    int32_t pages = 0;
    QString desc;
    can_to_pdf(out, src, pages, desc);
    EXPECT_EQ(desc, QStringLiteral("1:Cover Page,2:Abstract,3:Disclosures"));
    EXPECT_EQ(pages, 3);
    EXPECT_EQ(readFile(out + QStringLiteral("_1.pdf")),
              expectedPage("1728", "99 " + marker.left(1), "\nunending data"));
    for (int n = 0; n < 3; ++n)
        EXPECT_TRUE(checkpdf(out + QStringLiteral("_%1.pdf").arg(n))) << n;
}
