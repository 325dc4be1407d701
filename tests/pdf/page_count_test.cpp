// The page count and the bookmark rewrite, which read the system's own PDFs as text.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QLocale>

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

// The last cross-reference table of a file: the count of its head "0 M", and for each line
// the number of the object header found at its offset ("?" for none).
std::pair<int, QStringList> tableOf(const QByteArray& pdf) {
    const qsizetype at = pdf.lastIndexOf("\r\nxref\r\n0 ") + 10;
    std::pair<int, QStringList> t{pdf.mid(at, pdf.indexOf('\r', at) - at).toInt(), {}};
    for (qsizetype line = pdf.indexOf("65535 f\r\n", at) + 9;
         pdf.mid(line + 10, 10) == " 00000 n\r\n"; line += 20) {
        const qsizetype offset = pdf.mid(line, 10).toLongLong(),
                        obj = pdf.indexOf(" 0 obj", offset);
        const bool header = obj > offset && pdf.mid(offset - 2, 2) == "\r\n";
        t.second << (header ? QString::fromLatin1(pdf.mid(offset, obj - offset)) : "?");
    }
    return t;
}

QStringList range(int from, int to, QStringList without = {}) {
    QStringList n;
    for (int i = from; i <= to; ++i)
        if (!without.contains(QString::number(i)))
            n << QString::number(i);
    return n;
}

} // namespace

TEST(PageCount, CountsPageLinesOrTellsMegabytes) {
    HeadlessHost host;
    const QString dir = freshDir("numpages");
    auto padded = [](qsizetype size, int pages) {
        const QByteArray data = QByteArray("\r\n/Type /Page\r\n").repeated(pages);
        return data + QByteArray(size - data.size(), ' ');
    };
    auto megabytes = [](double value) { return QLocale::system().toString(value, 'f', 2) + " MB"; };
    pdf2fp(sample(dir, "src", 3), dir + "/one.pdf");
    write_file(dir + "/page.tif", makeTiff(640, 480, 300, "data"));
    tif_to_pdf(host, dir + "/tif.pdf", dir + "/page.tif");
    write_file(dir + "/lf.pdf", "x\n/Type /Page\n/Type /Pages\n");
    write_file(dir + "/below.pdf", padded(9999999, 5));
    write_file(dir + "/limit.pdf", padded(10000000, 5));
    write_file(dir + "/plain.pdf", QByteArray(1234567, 'x'));
    const std::pair<const char*, QString> cases[] = {
        {"one.pdf", "1 Pages"},
        // The CR-only file of the TIFF writer counts its "/Type /Pages" line as well.
        {"tif.pdf", "2 Pages"},
        {"lf.pdf", "2 Pages"},
        {"below.pdf", "5 Pages"},
        {"limit.pdf", megabytes(10.0)},
        {"plain.pdf", megabytes(1.23)},
        {"no/such/folder.pdf", megabytes(0.0)},
        {"absent.pdf", megabytes(0.0)},
    };
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(pdfnumpages(dir + '/' + name), expected) << name;
    EXPECT_EQ(QFileInfo(dir + "/absent.pdf").size(), 0); // created, empty
    EXPECT_TRUE(QFileInfo(dir + "/absent.pdf").isFile());
}

// Readers see the outline of a joined document: titles from behind the first colon, pages
// from the number before it (blanks allowed, no digits read as 0) less one. Items are chained
// by their places in the list, so an empty first or last place names a neighbour that is
// the outline root or no object at all.
TEST(Bookmarks, JoinedDocumentShowsItsOutlineToReaders) {
    const QString dir = freshDir("bookmark-outline");
    ASSERT_TRUE(joinWhole(dir + "/joined.pdf", {sample(dir, "src", 10)}));
    const QByteArray joined = read_file(dir + "/joined.pdf");
    const int size = tableOf(joined).first;
    const struct {
        const char* bookmarks;
        QStringList outline;
        QByteArray holds; // a neighbour that a quirk names
    } cases[] = {
        {"1:Abstract,3:Description,6:Claims", {"Abstract:0", "Description:2", "Claims:5"}, ""},
        {" 2 :Spaced , 3:x,,4:After gap", {"Spaced :1", "x:2", "After gap:3"}, ""},
        {"7:A:B", {"A:B:6"}, ""},
        {"0:Front,x:No number,:Empty,-2:Negative",
         {"Front:-1", "No number:-1", "Empty:-1", "Negative:-3"},
         ""},
        {"1:Abstract,", {"Abstract:0"}, "/Next " + QByteArray::number(size + 3) + " 0 R"},
        {",5:Correction", {"Correction:4"}, "/Prev " + QByteArray::number(size + 1) + " 0 R"},
    };
    HeadlessHost host;
    host.setStatus("kept");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bookmarks);
        const QString path = dir + "/EP1.pdf";
        write_file(path, joined);
        AddBookmark(host, path, "EP1234567A1", c.bookmarks);
        EXPECT_EQ(qpdfOutline(path), c.outline);
        EXPECT_TRUE(qpdfChecks(path));
        EXPECT_EQ(qpdfPageCount(path), 10);
        const QByteArray out = read_file(path);
        EXPECT_TRUE(out.contains("/Title (EP1234567A1)"));
        EXPECT_TRUE(out.contains("/Count " + QByteArray::number(c.outline.size()) + "\r\n"));
        EXPECT_TRUE(out.contains(c.holds));
        EXPECT_EQ(host.status(), "kept");
    }
}

