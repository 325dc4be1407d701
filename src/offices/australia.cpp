#include "offices/australia.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;
// Anything shorter is an error page, whether fetched now or found on the disk.
constexpr qint64 kSmallestDocument = 800;

} // namespace

AustraliaSearch australia_search(const QString& number) {
    AustraliaSearch s;
    s.plain = vb_trim(Mid(number, 3));
    if (s.plain.startsWith(QLatin1Char('A'))) {
        s.plain = vb_trim(s.plain.mid(1));
        s.application = true;
    }
    if (s.plain.size() > 8)
        s.application = true;
    s.pathAndQuery =
        QStringLiteral("/aub/aub_pages_1.process_simple_search?") +
        (s.application ? QStringLiteral("p_application_no=") : QStringLiteral("p_serial_no=")) +
        s.plain + QStringLiteral("&p_procedure=paint_simple_search");
    return s;
}

AustraliaResult read_australia_result(const QString& page) {
    AustraliaResult r;
    const qsizetype quote = page.indexOf(QLatin1String("\">Full Document"));
    if (quote < 0)
        return r;
    r.found = true;

    const qsizetype note = page.indexOf(QLatin1String("Full Document</A>"));
    if (note >= 0) {
        const qsizetype open = page.indexOf(QLatin1Char('['), note);
        const qsizetype close = open < 0 ? -1 : page.indexOf(QLatin1Char(']'), open + 1);
        if (close >= 0)
            r.pages = page.mid(open + 1, close - open - 1);
    }
    // The first "pdf/" of the page, wherever it stands ahead of the link.
    const qsizetype pdf = page.left(quote).indexOf(QLatin1String("pdf/"));
    if (pdf >= 0)
        r.link = page.mid(pdf, quote - pdf);
    return r;
}

QString australia_document_path(const QString& link) {
    return QStringLiteral("/aub/") + link;
}

void australia_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p =
        fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (Australia)"));
    // A number names a file in the order's folder and nowhere else.
    number.remove(QLatin1Char('/'));
    number.remove(QLatin1Char('\\'));

    const AustraliaSearch search = australia_search(number);
    if (search.application)
        ctx.host.setStatus(number + QStringLiteral(" Checking if patent application exists"));
    QString answer;
    if (!ctx.state.order_cancelled)
        answer = fetch_text(
            ctx.Inet1, role_url(p.prefix, QStringLiteral("IpAustraliaHost"), search.pathAndQuery));

    if (answer.isEmpty()) {
        // No answer: the name stays without "FP_", unlike a document not found.
        p.result = number + QStringLiteral(" Timeout @ the Australian server");
    } else {
        const AustraliaResult found = read_australia_result(answer);
        if (!found.found) {
            p.result = number + QStringLiteral(" (Patent not found) ");
            ctx.host.setStatus(p.result);
        }
        // The whole document goes under the "FP_" name; the end of the order takes it as the
        // front page it asked for.
        if (ctx.host.frontPageOnly())
            number = QStringLiteral("FP_") + number;
        const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
        if (file_exists(file)) {
            ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
        } else {
            if (p.result.isEmpty()) {
                ctx.host.setStatus(number + QStringLiteral(" Downloading document please wait! (") +
                                   found.pages + QStringLiteral(" pages)"));
                // A page without "pdf/" ahead of the link gives nothing to ask for; the
                // empty file is then dropped below like any other short answer.
                std::optional<QByteArray> bytes;
                if (!found.link.isEmpty())
                    bytes = ctx.Inet1.OpenURL(role_url(p.prefix, QStringLiteral("IpAustraliaHost"),
                                                       australia_document_path(found.link)));
                save_bytes(file, bytes.value_or(QByteArray()));
            }
            ctx.host.setStatus(QStringLiteral("Bright Quill"));
        }
    }

    // Fetched or cached, a file this short is no document; its error replaces a not-found.
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
    p.result = sized_document_word(file, number, kSmallestDocument, p.result);
    close_retriever(ctx, number, reference, p.result);
}
