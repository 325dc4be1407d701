// The page-copying library and the procedures over it, on sample documents; the page count
// and the bookmark rewrite, which read the library's files as text.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QLocale>

#include <gtest/gtest.h>

using namespace pdftest;

TEST(PageCopying, RangesSelectPagesInCallOrderAndSourcesMayGoBeforeRelease) {
    const QString dir = freshDir("ranges");
    const struct {
        int32_t first, last;
        QStringList pages; // of abc before xy's two
    } cases[] = {
        {1, 1, {"abc 1"}},
        {1, -1, {"abc 1", "abc 2", "abc 3"}},
        {2, 3, {"abc 2", "abc 3"}},
        {2, 99, {"abc 2", "abc 3"}},
        {0, 1, {"abc 1"}},
        {4, 4, {}},
        {3, 2, {}},
    };
    for (const auto& c : cases) {
        const QString target = dir + QString("/out%1_%2.pdf").arg(c.first).arg(c.last);
        const int32_t h = PDocNew(0, 0, target);
        EXPECT_EQ(PDocMerge(h, sample(dir, "abc", 3), c.first, c.last) != 0, !c.pages.isEmpty());
        EXPECT_NE(PDocMerge(h, sample(dir, "xy", 2), 1, -1), 0);
        ASSERT_TRUE(QFile::remove(dir + "/abc.pdf") && QFile::remove(dir + "/xy.pdf"));
        EXPECT_FALSE(QFile::exists(target)); // complete only after the release
        PDocRelease(h);
        EXPECT_EQ(pageLabels(target), c.pages + QStringList({"xy 1", "xy 2"}))
            << c.first << ".." << c.last;
    }
}

TEST(PageCopying, UnreadableSourcesGiveZeroAndLeaveTheOutputAsItWas) {
    const QString dir = freshDir("bad"), good = sample(dir, "good", 2);
    const QByteArray valid = read_file(good);
    run("qpdf", {"--encrypt", "user", "owner", "256", "--", good, dir + "/locked.pdf"});
    const std::pair<const char*, QByteArray> sources[] = {
        {"html", "<html><body><h1>500 Internal Server Error</h1></body></html>\r\n"},
        {"empty", QByteArray()},
        {"truncated-at-first-object", valid.left(valid.indexOf("1 0 obj") + 10)},
        {"encrypted", read_file(dir + "/locked.pdf")},
    };
    ASSERT_FALSE(sources[3].second.isEmpty());
    for (const auto& [name, bytes] : sources) {
        const QString bad = dir + '/' + name + ".pdf", target = dir + "/out-" + name + ".pdf";
        write_file(bad, bytes);
        const int32_t h = PDocNew(0, 0, target);
        EXPECT_NE(PDocMerge(h, good, 1, 1), 0);
        EXPECT_EQ(PDocMerge(h, bad, 1, 1), 0) << name;
        EXPECT_EQ(PDocMerge(h, bad, 1, -1), 0) << name;
        EXPECT_NE(PDocMerge(h, good, 2, 2), 0);
        PDocRelease(h);
        EXPECT_EQ(pageLabels(target), QStringList({"good 1", "good 2"})) << name;
        EXPECT_FALSE(checkpdf(bad)) << name;
        EXPECT_FALSE(QFile::exists(bad + "_test.pdf")) << name;
    }
    // A missing file and an unknown handle.
    EXPECT_FALSE(checkpdf(dir + "/missing.pdf"));
    EXPECT_EQ(PDocMerge(987654, good, 1, 1), 0);
    PDocRelease(987654);
}

TEST(PageCopying, OutputKeepsItsLayoutWhateverTheSourceHolds) {
    // Source text that, copied as it stands, would mislead the text readers of the output: a
    // first "xref", object headers, page and catalog lines inside stream data, "xref" in a
    // string and in a name of the page.
    const QString dir = freshDir("hazards"), trap = dir + "/trap.pdf", target = dir + "/out.pdf";
    const QString text = "\r\nxref\r\n0 1\r\n\r\n5 0 obj\r\n/Type /Pages\r\n/Type /Page\r\n"
                         "/Type /Catalog\r\nendobj\r\n";
    make_sample_pdf(trap, text, 1, 100);
    const QString named = sample(dir, "named", 2); // qpdf finds its moved objects again
    write_file(named, read_file(named).replace("/Parent", "/Note (startxref) /Mark /xref /Parent"));
    ASSERT_TRUE(joinWhole(target, {trap, named}));
    const QByteArray out = read_file(target);
    EXPECT_EQ(out.indexOf("xref"), out.lastIndexOf("\r\nxref\r\n") + 2);
    EXPECT_TRUE(pdfnumpages(target).startsWith("3 ")); // stream data holds no page lines
    EXPECT_TRUE(qpdfChecks(target));
    EXPECT_EQ(pageLabels(target), QStringList({text + " 1", "named 1", "named 2"}));

    // The bookmark rewrite, which reads the file as text, works on it as on any joined file.
    HeadlessHost host;
    AddBookmark(host, target, "EP1", "1:One,3:Three");
    EXPECT_TRUE(qpdfChecks(target));
    EXPECT_EQ(qpdfOutline(target), QStringList({"One:0", "Three:2"}));
}

TEST(Procedures, MergeEspaceJoinsNumberedPartsAndDeletesThem) {
    const QString dir = freshDir("espace");
    for (const QString part :
         {"job7_1", "job7_2", "job7_4", "job7_5", "job8_0", "job8_7", "job8_07"})
        sample(dir, part, part == "job7_1" ? 2 : 1);
    merge_Espace_pdf(dir + "/EP1.pdf", dir + "/job7_", 3, 0, "EP1");
    EXPECT_EQ(pageLabels(dir + "/EP1.pdf"),
              QStringList({"job7_1 1", "job7_1 2", "job7_2 1", "job7_4 1"}));
    EXPECT_EQ(QDir(dir).entryList({"job7_*"}), QStringList{"job7_5.pdf"}); // beyond count + 1

    // Without parts nothing is stored.
    merge_Espace_pdf(dir + "/none.pdf", dir + "/x", 5);
    EXPECT_FALSE(QFile::exists(dir + "/none.pdf"));

    // The file numbered 0 comes first; "07" is no part number; an absurd count ends at once.
    merge_Espace_pdf(dir + "/EP2.pdf", dir + "/job8_", INT32_MAX);
    EXPECT_EQ(pageLabels(dir + "/EP2.pdf"), QStringList({"job8_0 1", "job8_7 1"}));
}

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
    const QFileInfo absent(dir + "/absent.pdf");
    EXPECT_TRUE(absent.isFile() && absent.size() == 0); // created, empty
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
