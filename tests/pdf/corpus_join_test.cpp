// Joining real-world PDFs that nobody on the team wrote: every corpus file goes through the
// probe, and every file that it accepts is joined whole and checked with qpdf and poppler.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"

#include "foundation/host.h"
#include "pdf_test_util.h"

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

const QDir kCorpus(BQ_SHARED_DIR "/corpus/pdf");

class CorpusJoin : public testing::TestWithParam<QString> {};

} // namespace

TEST_P(CorpusJoin, ProbeAnswersAndAcceptedFilesJoinFaithfully) {
    if (!kCorpus.exists())
        GTEST_SKIP() << "the shared corpus folder " BQ_SHARED_DIR "/corpus/pdf is absent";
    const QString dir = freshDir(GetParam());
    const QString source = dir + "/source.pdf", joined = dir + "/joined.pdf";
    ASSERT_TRUE(QFile::copy(kCorpus.filePath(GetParam()), source));
    QFile::setPermissions(source, QFile::ReadOwner | QFile::WriteOwner);

    // A refused file must never reach an output, which then is not written at all.
    const bool good = checkpdf(source);
    ASSERT_EQ(joinWhole(joined, {source}), good);
    if (!good) {
        EXPECT_FALSE(QFile::exists(joined));
        return;
    }
    // Warnings are allowed (a damaged image stays as damaged as in the source); errors not.
    EXPECT_TRUE(qpdfChecks(joined, ""));
    const int pages = qpdfPageCount(source);
    ASSERT_EQ(qpdfPageCount(joined), pages);

    // The pages look the same as the source's, at a low resolution. Where poppler cannot
    // render the source at all there is nothing to compare with.
    const auto before = render(source, pages, {"-r", "20"}),
               after = render(joined, pages, {"-r", "20"});
    ASSERT_EQ(after.size(), before.empty() ? after.size() : before.size());
    for (size_t i = 0; i < before.size(); ++i)
        EXPECT_LE(differingShare(before[i], after[i], 48), 0.01) << "page " << i + 1;

    // The page count and the bookmark rewrite read the joined file as text: they must find
    // what qpdf finds, whatever the source's own layout was.
    EXPECT_EQ(pdfnumpages(joined), QString("%1 Pages").arg(pages));
    HeadlessHost host;
    AddBookmark(host, joined, "EP1", "1:First");
    EXPECT_EQ(qpdfOutline(joined), QStringList{"First:0"});
    EXPECT_EQ(qpdfPageCount(joined), pages);
}

// Cases named by their place in the folder; a failure prints the file's name.
INSTANTIATE_TEST_SUITE_P(Files, CorpusJoin,
                         testing::ValuesIn(kCorpus.exists() ? kCorpus.entryList({"*.pdf"})
                                                            : QStringList{"corpus-absent"}));
