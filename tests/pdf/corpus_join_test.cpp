// Joining real-world PDFs that nobody on the team wrote: every corpus file goes through the
// probe, and every file that it accepts is joined whole and checked with qpdf and poppler.

#include "pdf/page_count.h"
#include "pdf/pdf_library.h"

#include "pdf_test_util.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace pdftest;

namespace {

const QString kAbsent = QStringLiteral("corpus-absent");

std::vector<QString> corpusPdfs() {
    const QString dir = corpusDir(QStringLiteral("pdf"));
    if (dir.isEmpty())
        return {kAbsent};
    std::vector<QString> names;
    for (const QString& name : QDir(dir).entryList({QStringLiteral("*.pdf")}, QDir::Files))
        names.push_back(name);
    return names;
}

std::string testName(const testing::TestParamInfo<QString>& info) {
    std::string name = info.param.toStdString();
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}

class CorpusJoin : public testing::TestWithParam<QString> {};

} // namespace

TEST_P(CorpusJoin, ProbeAnswersAndAcceptedFilesJoinFaithfully) {
    if (GetParam() == kAbsent)
        GTEST_SKIP() << "the shared corpus folder " BQ_SHARED_DIR "/corpus/pdf is absent";
    const QString dir = freshDir(GetParam());
    const QString source = dir + QStringLiteral("/source.pdf");
    ASSERT_TRUE(QFile::copy(corpusDir(QStringLiteral("pdf")) + '/' + GetParam(), source));
    QFile::setPermissions(source, QFile::ReadOwner | QFile::WriteOwner);

    const bool good = checkpdf(source);
    EXPECT_FALSE(QFile::exists(source + QStringLiteral("_test.pdf")));
    if (!good) {
        // A refused file must leave nothing behind and never reach an output.
        const QString target = dir + QStringLiteral("/refused.pdf");
        const int32_t h = PDocNew(0, 0, target);
        EXPECT_EQ(PDocMerge(h, source, 1, -1), 0);
        PDocRelease(h);
        EXPECT_FALSE(QFile::exists(target));
        return;
    }

    const QString joined = dir + QStringLiteral("/joined.pdf");
    const int32_t h = PDocNew(0, 0, joined);
    ASSERT_NE(PDocMerge(h, source, 1, -1), 0);
    PDocRelease(h);
    const QByteArray bytes = readFile(joined);
    ASSERT_FALSE(bytes.isEmpty());

    const RunResult check = run(QStringLiteral("qpdf"), {QStringLiteral("--check"), joined});
    // Warnings are allowed (a damaged image stays as damaged as in the source); errors not.
    EXPECT_TRUE(check.exitCode == 0 || check.exitCode == 3)
        << check.out.constData() << check.err.constData();
    EXPECT_FALSE(check.out.contains("ERROR") || check.err.contains("ERROR"))
        << check.out.constData() << check.err.constData();
    EXPECT_EQ(layoutProblems(bytes), QStringList());

    const int pages = qpdfPageCount(source);
    ASSERT_GT(pages, 0);
    EXPECT_EQ(qpdfPageCount(joined), pages);
    EXPECT_EQ(pdfnumpages(joined), QString::number(pages) + QStringLiteral(" Pages"));

    // The pages look the same as the source's, at a low resolution. Where poppler cannot
    // render the source at all there is nothing to compare with.
    const std::vector<Gray> before = render(source, 1, pages, 20);
    const std::vector<Gray> after = render(joined, 1, pages, 20);
    if (before.empty())
        return;
    ASSERT_EQ(after.size(), before.size());
    for (size_t i = 0; i < before.size(); ++i) {
        const double share = differingShare(before[i], after[i], 48);
        EXPECT_LE(share, 0.01) << "page " << i + 1 << " of " << pages;
    }
}

INSTANTIATE_TEST_SUITE_P(Files, CorpusJoin, testing::ValuesIn(corpusPdfs()), testName);
