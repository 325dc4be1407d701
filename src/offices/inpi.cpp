#include "offices/inpi.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"
#include "retrieval/retrievers.h"

namespace {

constexpr int kRequestTimeout = 300;
const QString kMarker = QStringLiteral("/brevet/pdf/");

} // namespace

QString inpi_search_path(const QString& number) {
    // The fixed values are the office's own; _NumBrevt is not the number asked for.
    return QStringLiteral("/brevet/cgi-bin/BRVinpi.cgi?_Action=FICHBREV&_NumPage=1&_TypeRech="
                          "RECHNUMB&_PortRech=&_SeleBrev=&_PrevAct=LISTBREV&_NumPag2=1&_"
                          "TypeVisu=RECHERCHE&_NumBrevt=0000001&_Question=") +
           number;
}

std::optional<QString> read_inpi_link(const QString& answer) {
    const qsizetype at = answer.indexOf(kMarker, 0, Qt::CaseInsensitive);
    if (at < 0)
        return std::nullopt;
    const qsizetype quote = answer.indexOf(QLatin1Char('"'), at);
    return quote < 0 ? QString() : answer.mid(at, quote - at);
}

void inpi_download(RunContext& ctx, QString& number, const QString& reference) {
    const Preamble p =
        fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (INPI France)"));
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");

    // The one request of this office that a cancel spares.
    QString answer;
    if (!ctx.state.order_cancelled)
        answer = fetch_text(
            ctx.Inet1, role_url(p.prefix, QStringLiteral("InpiHost"), inpi_search_path(number)));
    const std::optional<QString> link = read_inpi_link(answer);
    if (!link) {
        // A miss, a time-out (no answer) and a cancel all go on to the chain, which logs the
        // outcome and resets the title: this office has no result word of its own for them.
        call_retriever(ctx, QStringLiteral("get_patent"), number, reference);
        return;
    }

    // The search runs for a cached document too: only a found one is taken from the disk.
    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
    } else {
        ctx.host.setStatus(number + QStringLiteral(" Downloading the document please wait! "));
        // Nothing tests what comes back: an error page, or nothing at all (an empty file),
        // is the document from now on. A link without its closing quote asks the bare host.
        const QByteArray bytes =
            fetch_bytes(ctx.Inet1, role_url(p.prefix, QStringLiteral("InpiHost"), *link));
        if (names_a_file(number))
            save_bytes(file, bytes);
        ctx.host.setStatus(QStringLiteral("Bright Quill"));
    }
    close_retriever(ctx, number, reference, QStringLiteral("Downloaded (INPI)"));
}
