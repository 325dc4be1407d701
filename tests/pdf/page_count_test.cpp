// The page count and the bookmark rewrite, which read the system's own PDFs as text.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QElapsedTimer>
#include <QLocale>

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

// The rewrite read straight from its description, searching the whole buffer once per
// object number. The oracle for the fast implementation. Empty when the file is left alone.
QByteArray literalAddBookmark(const QByteArray& file, const QByteArray& pn,
                              const QByteArray& bookmarks) {
    auto num = [](long long v) { return QByteArray::number(v); };
    const qsizetype x = file.indexOf("xref");
    const QByteArray tail = file.mid(x);
    auto behind = [&](const QByteArray& key) {
        const qsizetype p = tail.indexOf(key);
        return (p < 0 ? tail.left(30) : tail.mid(p + key.size(), 30)).split('\r')[0].split('\n')[0];
    };
    const QByteArray n = behind("/Size").replace(" ", ""), outlines = num(n.toLongLong() + 1);
    bool numeric = false;
    const long long size = n.toLongLong(&numeric);
    if (x < 0 || !numeric || size < 0)
        return {};
    QByteArray text = outlines + " 0 obj\r\n<<\r\n/Type /Outlines\r\n/Count@@@\r\n/First@@@\r\n"
                                 "/Last@@@\r\n>>\r\nendobj\r\n";
    long long next = size + 2, first = 0, last = 0;
    const QList<QByteArray> list = bookmarks.isEmpty() ? QList<QByteArray>() : bookmarks.split(',');
    static const QRegularExpression leadingNumber("^\\s*([+-]?\\d*)");
    for (qsizetype i = 0; i < list.size(); ++i) {
        const qsizetype colon = list[i].indexOf(':');
        if (colon < 0)
            continue;
        last = next++;
        first = first ? first : last;
        const auto page = leadingNumber.match(QString::fromLatin1(list[i].left(colon))).captured(1);
        text += num(last) + " 0 obj\r\n<<\r\n/Title (" + list[i].mid(colon + 1) +
                ")\r\n/A << /S /GoTo /D [ " + num(page.toLongLong() - 1) +
                " /XYZ null null null ] >>\r\n" +
                (i > 0 ? "/Prev " + num(last - 1) + " 0 R\r\n" : "") +
                (i < list.size() - 1 ? "/Next " + num(last + 1) + " 0 R\r\n" : "") + "/Parent " +
                outlines + " 0 R\r\n>>\r\nendobj\r\n";
    }
    if (next > 32766) // the numbers of the table loop stay below 32767
        return {};
    text.replace("/First@@@", "/First " + num(first) + " 0 R");
    text.replace("/Last@@@", "/Last " + num(last) + " 0 R");
    text.replace("/Count@@@", "/Count " + num(next - size - 2));
    QByteArray buffer = file.left(x) + n +
                        " 0 obj\r\n<<\r\n/Author (Tarnwell Brightquill)\r\n/Title (" + pn +
                        ")\r\n/Producer (Tarnwell)\r\n>>\r\nendobj\r\n" + text;
    buffer.replace("\r\n/Type /Catalog\r\n", "\r\n/Type /Catalog\r\n/Outlines " + outlines +
                                                 " 0 R\r\n/PageMode /UseOutlines\r\n");
    QByteArray table = "xref\r\n0 " + num(next) + "\r\n0000000000 65535 f\r\n";
    for (long long number = 0; number <= next; ++number) {
        const qsizetype p = buffer.indexOf("\r\n" + num(number) + " 0 obj") + 1;
        if (p + 1 > 2)
            table += num(p + 1).rightJustified(10, '0') + " 00000 n\r\n";
    }
    table += "trailer\r\n<<\r\n/Size " + num(next) + "\r\n/Root" + behind("/Root") + "\r\n/Info " +
             n + " 0 R\r\n>>\r\nstartxref\r\n" + num(buffer.size()) + "\r\n%%EOF\r\n";
    // Written over the old content without truncating it.
    return buffer + table + file.mid(buffer.size() + table.size());
}

