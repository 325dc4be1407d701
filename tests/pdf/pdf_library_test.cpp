// The page-copying library and the three procedures over it, on generated files.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QRandomGenerator>

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

// Writes a generated PDF with the given page ids into dir and returns its path.
QString sourceFile(const QString& dir, const QString& name, const QStringList& ids) {
    write_file(dir + '/' + name, makePdf(ids));
    return dir + '/' + name;
}

} // namespace

TEST(PageCopying, RangesSelectPagesInCallOrder) {
    const QString dir = freshDir("ranges");
    const QString abc = sourceFile(dir, "abc.pdf", {"a", "b", "c"});
    const QString xy = sourceFile(dir, "xy.pdf", {"x", "y"});
    struct Case {
        int32_t first, last;
        bool copied;
        QStringList ids; // of the output after abc (range) then xy (1, -1)
    } cases[] = {
        {1, 1, true, {"a", "x", "y"}},      {1, -1, true, {"a", "b", "c", "x", "y"}},
        {2, 3, true, {"b", "c", "x", "y"}}, {2, 99, true, {"b", "c", "x", "y"}},
        {0, 1, true, {"a", "x", "y"}},      {4, 4, false, {"x", "y"}},
        {3, 2, false, {"x", "y"}},
    };
    for (const Case& c : cases) {
        const QString target = dir + QString("/out%1_%2.pdf").arg(c.first).arg(c.last);
        const int32_t h = PDocNew(0, 0, target);
        EXPECT_EQ(PDocMerge(h, abc, c.first, c.last) != 0, c.copied) << c.first << ".." << c.last;
        EXPECT_NE(PDocMerge(h, xy, 1, -1), 0);
        PDocRelease(h);
        EXPECT_EQ(pageIds(target), c.ids) << c.first << ".." << c.last;
        EXPECT_EQ(qpdfPageCount(target), c.ids.size());
    }
}

TEST(PageCopying, UnreadableSourcesGiveZeroAndLeaveTheOutputAsItWas) {
    const QString dir = freshDir("bad");
    const QString good1 = sourceFile(dir, "g1.pdf", {"g1"});
    const QString good2 = sourceFile(dir, "g2.pdf", {"g2"});
    const QByteArray valid = makePdf({"t1", "t2", "t3"});
    QByteArray random(4096, '\0');
    QRandomGenerator rng(42);
    for (char& c : random)
        c = static_cast<char>(rng.bounded(256));
    const QString locked = dir + "/locked.pdf";
    run("qpdf", {"--encrypt", "user", "owner", "256", "--", good1, locked});
    ASSERT_TRUE(QFile::exists(locked));

    const std::pair<const char*, QByteArray> sources[] = {
        {"html", "<html><head><title>500 Internal Server Error</title></head><body>"
                 "<h1>Error</h1><p>The document could not be found.</p></body></html>\r\n"},
        {"empty", QByteArray()},
        {"random", random},
        {"header-only", "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n"},
        {"truncated-at-first-object", valid.left(valid.indexOf("1 0 obj") + 10)},
        {"encrypted", read_file(locked)},
    };
    for (const auto& [name, bytes] : sources) {
        const QString bad = dir + '/' + name + ".pdf", target = dir + "/out-" + name + ".pdf";
        write_file(bad, bytes);
        const int32_t h = PDocNew(0, 0, target);
        EXPECT_NE(PDocMerge(h, good1, 1, 1), 0);
        EXPECT_EQ(PDocMerge(h, bad, 1, 1), 0) << name;
        EXPECT_EQ(PDocMerge(h, bad, 1, -1), 0) << name;
        EXPECT_NE(PDocMerge(h, good2, 1, 1), 0);
        PDocRelease(h);
        EXPECT_EQ(pageIds(target), QStringList({"g1", "g2"})) << name;
        EXPECT_FALSE(checkpdf(bad)) << name;
        EXPECT_FALSE(QFile::exists(bad + "_test.pdf")) << name;
    }
    // A missing file and an unknown handle.
    EXPECT_FALSE(checkpdf(dir + "/missing.pdf"));
    EXPECT_EQ(PDocMerge(987654, good1, 1, 1), 0);
    PDocRelease(987654);
}

