// The page-copying library and the procedures over it, on sample documents.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <QRandomGenerator>

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
    QByteArray random(4096, '\0');
    QRandomGenerator rng(42);
    for (char& c : random)
        c = static_cast<char>(rng.bounded(256));
    run("qpdf", {"--encrypt", "user", "owner", "256", "--", good, dir + "/locked.pdf"});
    const std::pair<const char*, QByteArray> sources[] = {
        {"html", "<html><head><title>500 Internal Server Error</title></head><body>"
                 "<h1>Error</h1><p>The document could not be found.</p></body></html>\r\n"},
        {"empty", QByteArray()},
        {"random", random},
        {"header-only", "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n"},
        {"truncated-at-first-object", valid.left(valid.indexOf("1 0 obj") + 10)},
        {"encrypted", read_file(dir + "/locked.pdf")},
    };
    ASSERT_FALSE(sources[5].second.isEmpty());
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