// Old /Size 20 and "1:Abstract,9:Claims": information 20, outline root 21, items 22 and 23,
// and the table and the trailer say 24. Object headers are found after CR LF, each number
// at its first place; numbers without a header get no line, so later lines move up.
TEST(Bookmarks, TableListsTheHeadersItFinds) {
    QByteArray file = "%PDF-1.4\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n";
    for (const QString& n : range(2, 19, {"4", "7"}))
        file += n.toLatin1() + " 0 obj\r\n(" + n.toLatin1() + ")\r\nendobj\r\n";
    // A second header of 2, one with a leading zero, one after LF alone.
    file += "2 0 obj\r\n(again)\r\n007 0 obj\r\n\n4 0 obj\r\n";
    file += "xref\r\n0 20\r\ntrailer\r\n<< /Size  20\r\n/Root 1 0 R\r\n>>\r\n";
    const QString path = freshDir("bookmark-table") + "/EP1.pdf";
    write_file(path, file);
    HeadlessHost host;
    AddBookmark(host, path, "EP1", "1:Abstract,9:Claims");
    const QByteArray out = read_file(path);
    EXPECT_EQ(tableOf(out), std::pair(24, range(1, 23, {"4", "7"})));
    EXPECT_TRUE(out.contains("\r\n/Size 24\r\n/Root 1 0 R\r\n/Info 20 0 R\r\n"));
    EXPECT_TRUE(out.contains("\r\n/Outlines 21 0 R\r\n") && out.contains("\r\n22 0 obj\r\n"));
    const qsizetype startxref = out.lastIndexOf("startxref\r\n") + 11;
    EXPECT_EQ(out.mid(out.mid(startxref, out.indexOf('\r', startxref) - startxref).toInt(), 6),
              "xref\r\n");

    // 30000 objects, the table still complete.
    QByteArray big = "%PDF-1.4\r\n";
    for (int n = 1; n <= 30000; ++n)
        big += QByteArray::number(n) + " 0 obj\r\n<< >>\r\nendobj\r\n";
    write_file(path, big + "xref\r\ntrailer\r\n<<\r\n/Size 30001\r\n/Root 1 0 R\r\n>>\r\n");
    AddBookmark(host, path, "EP1", "1:A,2:B");
    EXPECT_EQ(tableOf(read_file(path)), std::pair(30005, range(1, 30004)));
}

// A file the rewrite can't read stays exactly as it was; what it writes goes over the old
// content without cutting it short, and files with LF line ends get a table without their
// objects.
TEST(Bookmarks, FilesLeftAloneAndOldBytesBeyondTheNewEnd) {
    const QByteArray big = "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size 3276";
    const std::pair<const char*, QByteArray> alone[] = {
        {"no xref", "%PDF-1.4\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n"},
        {"empty", QByteArray()},
        {"size and root on one line",
         "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<< /Size 2 /Root 1 0 R >>"},
        {"size negative", "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size -3\r\n>>"},
        // Two items would take the highest number to 32767.
        {"too many objects", big + "3\r\n>>"},
    };
    const QString dir = freshDir("bookmark-alone");
    HeadlessHost host;
    for (const auto& [name, bytes] : alone) {
        write_file(dir + "/f.pdf", bytes);
        AddBookmark(host, dir + "/f.pdf", "EP1", "1:A,2:B");
        EXPECT_EQ(read_file(dir + "/f.pdf"), bytes) << name;
    }
    write_file(dir + "/f.pdf", big + "2\r\n>>");
    AddBookmark(host, dir + "/f.pdf", "EP1", "1:A,2:B");
    EXPECT_TRUE(read_file(dir + "/f.pdf").contains("\r\n/Size 32766\r\n"));
    AddBookmark(host, dir + "/absent.pdf", "EP1", "1:Abstract");
    EXPECT_FALSE(QFile::exists(dir + "/absent.pdf"));

    // LF line ends and a long old table: the new table holds only the new objects that follow
    // a CR LF (the information object follows an LF), and the old last bytes stay behind its
    // end.
    const QByteArray lf = read_file(sample(dir, "lf", 26)).replace("\r\n", "\n");
    write_file(dir + "/lf.pdf", lf);
    AddBookmark(host, dir + "/lf.pdf", "EP1", "1:A");
    const QByteArray out = read_file(dir + "/lf.pdf");
    EXPECT_EQ(tableOf(out).second, range(4 + 3 * 26 + 1, 4 + 3 * 26 + 2));
    const qsizetype end = out.indexOf("%%EOF\r\n") + 7;
    EXPECT_EQ(out.size(), lf.size());
    EXPECT_EQ(out.mid(end), lf.mid(end));
}