TEST(PageCopying, SourceMayBeDeletedBeforeRelease) {
    const QString dir = freshDir("deleted");
    const QString target = dir + "/out.pdf";
    const int32_t h = PDocNew(0, 0, target);
    for (const char* id : {"p1", "p2", "p3"}) {
        const QString source = sourceFile(dir, id + QString(".pdf"), {id});
        ASSERT_NE(PDocMerge(h, source, 1, 1), 0);
        ASSERT_TRUE(QFile::remove(source));
    }
    EXPECT_FALSE(QFile::exists(target)); // complete only after the release
    PDocRelease(h);
    EXPECT_EQ(pageIds(target), QStringList({"p1", "p2", "p3"}));
}

TEST(PageCopying, OutputKeepsItsLayoutWhateverTheSourceHolds) {
    // Content that, copied as it stands, would mislead the text readers of the output: a
    // first "xref", object headers, page and catalog lines inside stream data, "xref" in a
    // string and in a name.
    const QString dir = freshDir("hazards");
    const QByteArray trap = "% trap\r\nxref\r\n0 1\r\n\r\n5 0 obj\r\n/Type /Pages\r\n/Type /Page"
                            "\r\n/Type /Catalog\r\nendobj\r\n";
    write_file(dir + "/trap.pdf", makePdf({"h1"}, trap, "/Note (startxref) /Mark /xref"));
    const QString target = dir + "/out.pdf";
    ASSERT_TRUE(joinWhole(target, {dir + "/trap.pdf", sourceFile(dir, "plain.pdf", {"h2", "h3"})}));
    const QByteArray out = read_file(target);
    EXPECT_EQ(out.indexOf("xref"), out.lastIndexOf("\r\nxref\r\n") + 2);
    EXPECT_TRUE(pdfnumpages(target).startsWith("3 ")); // stream data holds no page lines
    EXPECT_TRUE(qpdfChecks(target));
    // The page keeps its content: the trap text comes back when the stream is decoded.
    const qsizetype contents = out.indexOf("/Contents ") + 10;
    const QString number = out.mid(contents, out.indexOf(' ', contents) - contents);
    const RunResult content =
        run("qpdf", {"--show-object=" + number, "--filtered-stream-data", target});
    EXPECT_TRUE(content.out.contains("% id:h1\n") && content.out.contains(trap))
        << content.out.constData();

    // The bookmark rewrite, which reads the file as text, works on it as on any joined file.
    HeadlessHost host;
    AddBookmark(host, target, "EP1", "1:One,3:Three");
    EXPECT_TRUE(qpdfChecks(target));
    EXPECT_EQ(qpdfOutline(target), QStringList({"One:0", "Three:2"}));
}

TEST(Procedures, MergeEspaceJoinsNumberedPartsAndDeletesThem) {
    const QString dir = freshDir("espace");
    for (int i : {1, 2, 4, 5})
        sourceFile(dir, QString("job7_%1.pdf").arg(i),
                   {QString("part%1").arg(i), QString("part%1b").arg(i)});
    merge_Espace_pdf(dir + "/EP1.pdf", dir + "/job7_", 3, 0, "EP1");
    EXPECT_EQ(pageIds(dir + "/EP1.pdf"),
              QStringList({"part1", "part1b", "part2", "part2b", "part4", "part4b"}));
    for (int i : {1, 2, 4})
        EXPECT_FALSE(QFile::exists(dir + QString("/job7_%1.pdf").arg(i)));
    EXPECT_TRUE(QFile::exists(dir + "/job7_5.pdf")); // beyond count + 1

    // Without parts nothing is stored.
    merge_Espace_pdf(dir + "/none.pdf", dir + "/x", 5);
    EXPECT_FALSE(QFile::exists(dir + "/none.pdf"));

    // The file numbered 0 comes first; an absurd count still ends at once.
    sourceFile(dir, "job8_0.pdf", {"zero"});
    sourceFile(dir, "job8_7.pdf", {"seven"});
    sourceFile(dir, "job8_07.pdf", {"not-a-part-number"});
    merge_Espace_pdf(dir + "/EP2.pdf", dir + "/job8_", INT32_MAX);
    EXPECT_EQ(pageIds(dir + "/EP2.pdf"), QStringList({"zero", "seven"}));
}
