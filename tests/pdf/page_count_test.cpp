// The page count and the bookmark rewrite, which read the system's own PDFs as text.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

QString megabytes(double value) {
    return QLocale::system().toString(value, 'f', 2) + QStringLiteral(" MB");
}

// The rewrite read straight from its description, searching the whole buffer once per
// object number. The oracle for the fast implementation. Empty when the file is left alone.
QByteArray literalAddBookmark(const QByteArray& file, const QByteArray& pn,
                              const QByteArray& bookmarks) {
    const qsizetype x = file.indexOf("xref");
    if (x < 0)
        return {};
    const QByteArray tail = file.mid(x);
    QByteArray buffer = file.left(x);
    auto behind = [&](const QByteArray& key) {
        const qsizetype p = tail.indexOf(key);
        QByteArray v = p < 0 ? tail.left(30) : tail.mid(p + key.size(), 30);
        v = v.left(v.indexOf('\r') < 0 ? v.size() : v.indexOf('\r'));
        return v.left(v.indexOf('\n') < 0 ? v.size() : v.indexOf('\n'));
    };
    const QByteArray n = behind("/Size").replace(" ", "");
    bool numeric = false;
    const long long size = n.toLongLong(&numeric);
    if (!numeric)
        return {};
    const QByteArray root = behind("/Root");
    const QByteArray crlf = "\r\n";
    buffer += n + " 0 obj\r\n<<\r\n/Author (Tarnwell Brightquill)\r\n/Title (" + pn +
              ")\r\n/Producer (Tarnwell)\r\n>>\r\nendobj\r\n";
    QByteArray text = QByteArray::number(size + 1) +
                      " 0 obj\r\n<<\r\n/Type /Outlines\r\n/Count@@@\r\n/First@@@\r\n/Last@@@\r\n"
                      ">>\r\nendobj\r\n";
    long long next = size + 2, first = 0, last = 0, count = 0;
    const QList<QByteArray> list = bookmarks.isEmpty() ? QList<QByteArray>() : bookmarks.split(',');
    static const QRegularExpression leadingNumber(QStringLiteral("^\\s*([+-]?\\d*)"));
    for (qsizetype i = 0; i < list.size(); ++i) {
        const qsizetype colon = list[i].indexOf(':');
        if (colon < 0)
            continue;
        const long long k = next++;
        first = first ? first : k;
        last = k;
        ++count;
        const long long page =
            leadingNumber.match(QString::fromLatin1(list[i].left(colon))).captured(1).toLongLong();
        text += QByteArray::number(k) + " 0 obj\r\n<<\r\n/Title (" + list[i].mid(colon + 1) +
                ")\r\n/A << /S /GoTo /D [ " + QByteArray::number(page - 1) +
                " /XYZ null null null ] >>\r\n";
        if (i > 0)
            text += "/Prev " + QByteArray::number(k - 1) + " 0 R\r\n";
        if (i < list.size() - 1)
            text += "/Next " + QByteArray::number(k + 1) + " 0 R\r\n";
        text += "/Parent " + QByteArray::number(size + 1) + " 0 R\r\n>>\r\nendobj\r\n";
    }
    text.replace("/First@@@", "/First " + QByteArray::number(first) + " 0 R");
    text.replace("/Last@@@", "/Last " + QByteArray::number(last) + " 0 R");
    text.replace("/Count@@@", "/Count " + QByteArray::number(count));
    buffer += text;
    buffer.replace("\r\n/Type /Catalog\r\n", "\r\n/Type /Catalog\r\n/Outlines " +
                                                 QByteArray::number(size + 1) +
                                                 " 0 R\r\n/PageMode /UseOutlines\r\n");
    const qsizetype startxref = buffer.size();
    QByteArray table = "xref\r\n0 " + QByteArray::number(next) + "\r\n0000000000 65535 f\r\n";
    for (long long number = 0; number <= next; ++number) {
        const qsizetype p = buffer.indexOf("\r\n" + QByteArray::number(number) + " 0 obj") + 1;
        if (p + 1 > 2)
            table += QByteArray::number(p + 1).rightJustified(10, '0') + " 00000 n\r\n";
    }
    table += "trailer\r\n<<\r\n/Size " + QByteArray::number(next) + "\r\n/Root" + root +
             "\r\n/Info " + n + " 0 R\r\n>>\r\nstartxref\r\n" + QByteArray::number(startxref) +
             "\r\n%%EOF\r\n";
    buffer += table;
    // Written over the old content without truncating it.
    if (file.size() > buffer.size())
        buffer += file.mid(buffer.size());
    return buffer;
}