// A TIFF as the office sends it, its strip (the given bytes) at byte 300.
QByteArray smallTiff(const QByteArray& strip) {
    return makeTiff(g4Entries(640, 480, 300, static_cast<uint32_t>(strip.size())), 300, strip);
}

// Files as the system makes them: joined by the library, written from a TIFF, and some made
// by hand: LF line ends only, a trailer whose /Size is not alone on its line, a text with
// repeated and odd object headers, and files the rewrite has to leave alone.
std::vector<std::pair<QString, QByteArray>> fixtures() {
    HeadlessHost host;
    const QString dir = freshDir("bookmark-fixtures");
    writeFile(dir + "/src.pdf", makePdf({"a", "b", "c"}));
    joinWhole(dir + "/joined.pdf", {dir + "/src.pdf"});
    writeFile(dir + "/page.tif", smallTiff(QByteArray(700, '\x55')));
    tif_to_pdf(host, dir + "/tif.pdf", dir + "/page.tif");
    const QByteArray odd = "\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n"
                           "\r\n2 0 obj\r\n(first)\r\nendobj\r\n\r\n2 0 obj\r\n(again)\r\n"
                           "\r\n007 0 obj\r\n\r\n3 0 objx\r\n\n4 0 obj\r\n\r\n12 0 obj\r\n"
                           "xref\r\n0 1\r\ntrailer\r\n<< /Size  13\r\n/Root 1 0 R\r\n>>\r\n";
    const QByteArray big = "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size 3276";
    return {
        {"joined", readFile(dir + "/joined.pdf")},
        {"tif", readFile(dir + "/tif.pdf")},
        {"lf-only", makePdf({"x", "y"}).replace(" /Root", "\n/Root")},
        {"size-and-root-on-one-line", makePdf({"x"})},
        // Its old table is longer than all that is added: the old last bytes stay.
        {"lf-only-long-table", makePdf(QString("abcdefghijklmnopqrstuvwxyz").split(QString()))
                                   .replace(" /Root", "\n/Root")},
        {"odd-headers", odd},
        {"no-xref", "%PDF-1.4\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n"},
        {"empty", QByteArray()},
        {"size-not-a-number", "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size x8/Root 1 0 R>>"},
        {"size-negative", "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size -3\r\n>>"},
        // Up to two items keep the highest number at 32766; more are too many.
        {"size-32762", big + "2\r\n>>"},
        {"too-many-objects", big + "6\r\n>>"}};
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
    writeFile(dir + "/src.pdf", makePdf({"1", "2", "3"}));
    pdf2fp(dir + "/src.pdf", dir + "/one.pdf");
    writeFile(dir + "/page.tif", smallTiff("data"));
    tif_to_pdf(host, dir + "/tif.pdf", dir + "/page.tif");
    writeFile(dir + "/lf.pdf", "x\n/Type /Page\n/Type /Pages\n");
    writeFile(dir + "/below.pdf", padded(9999999, 5));
    writeFile(dir + "/limit.pdf", padded(10000000, 5));
    writeFile(dir + "/plain.pdf", QByteArray(1234567, 'x'));
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
    // The absent file is created, empty.
    EXPECT_TRUE(QFile::exists(dir + "/absent.pdf"));
    EXPECT_EQ(QFile(dir + "/absent.pdf").size(), 0);
}

