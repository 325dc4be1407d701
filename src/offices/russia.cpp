#include "offices/russia.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;
// Anything smaller is the server's error page, not a document; cached files too.
constexpr qint64 kSmallestDocument = 8000;

// The first `width` characters of text followed by zeros.
QString level(const QString& text, int width) {
    return Left(text + QStringLiteral("0000000"), width) + QLatin1Char('/');
}

} // namespace

QString fips_path(const QString& number) {
    const QString n = vb_trim(Mid(number, 3));
    QString path;
    if (n.size() > 8) {
        path = QStringLiteral("/rupatimage/NEW") + Left(n, 4) + QLatin1Char('/');
        for (int k = 1; k <= 3; ++k)
            path += level(Mid(n, 5, k), 6);
    } else {
        path = QStringLiteral("/rupatimage/0/");
        for (int k = 1; k <= 4; ++k)
            path += level(Left(n, k), 7);
    }
    return path + n + QStringLiteral(".pdf");
}

void rupto_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p =
        fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (RUPTO)"));
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
    const QString url = role_url(p.prefix, QStringLiteral("FipsHost"), fips_path(number));

    if (!file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Downloading document please wait! "));
        // Written whatever it is, also empty when nothing came back: the size decides.
        save_bytes(file, fetch_bytes(ctx.Inet1, url));
        ctx.host.setStatus(QStringLiteral("Bright Quill"));
    } else {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
    }

    p.result = sized_document_word(file, number, kSmallestDocument, p.result);
    close_retriever(ctx, number, reference, p.result);
}