// A TIFF as the office sends it, its strip (the given bytes) at byte 300.
QByteArray smallTiff(const QByteArray& strip) {
    return makeTiff(g4Entries(640, 480, 300, static_cast<uint32_t>(strip.size())), 300, strip);
}

struct Fixture {
    QString name;
    QByteArray bytes;
};

// Files as the system makes them: joined by the library, written from a TIFF, and some made
// by hand: LF line ends only, a trailer whose /Size is not alone on its line (left alone),
// and a text with repeated and odd object headers.
std::vector<Fixture> fixtures() {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("bookmark-fixtures"));
    const QString joined = dir + QStringLiteral("/joined.pdf");
    writeFile(dir + QStringLiteral("/src.pdf"), makePdf({"a", "b", "c"}));
    const int32_t h = PDocNew(0, 0, joined);
    PDocMerge(h, dir + QStringLiteral("/src.pdf"), 1, -1);
    PDocRelease(h);
    writeFile(dir + QStringLiteral("/page.tif"), smallTiff(QByteArray(700, '\x55')));
    tif_to_pdf(host, dir + QStringLiteral("/tif.pdf"), dir + QStringLiteral("/page.tif"));
    const QByteArray odd = "\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n"
                           "\r\n2 0 obj\r\n(first)\r\nendobj\r\n\r\n2 0 obj\r\n(again)\r\n"
                           "\r\n007 0 obj\r\n\r\n3 0 objx\r\n\n4 0 obj\r\n\r\n12 0 obj\r\n"
                           "xref\r\n0 1\r\ntrailer\r\n<< /Size  13\r\n/Root 1 0 R\r\n>>\r\n";
    return {{QStringLiteral("joined"), readFile(joined)},
            {QStringLiteral("tif"), readFile(dir + QStringLiteral("/tif.pdf"))},
            {QStringLiteral("lf-only"), makePdf({"x", "y"}).replace(" /Root", "\n/Root")},
            {QStringLiteral("size-and-root-on-one-line"), makePdf({"x"})},
            // Its old table is longer than all that is added: the old last bytes stay.
            {QStringLiteral("lf-only-long-table"),
             makePdf(QString(QStringLiteral("abcdefghijklmnopqrstuvwxyz")).split(QString()))
                 .replace(" /Root", "\n/Root")},
            {QStringLiteral("odd-headers"), odd}};
}

} // namespace

TEST(PageCount, CountsPageLinesOrTellsMegabytes) {
    HeadlessHost host;
    const QString dir = freshDir(QStringLiteral("numpages"));
    auto padded = [](qsizetype size, int pages) {
        const QByteArray data = QByteArray("\r\n/Type /Page\r\n").repeated(pages);
        return data + QByteArray(size - data.size(), ' ');
    };
    writeFile(dir + QStringLiteral("/src.pdf"), makePdf({"1", "2", "3"}));
    pdf2fp(dir + QStringLiteral("/src.pdf"), dir + QStringLiteral("/one.pdf"));
    writeFile(dir + QStringLiteral("/page.tif"), smallTiff("data"));
    tif_to_pdf(host, dir + QStringLiteral("/tif.pdf"), dir + QStringLiteral("/page.tif"));
    writeFile(dir + QStringLiteral("/lf.pdf"), "x\n/Type /Page\n/Type /Pages\n");
    writeFile(dir + QStringLiteral("/below.pdf"), padded(9999999, 5));
    writeFile(dir + QStringLiteral("/limit.pdf"), padded(10000000, 5));
    writeFile(dir + QStringLiteral("/plain.pdf"), QByteArray(1234567, 'x'));

    const std::pair<const char*, QString> cases[] = {
        {"one.pdf", QStringLiteral("1 Pages")},
        // The CR-only file of the TIFF writer counts its "/Type /Pages" line as well.
        {"tif.pdf", QStringLiteral("2 Pages")},
        {"lf.pdf", QStringLiteral("2 Pages")},
        {"below.pdf", QStringLiteral("5 Pages")},
        {"limit.pdf", megabytes(10.0)},
        {"plain.pdf", megabytes(1.23)},
        {"no/such/folder.pdf", megabytes(0.0)},
        {"absent.pdf", megabytes(0.0)},
    };
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(pdfnumpages(dir + '/' + name), expected) << name;
    // The absent file is created, empty.
    EXPECT_TRUE(QFile::exists(dir + QStringLiteral("/absent.pdf")));
    EXPECT_EQ(QFile(dir + QStringLiteral("/absent.pdf")).size(), 0);
}

