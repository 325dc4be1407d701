#include "offices/spain.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;

} // namespace

QString spain_lookup_path(const QString& number) {
    return QStringLiteral("/espdf.asp?pn=") + number;
}

std::optional<QString> spain_document_path(const QString& answer) {
    const qsizetype at = answer.indexOf(QLatin1String("/pdf/"));
    if (at < 0)
        return std::nullopt;
    const qsizetype quote = answer.indexOf(QLatin1Char('"'), at);
    return quote < 0 ? QString() : answer.mid(at, quote - at);
}

void spain_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p =
        fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (Spain)"));
    // A number names a file in the order's folder and nowhere else.
    number.remove(QLatin1Char('/'));
    number.remove(QLatin1Char('\\'));

    QString answer;
    if (!ctx.state.order_cancelled)
        answer = fetch_text(ctx.Inet1, role_url(p.prefix, QStringLiteral("CompanyLookupHost"),
                                                spain_lookup_path(number)));
    if (answer.isEmpty()) {
        p.result = QStringLiteral("Timeout @ the Spanish server");
        answer = p.result;
    }

    const std::optional<QString> path = spain_document_path(answer);
    if (!path) {
        // Not found: the name stays without "FP_".
        p.result += QStringLiteral(" (Spain) (Patent not found)");
        ctx.host.setStatus(p.result);
    } else {
        // The whole document goes under the "FP_" name; the end of the order takes it as the
        // front page it asked for.
        if (ctx.host.frontPageOnly())
            number = QStringLiteral("FP_") + number;
        const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
        if (file_exists(file)) {
            ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
        } else {
            ctx.host.setStatus(number + QStringLiteral(" Downloading document please wait! "));
            // A link without its closing quote is no address: nothing to ask for.
            std::optional<QByteArray> bytes;
            if (!path->isEmpty())
                bytes = ctx.Inet1.OpenURL(role_url(p.prefix, QStringLiteral("OepmHost"), *path));
            // Whatever came is the document, unchecked: an error page too. Only a cancel
            // that cut the request short leaves nothing behind.
            if (bytes || !ctx.state.order_cancelled)
                save_bytes(file, bytes.value_or(QByteArray()));
            ctx.host.setStatus(QStringLiteral("Bright Quill"));
        }
    }

    // The page count would create an absent file; a cancelled order logs nothing anyway.
    if (p.result.isEmpty() && !ctx.state.order_cancelled)
        p.result = downloaded_word(p.pdf_folder + number + QStringLiteral(".pdf"));
    close_retriever(ctx, number, reference, p.result);
}