// Every fixture with every bookmark string; the files left alone stay exactly as they were.
// The status line tells the work and comes back; no temporary file is left.
TEST(Bookmarks, RewriteEqualsTheLiteralAlgorithm) {
    const QStringList strings = {
        "1:Abstract,2:Description,3:Claims",
        "1:Abstract,",
        ",5:Correction",
        "7:A:B",
        "0:Front",
        QString(),
        ",",
        "no colon at all",
        " 2 :Spaced , 3:x,,4:After gap",
        "x:No number,:Empty number,-2:Negative",
        "1:A title with\r\n/Type /Catalog\r\nin it",
    };
    const QString dir = freshDir("bookmark-literal");
    HeadlessHost host;
    host.setStatus("kept");
    int serial = 0;
    for (const auto& [name, bytes] : fixtures()) {
        for (const QString& bookmarks : strings) {
            const QString path = dir + QString("/%1.pdf").arg(++serial);
            writeFile(path, bytes);
            AddBookmark(host, path, "EP1234567A1", bookmarks);
            const QByteArray expected =
                literalAddBookmark(bytes, "EP1234567A1", bookmarks.toLatin1());
            EXPECT_EQ(readFile(path), expected.isEmpty() ? bytes : expected)
                << name.toStdString() << " with \"" << bookmarks.toStdString() << '"';
        }
    }
    EXPECT_TRUE(host.statusHistory.contains("EP1234567A1 Adding bookmarks please wait!"));
    AddBookmark(host, dir + "/absent.pdf", "EP1", "1:Abstract");
    EXPECT_EQ(QDir(dir).entryList(QDir::Files).size(), serial);
    EXPECT_EQ(host.status(), "kept");
}

TEST(Bookmarks, JoinedDocumentShowsItsOutlineToReaders) {
    const QString dir = freshDir("bookmark-json"), path = dir + "/EP1.pdf";
    writeFile(dir + "/src.pdf", makePdf({"1", "2", "3", "4", "5", "6"}));
    ASSERT_TRUE(joinWhole(path, {dir + "/src.pdf"}));
    HeadlessHost host;
    AddBookmark(host, path, "EP1", "1:Abstract,3:Description,6:Claims");
    EXPECT_TRUE(qpdfChecks(path));
    // Titles and the pages (counted from 0) they lead to, as qpdf reads them.
    const RunResult json = run("qpdf", {"--json", "--json-key=outlines", path});
    static const QRegularExpression item("\"dest\": \\[\\s*(\\d+),[^}]*\"title\": \"([^\"]*)\"");
    QStringList items;
    for (auto it = item.globalMatch(QString::fromUtf8(json.out)); it.hasNext();) {
        const auto m = it.next();
        items << m.captured(2) + ':' + m.captured(1);
    }
    EXPECT_EQ(items, QStringList({"Abstract:0", "Description:2", "Claims:5"}))
        << json.out.constData();
    EXPECT_EQ(qpdfPageCount(path), 6);
}

TEST(Bookmarks, TableIsBuiltInOnePassOverTheFile) {
    // 30000 objects: a search per object number would take many seconds here.
    QByteArray file = "%PDF-1.4\r\n";
    for (int n = 1; n <= 30000; ++n)
        file += QByteArray::number(n) + " 0 obj\r\n<< /Filler (" + QByteArray(40, 'f') +
                ") >>\r\nendobj\r\n";
    file += "xref\r\n0 30001\r\ntrailer\r\n<<\r\n/Size 30001\r\n/Root 1 0 R\r\n>>\r\n";
    const QString path = freshDir("bookmark-fast") + "/big.pdf";
    writeFile(path, file);
    HeadlessHost host;
    QElapsedTimer timer;
    timer.start();
    AddBookmark(host, path, "EP1", "1:A,2:B");
    EXPECT_LT(timer.elapsed(), 3000);
    // Old objects 1 .. 30000, information 30001, outline root 30002, items 30003 and 30004:
    // all found, each line 20 bytes.
    const QByteArray out = readFile(path);
    const QByteArray head = "xref\r\n0 30005\r\n0000000000 65535 f\r\n";
    const qsizetype table = out.lastIndexOf(head) + head.size();
    EXPECT_EQ(out.mid(table + 20 * 30004, 9), "trailer\r\n");
    EXPECT_EQ(out.mid(table + 20 * 29999, 20),
              QByteArray::number(file.indexOf("\r\n30000 0 obj") + 2).rightJustified(10, '0') +
                  " 00000 n\r\n");
}