TEST(Bookmarks, RewriteEqualsTheLiteralAlgorithm) {
    const QStringList strings = {
        QStringLiteral("1:Abstract,2:Description,3:Claims"),
        QStringLiteral("1:Abstract,"),
        QStringLiteral(",5:Correction"),
        QStringLiteral("7:A:B"),
        QStringLiteral("0:Front"),
        QString(),
        QStringLiteral(","),
        QStringLiteral("no colon at all"),
        QStringLiteral(" 2 :Spaced , 3:x,,4:After gap"),
        QStringLiteral("x:No number,:Empty number,-2:Negative"),
        QStringLiteral("1:A title with\r\n/Type /Catalog\r\nin it"),
    };
    const QString dir = freshDir(QStringLiteral("bookmark-literal"));
    HeadlessHost host;
    int serial = 0;
    for (const Fixture& f : fixtures()) {
        for (const QString& bookmarks : strings) {
            const QString path = dir + QStringLiteral("/%1.pdf").arg(++serial);
            writeFile(path, f.bytes);
            AddBookmark(host, path, QStringLiteral("EP1234567A1"), bookmarks);
            const QByteArray expected =
                literalAddBookmark(f.bytes, "EP1234567A1", bookmarks.toLatin1());
            EXPECT_EQ(readFile(path), expected.isEmpty() ? f.bytes : expected)
                << f.name.toStdString() << " with \"" << bookmarks.toStdString() << '"';
        }
    }
}

TEST(Bookmarks, NumbersItemsAsInTheWorkedExample) {
    const QString dir = freshDir(QStringLiteral("bookmark-example"));
    const QString path = dir + QStringLiteral("/doc.pdf");
    writeFile(path, "%PDF-1.4\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n"
                    "xref\r\n0 20\r\ntrailer\r\n<<\r\n/Size 20\r\n/Root 1 0 R\r\n>>\r\n");
    HeadlessHost host;
    AddBookmark(host, path, QStringLiteral("EP1234567A1"), QStringLiteral("1:Abstract,9:Claims"));
    const QByteArray out = readFile(path);
    for (const char* part :
         {"\r\n20 0 obj\r\n<<\r\n/Author (Tarnwell Brightquill)\r\n/Title (EP1234567A1)\r\n",
          "\r\n21 0 obj\r\n<<\r\n/Type /Outlines\r\n/Count 2\r\n/First 22 0 R\r\n/Last 23 0 R",
          "\r\n22 0 obj\r\n<<\r\n/Title (Abstract)\r\n/A << /S /GoTo /D [ 0 /XYZ null null null ] "
          ">>\r\n/Next 23 0 R\r\n/Parent 21 0 R\r\n",
          "\r\n23 0 obj\r\n<<\r\n/Title (Claims)\r\n/A << /S /GoTo /D [ 8 /XYZ null null null ] "
          ">>\r\n/Prev 22 0 R\r\n/Parent 21 0 R\r\n",
          "\r\n/Type /Catalog\r\n/Outlines 21 0 R\r\n/PageMode /UseOutlines\r\n",
          "xref\r\n0 24\r\n", "/Size 24\r\n/Root 1 0 R\r\n/Info 20 0 R\r\n"})
        EXPECT_TRUE(out.contains(part)) << part;
}

