#include "offices/epoline.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

#include <limits>

namespace {

constexpr int kRequestTimeout = 300;
const QString kSizeCall = QStringLiteral("updateTotalDownloadSize(");
const QString kDocumentArgument = QStringLiteral("this.checked,");
// A book shorter than this is an error text.
constexpr qsizetype kShortestBook = 1000;

// What stands under a file's name after bytes are written over it without truncating it
// first: the bytes, then whatever of the old file lay beyond them.
QByteArray written_over(const QString& file, const QByteArray& bytes) {
    const QByteArray old = read_file(file);
    return old.size() > bytes.size() ? bytes + old.mid(bytes.size()) : bytes;
}

} // namespace

QString epoline_key(const QString& number) {
    return Mid(vb_trim(number), 3);
}

QString epoline_dossier_path(const QString& number) {
    return (number.startsWith(QLatin1String("FW")) ? QStringLiteral("/view/GetDossier?dosnum=")
                                                   : QStringLiteral("/view/GetDossier?pubnum=")) +
           epoline_key(number) + QStringLiteral("&lang=EN");
}

QString epoline_book_path(const QString& key, const QString& selection) {
    return QStringLiteral("/download/ShowPdfBook?lang=EN&dosnum=") + key +
           QStringLiteral("&sels=1") + selection + QStringLiteral("1");
}

EpolineDossier read_epoline_dossier(const QString& page) {
    EpolineDossier d;
    qsizetype from = 0;
    for (;;) {
        const qsizetype marker = page.indexOf(kSizeCall, from);
        const QStringView piece =
            QStringView(page).mid(from, marker < 0 ? page.size() - from : marker - from);
        d.selection += QLatin1Char('1');
        if (piece.startsWith(kDocumentArgument)) {
            const QStringView count = piece.mid(kDocumentArgument.size());
            const qsizetype close = count.indexOf(QLatin1Char(')'));
            // Without its ")" the count can't be cut out, and adds nothing; nor does a sum
            // that would overflow.
            const qint64 n = close < 0 ? 0 : vb_val(count.left(close).toString());
            if (d.pages + n <= std::numeric_limits<int32_t>::max())
                d.pages += n;
        }
        if (marker < 0)
            break;
        from = marker + kSizeCall.size();
    }
    d.estimate = d.pages * 42 * 9 / 10;
    return d;
}

bool epoline_page_found(const QString& page, const QString& key) {
    return !page.isEmpty() && page.contains(key, Qt::CaseInsensitive);
}

bool epoline_book_is_document(const QByteArray& book) {
    return book.size() >= kShortestBook &&
           !QLatin1StringView(book).contains(QLatin1StringView("<HTML>"), Qt::CaseInsensitive);
}

void epoline_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout,
                                QStringLiteral(" (EPOLINE)"), {.status = false});
    const QString key = epoline_key(number);
    ctx.host.setStatus(number + QStringLiteral(" Checking if record exists"));

    // One attempt, and no cache: the dossier is asked for every time.
    const QString page = fetch_text(
        ctx.Inet1, role_url(p.prefix, QStringLiteral("EpolineHost"), epoline_dossier_path(number)));
    if (!epoline_page_found(page, key)) {
        p.result = number + QStringLiteral(" Not found");
        ctx.host.setStatus(p.result);
    } else {
        const EpolineDossier d = read_epoline_dossier(page);
        ctx.host.setStatus(number + QStringLiteral(" Downloading please wait! (") +
                           QString::number(d.pages) + QStringLiteral(" pages ") +
                           QString::number(d.estimate) + QStringLiteral("kb )"));
        const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
        const QByteArray bytes =
            fetch_bytes(ctx.Inet1, role_url(p.prefix, QStringLiteral("EpolineHost"),
                                            epoline_book_path(key, d.selection)));
        // The bytes go over an older file of the name without truncating it, and the test
        // reads what then stands there. It is made before anything is written, so that a
        // book that fails it never stands under the name; a failed test deletes the file.
        const QByteArray book = names_a_file(number) ? written_over(file, bytes) : QByteArray();
        if (epoline_book_is_document(book) && save_bytes(file, book)) {
            ctx.host.setStatus(number + QStringLiteral(" Done"));
        } else {
            if (names_a_file(number))
                delete_file(file);
            p.result = QStringLiteral("Record not found");
            ctx.host.setStatus(number + QStringLiteral(" File wrapper not found"));
        }
    }
    if (p.result.isEmpty())
        p.result = QStringLiteral(" Downloaded (File Wrapper)");
    close_retriever(ctx, number, reference, p.result);
}
