#include "pdf/pdf_library.h"

#include "pdf/output_document.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <map>
#include <memory>
#include <vector>

namespace {

// Open handles. Everything runs on the one user-interface thread.
std::map<int32_t, std::unique_ptr<bq::pdf::OutputDocument>>& documents() {
    static std::map<int32_t, std::unique_ptr<bq::pdf::OutputDocument>> open;
    return open;
}

int32_t g_lastHandle = 0;

// The numbers 0 .. highest that may name a part file prefix + number + ".pdf", in order. One
// number below 1 and one above the count are looked at, on purpose. For an absurd count the
// folder is listed instead of asking for each number in turn.
std::vector<int64_t> partNumbers(const QString& prefix, int64_t highest) {
    std::vector<int64_t> numbers;
    if (highest <= 100000) {
        for (int64_t i = 0; i <= highest; ++i)
            numbers.push_back(i);
        return numbers;
    }
    const QFileInfo probe(prefix + QStringLiteral("0.pdf"));
    const QString stem = probe.fileName().chopped(5);
    const QStringList names = QDir(probe.absolutePath()).entryList(QDir::Files);
    for (const QString& name : names) {
        if (!name.startsWith(stem) || !name.endsWith(QStringLiteral(".pdf")))
            continue;
        const QString digits = name.mid(stem.size(), name.size() - stem.size() - 4);
        bool ok = false;
        const qlonglong i = digits.toLongLong(&ok);
        if (ok && i >= 0 && i <= highest && QString::number(i) == digits)
            numbers.push_back(i);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace

int32_t PDocNew(int32_t a, int32_t b, const QString& target) {
    Q_UNUSED(a);
    Q_UNUSED(b);
    try {
        auto& open = documents();
        do {
            g_lastHandle = g_lastHandle == INT32_MAX ? 1 : g_lastHandle + 1;
        } while (open.count(g_lastHandle));
        open.emplace(g_lastHandle, std::make_unique<bq::pdf::OutputDocument>(target));
        return g_lastHandle;
    } catch (...) {
        return 0;
    }
}

int16_t PDocMerge(int32_t handle, const QString& source, int32_t first, int32_t last) {
    try {
        auto& open = documents();
        auto it = open.find(handle);
        if (it == open.end())
            return 0;
        // The whole source is read at once: qpdf then parses from memory, and the file may go
        // away as soon as this call returns.
        QFile file(source);
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const QByteArray bytes = file.readAll();
        file.close();
        if (bytes.isEmpty())
            return 0;
        return it->second->appendPages(bytes, first, last) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

void PDocRelease(int32_t handle) {
    try {
        auto& open = documents();
        auto it = open.find(handle);
        if (it == open.end())
            return;
        std::unique_ptr<bq::pdf::OutputDocument> doc = std::move(it->second);
        open.erase(it);
        doc->finish();
    } catch (...) {
    }
}

void pdf2fp(const QString& origPDF, const QString& TargetFP) {
    const int32_t handle = PDocNew(0, 0, TargetFP);
    PDocMerge(handle, origPDF, 1, 1);
    PDocRelease(handle);
}

bool checkpdf(const QString& pdf_to_check) {
    const QString scratch = pdf_to_check + QStringLiteral("_test.pdf");
    const int32_t handle = PDocNew(0, 0, scratch);
    const bool good = PDocMerge(handle, pdf_to_check, 1, 1) != 0;
    PDocRelease(handle);
    QFile::remove(scratch);
    return good;
}

void merge_Espace_pdf(const QString& Pdf_Merge_Save_As, const QString& Pdfs_Source_Path,
                      int32_t PDF_Number_Of_pages, int PdfBookmarksInfo,
                      const QString& PDF_doc_Title) {
    Q_UNUSED(PdfBookmarksInfo);
    Q_UNUSED(PDF_doc_Title);
    const int32_t handle = PDocNew(0, 0, Pdf_Merge_Save_As);
    for (int64_t i : partNumbers(Pdfs_Source_Path, int64_t{PDF_Number_Of_pages} + 1)) {
        const QString part = Pdfs_Source_Path + QString::number(i) + QStringLiteral(".pdf");
        if (!QFile::exists(part))
            continue;
        PDocMerge(handle, part, 1, -1);
        QFile::remove(part);
    }
    PDocRelease(handle);
}