TEST(Bookmarks, JoinedDocumentShowsItsOutlineToReaders) {
    const QString dir = freshDir(QStringLiteral("bookmark-json"));
    for (int i = 0; i < 3; ++i)
        writeFile(dir + QStringLiteral("/p%1.pdf").arg(i),
                  makePdf({QStringLiteral("p%1").arg(i), QStringLiteral("q%1").arg(i)}));
    const QString path = dir + QStringLiteral("/EP1.pdf");
    merge_Espace_pdf(path, dir + QStringLiteral("/p"), 2);
    HeadlessHost host;
    host.setStatus(QStringLiteral("before"));
    AddBookmark(host, path, QStringLiteral("EP1"),
                QStringLiteral("1:Abstract,3:Description,6:Claims"));
    EXPECT_TRUE(host.statusHistory.contains(QStringLiteral("EP1 Adding bookmarks please wait!")));
    EXPECT_EQ(host.status(), QStringLiteral("before"));

    const RunResult check = run(QStringLiteral("qpdf"), {QStringLiteral("--check"), path});
    EXPECT_EQ(check.exitCode, 0) << check.out.constData() << check.err.constData();
    const RunResult json = run(QStringLiteral("qpdf"),
                               {QStringLiteral("--json"), QStringLiteral("--json-key=outlines"),
                                QStringLiteral("--json-key=pages"), path});
    static const QRegularExpression title(QStringLiteral("\"title\": \"([^\"]*)\""));
    QStringList titles;
    for (auto it = title.globalMatch(QString::fromUtf8(json.out)); it.hasNext();)
        titles << it.next().captured(1);
    EXPECT_EQ(titles, QStringList({"Abstract", "Description", "Claims"})) << json.out.constData();
    EXPECT_EQ(qpdfPageCount(path), 6);
    EXPECT_EQ(pdfnumpages(path), QStringLiteral("6 Pages"));
    // The outline root counts its items.
    EXPECT_TRUE(readFile(path).contains("/Type /Outlines\r\n/Count 3\r\n"));
}

TEST(Bookmarks, FailuresLeaveTheFileExactlyAsItWas) {
    const QString dir = freshDir(QStringLiteral("bookmark-fail"));
    HeadlessHost host;
    host.setStatus(QStringLiteral("kept"));
    const std::pair<const char*, QByteArray> cases[] = {
        {"no-xref", "%PDF-1.4\r\n1 0 obj\r\n<<\r\n/Type /Catalog\r\n>>\r\nendobj\r\n"},
        {"empty", QByteArray()},
        {"size-not-a-number", "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size x8/Root 1 0 R>>"},
        {"too-many-objects", "1 0 obj\r\nendobj\r\nxref\r\ntrailer\r\n<</Size 32766\r\n>>"},
    };
    for (const auto& [name, bytes] : cases) {
        const QString path = dir + '/' + name + QStringLiteral(".pdf");
        writeFile(path, bytes);
        AddBookmark(host, path, QStringLiteral("EP1"), QStringLiteral("1:Abstract"));
        EXPECT_EQ(readFile(path), bytes) << name;
        EXPECT_EQ(QFile(path).size(), bytes.size()) << name;
    }
    const QString absent = dir + QStringLiteral("/absent.pdf");
    AddBookmark(host, absent, QStringLiteral("EP1"), QStringLiteral("1:Abstract"));
    EXPECT_FALSE(QFile::exists(absent));
    EXPECT_EQ(host.status(), QStringLiteral("kept"));
    EXPECT_EQ(QDir(dir).entryList(QDir::Files).size(), std::size(cases)); // no temporary files
}

TEST(Bookmarks, TableIsBuiltInOnePassOverTheFile) {
    // 30000 objects: a search per object number would take many seconds here.
    QByteArray file = "%PDF-1.4\r\n";
    for (int n = 1; n <= 30000; ++n)
        file += QByteArray::number(n) + " 0 obj\r\n<< /Filler (" + QByteArray(40, 'f') +
                ") >>\r\nendobj\r\n";
    file += "xref\r\n0 30001\r\ntrailer\r\n<<\r\n/Size 30001\r\n/Root 1 0 R\r\n>>\r\n";
    const QString path = freshDir(QStringLiteral("bookmark-fast")) + QStringLiteral("/big.pdf");
    writeFile(path, file);
    HeadlessHost host;
    QElapsedTimer timer;
    timer.start();
    AddBookmark(host, path, QStringLiteral("EP1"), QStringLiteral("1:A,2:B"));
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
