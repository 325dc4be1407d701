#include "retrieval/company.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/log.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "pdf/atomic_file.h"
#include "pdf/pdf_library.h"
#include "retrieval/espace.h"
#include "retrieval/kit.h"

namespace {

void checking_status(RunContext& ctx, const QString& number) {
    for (int i = 0; i < 2; ++i) {
        ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
        ctx.doEvents(4);
    }
}

// Fetches one document address of the services server into file, up to seven attempts.
// False when it gave up.
bool wipo_fetch(RunContext& ctx, const Preamble& p, const QString& number, const QString& line,
                const QString& file) {
    for (int r = 0;; ++r) {
        ctx.host.setStatus(r > 1 ? number + QStringLiteral(" Downloading document (retry ") +
                                       QString::number(r + 1) + QStringLiteral(")")
                                 : number + QStringLiteral(" Downloading document"));
        ctx.doEvents(3);
        // Tested under the assembly name: only a document that passes appears under its own.
        const QString part = assembly_name(file);
        write_file(part, fetch_bytes(ctx.Inet1, QStringLiteral("http://") + p.prefix + line));
        const QString head = html_test_text(part);
        if (first_page_copies(part, p.temp_prefix + number + QStringLiteral("_test.pdf")) &&
            !holds_html(head) && publish(part, file))
            return true;
        delete_file(part);
        delete_file(file);
        if (r > 5) {
            ctx.host.setStatus(number + QStringLiteral(" not found"));
            return false;
        }
        ctx.host.setStatus(number +
                           QStringLiteral(" Downloading the document please wait!  retry: ") +
                           QString::number(r));
        ctx.doEvents(3);
    }
}

// One page of the site's document, up to eleven attempts. False when it gave up; the pages
// fetched before stay behind in the temp folder.
bool site_page(RunContext& ctx, const Preamble& p, const QString& number, const QString& url,
               qint64 page, const QString& countWord) {
    const QString pageFile = p.temp_prefix + number + QStringLiteral("_") + QString::number(page) +
                             QStringLiteral(".pdf");
    for (int r = 0;; ++r) {
        QString status = number + QStringLiteral(" Downloading page ") + QString::number(page) +
                         QStringLiteral(" out of ") + countWord + QStringLiteral(" pages");
        if (r > 1)
            status += QStringLiteral(" (retry ") + QString::number(r + 1) + QStringLiteral(")");
        ctx.host.setStatus(status);
        ctx.doEvents(3);
        write_file(pageFile, fetch_bytes(ctx.Inet1, url));
        const QString head = html_test_text(pageFile);
        const bool copies =
            first_page_copies(pageFile, p.temp_prefix + number + QStringLiteral("_test.pdf"));
        if (!holds_html(head) && copies &&
            !head.toLower().contains(QLatin1String("pdf not available for this document")))
            return true;
        delete_file(pageFile);
        if (r > 9) {
            ctx.host.setStatus(number + QStringLiteral(" not found"));
            return false;
        }
        ctx.host.setStatus(number + QStringLiteral(" Downloading the document please wait! (") +
                           countWord + QStringLiteral(" pages) retry: ") + QString::number(r));
        ctx.doEvents(3);
    }
}

// The whole document from the site, page by page. Returns the result text ("" so far).
QString bns_site_document(RunContext& ctx, const Preamble& p, const QString& number,
                          const QString& file) {
    const QString site = QStringLiteral("/pdfdoc?RPN=");
    SiteLookup sl = site_lookup(number);
    QString lookup = wo_years(ep_site_padding(sl.lookup), 9); // this retriever stops at 2009

    if (!sl.kind.isEmpty()) {
        const std::optional<QString> id = read_textdoc(
            fetch_text(ctx.Inet1, role_url(p.prefix, QStringLiteral("EspacenetSiteHost"),
                                           QStringLiteral("/textdoc?RPN=") + lookup +
                                               QStringLiteral("&PRT=yes&F=1"))),
            lookup, sl.kind);
        lookup = id ? lookup + *id : QString();
    }

    std::optional<int> count;
    if (!lookup.isEmpty()) {
        const QString pagesFile = p.temp_prefix + number + QStringLiteral("_pages.pdf");
        write_file(pagesFile,
                   fetch_bytes(ctx.Inet1, role_url(p.prefix, QStringLiteral("EspacenetSiteHost"),
                                                   site + lookup)));
        count = read_pdfdoc_count(latin1(read_file(pagesFile)));
        delete_file(pagesFile);
    }
    if (!count)
        return number + QStringLiteral("not found");

    const QString countWord = QString::number(*count);
    for (qint64 page = 1; page <= *count; ++page) {
        const QString url =
            role_url(p.prefix, QStringLiteral("EspacenetSiteHost"),
                     site + lookup + QStringLiteral("&F=64&PGN=") + QString::number(page));
        if (!site_page(ctx, p, number, url, page, countWord))
            return QStringLiteral("Not found ");
    }
    QString result;
    const QString work = assembly_name(file);
    merge_Espace_pdf(work, p.temp_prefix + number + QStringLiteral("_"), *count, 0, number);
    if (file_length(work) < 2750 || !publish(work, file)) {
        delete_file(work);
        result = number + QStringLiteral(" Not found");
        ctx.host.setStatus(result);
    }
    ctx.host.setStatus(kDesktopTitle);
    ctx.doEvents(3);
    ctx.host.setStatus(QStringLiteral("Bright Quill"));
    return result;
}

} // namespace

std::optional<QStringList> read_wipop2(const QString& reply) {
    if (reply.isEmpty() || !reply.toUpper().contains(QLatin1String("PAGES=")) || holds_html(reply))
        return std::nullopt;
    // A "BOOKMARKS=" line may come with the reply; WO documents from this server get no
    // bookmarks, so it is not read.
    const QStringList lines = reply.split(QStringLiteral("\r\n"));
    return lines.mid(1, qMax(0, int(lines.size()) - 2));
}

SiteLookup site_lookup(const QString& number) {
    struct Ending {
        const char* ending;
        const char* kind;
    };
    static const Ending endings[] = {{"B", "B"},   {"B1", "B1"}, {"B2", "B2"}, {"A3", "A3"},
                                     {"A1", ""},   {"A2", ""},   {"A4", "A4"}, {"A9", "A9"},
                                     {"C1", "C1"}, {"C2", "C2"}, {"C3", "C3"}, {"C4", "C4"}};
    for (const Ending& e : endings) {
        const QString ending = QString::fromLatin1(e.ending);
        if (number.endsWith(ending))
            return {number.left(number.size() - ending.size()), QString::fromLatin1(e.kind)};
    }
    return {number, QString()};
}

std::optional<QString> read_textdoc(const QString& reply, const QString& lookup,
                                    const QString& kind) {
    const qsizetype at = reply.indexOf(QStringLiteral("<nobr>") + lookup + QStringLiteral(" (") +
                                       kind + QStringLiteral(")</nobr>"));
    if (at < 0)
        return std::nullopt;
    const QString head = reply.left(at);
    const qsizetype doc = head.lastIndexOf(QLatin1String("&DOC="));
    if (doc < 0)
        return QString();
    QString id = head.mid(doc);
    const qsizetype quote = id.indexOf(QLatin1Char('"'));
    return quote >= 0 ? id.left(quote) : id;
}

std::optional<int> read_pdfdoc_count(const QString& pdfText) {
    const qsizetype kids = pdfText.indexOf(QLatin1String("/Kids"));
    // An empty probe counts as an error page.
    const QString probe = kids >= 0 ? pdfText.mid(kids) : QStringLiteral(" <HTML> ");
    if (holds_html(probe))
        return std::nullopt;
    QString countText;
    const qsizetype countAt = probe.indexOf(QLatin1String("/Count"));
    if (countAt >= 0) {
        countText = probe.mid(countAt + 6);
        const qsizetype slash = countText.indexOf(QLatin1Char('/'));
        if (slash >= 0)
            countText = countText.left(slash);
    }
    return vb_val(vb_trim(countText));
}

void wipo_download(RunContext& ctx, QString& number, const QString& reference) {
    const Preamble p = fetch_preamble(ctx, number, reference, 300, QStringLiteral(" (Tarnwell1)"));
    checking_status(ctx, number);
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");

    // This retriever's result text is neither shown nor logged (the chain logs), so only
    // the file that it leaves counts.
    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
    } else {
        const int a = int(number.indexOf(QLatin1Char('A')));
        const QString query =
            a >= 0 ? number.left(a) + QStringLiteral("&KD=") + number.mid(a) : number;
        const int keep = ctx.Inet1.RequestTimeout;
        ctx.Inet1.RequestTimeout = 9999;
        const std::optional<QStringList> lines = read_wipop2(
            fetch_text(ctx.Inet1, role_url(p.prefix, QStringLiteral("CompanyServicesHost"),
                                           QStringLiteral("/lookup/wipop2.asp?pn=") + query)));
        ctx.Inet1.RequestTimeout = keep;

        // Every line writes the same file, so of several the last one stands.
        bool gaveUp = !lines;
        for (qsizetype i = 0; lines && i < lines->size() && !gaveUp; ++i)
            gaveUp = !wipo_fetch(ctx, p, number, lines->at(i), file);
        if (!gaveUp) {
            if (file_length(file) < 850)
                delete_file(file);
            ctx.host.setStatus(kDesktopTitle);
            ctx.doEvents(3);
            ctx.host.setStatus(QStringLiteral(" Brightquill Desktop"));
        }
    }

    if (ctx.state.order_cancelled) {
        ctx.host.setStatus(QStringLiteral("Job cancelled"));
    } else if (file_exists(file) && ctx.host.frontPageOnly()) {
        // The whole document stays beside its front page.
        pdf2fp(file, p.pdf_folder + QStringLiteral("FP_") + number + QStringLiteral(".pdf"));
    }
    ctx.host.setTitle(kDesktopTitle);
}

void bns_download(RunContext& ctx, QString& number, const QString& reference) {
    const Preamble p = fetch_preamble(ctx, number, reference, 300, QStringLiteral(" (Tarnwell)"));
    checking_status(ctx, number);
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");

    QString result;
    if (file_exists(file))
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
    else
        result = bns_site_document(ctx, p, number, file);

    if (result.isEmpty())
        result = downloaded_word(file);
    ctx.host.setStatus(result);
    close_retriever(ctx, number, reference, result);
}
