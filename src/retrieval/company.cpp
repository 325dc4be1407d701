#include "retrieval/company.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "order/report_log.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "retrieval/retrieval_util.h"

#include <QStringList>

namespace {

const QString kDesktopTitle = QStringLiteral("Bright Quill - Desktop edition");

void checking_status(RunContext& ctx, const QString& number) {
    for (int i = 0; i < 2; ++i) {
        ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
        ctx.doEvents(4);
    }
}

// Whether the first page of a downloaded file can be copied, tried into a scratch file
// that is deleted again.
bool first_page_copies(const QString& file, const QString& scratch) {
    const int32_t handle = PDocNew(0, 0, scratch);
    const bool copied = PDocMerge(handle, file, 1, 1) != 0;
    PDocRelease(handle);
    delete_file(scratch);
    return copied;
}

// The lookup number and kind code of the Espacenet site, from the end of the number.
void site_lookup(const QString& number, QString& lookup, QString& kind) {
    struct Ending {
        const char* ending;
        const char* kind;
    };
    static const Ending endings[] = {{"B", "B"},   {"B1", "B1"}, {"B2", "B2"}, {"A3", "A3"},
                                     {"A1", ""},   {"A2", ""},   {"A4", "A4"}, {"A9", "A9"},
                                     {"C1", "C1"}, {"C2", "C2"}, {"C3", "C3"}, {"C4", "C4"}};
    lookup = number;
    kind.clear();
    for (const Ending& e : endings) {
        const QString ending = QString::fromLatin1(e.ending);
        if (number.endsWith(ending)) {
            lookup.chop(ending.size());
            kind = QString::fromLatin1(e.kind);
            break;
        }
    }
}

} // namespace

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
        const QString reply =
            fetch_text(ctx.Inet1, QStringLiteral("http://") + p.prefix +
                                      host_role(QStringLiteral("CompanyServicesHost")) +
                                      QStringLiteral("/lookup/wipop2.asp?pn=") + query);
        ctx.Inet1.RequestTimeout = keep;

        // A "BOOKMARKS=" line may come with the reply; WO documents from this server get
        // no bookmarks, so it is not read.
        const bool valid = !reply.isEmpty() && reply.toUpper().contains(QLatin1String("PAGES=")) &&
                           !holds_html(reply);
        bool gaveUp = !valid;
        if (valid) {
            // Line 0 is a header and the last line is never fetched. Every line writes the
            // same file, so of several the last one stands.
            const QStringList lines = reply.split(QStringLiteral("\r\n"));
            for (int i = 1; i <= lines.size() - 2 && !gaveUp; ++i) {
                for (int r = 0;; ++r) {
                    const QString url = QStringLiteral("http://") + p.prefix + lines.at(i);
                    ctx.host.setStatus(r > 1 ? number +
                                                   QStringLiteral(" Downloading document (retry ") +
                                                   QString::number(r + 1) + QStringLiteral(")")
                                             : number + QStringLiteral(" Downloading document"));
                    ctx.doEvents(3);
                    save_bytes(file, fetch_bytes(ctx.Inet1, url));
                    const QString head = html_test_text(file);
                    const bool copies = first_page_copies(file, p.temp_prefix + number +
                                                                    QStringLiteral("_test.pdf"));
                    if (!holds_html(head) && copies)
                        break;
                    delete_file(file);
                    if (r > 5) {
                        ctx.host.setStatus(number + QStringLiteral(" not found"));
                        gaveUp = true;
                        break;
                    }
                    ctx.host.setStatus(
                        number + QStringLiteral(" Downloading the document please wait!  retry: ") +
                        QString::number(r));
                    ctx.doEvents(3);
                }
            }
        }
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
    QString result = p.result;
    checking_status(ctx, number);
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
    const QString site =
        QStringLiteral("http://") + p.prefix + host_role(QStringLiteral("EspacenetSiteHost"));

    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
    } else {
        QString lookup;
        QString kind;
        site_lookup(number, lookup, kind);
        if (lookup.startsWith(QLatin1String("EP")))
            lookup = QStringLiteral("EP") + Right(QStringLiteral("00000000") + lookup.mid(2), 7);
        lookup = wo_years(lookup, 9); // this retriever's rule stops at 2009

        if (!kind.isEmpty()) {
            const QString reply =
                fetch_text(ctx.Inet1, site + QStringLiteral("/textdoc?RPN=") + lookup +
                                          QStringLiteral("&PRT=yes&F=1"));
            const int at =
                int(reply.indexOf(QStringLiteral("<nobr>") + lookup + QStringLiteral(" (") + kind +
                                  QStringLiteral(")</nobr>")));
            if (at < 0) {
                lookup.clear();
            } else {
                const QString head = reply.left(at);
                const int doc = int(head.lastIndexOf(QLatin1String("&DOC=")));
                if (doc >= 0) {
                    QString id = head.mid(doc);
                    const int quote = int(id.indexOf(QLatin1Char('"')));
                    if (quote >= 0)
                        id = id.left(quote);
                    lookup += id;
                }
            }
        }

        QString probe;
        if (!lookup.isEmpty()) {
            const QString pagesFile = p.temp_prefix + number + QStringLiteral("_pages.pdf");
            write_file(pagesFile,
                       fetch_bytes(ctx.Inet1, site + QStringLiteral("/pdfdoc?RPN=") + lookup));
            const QString text = latin1(read_file(pagesFile));
            delete_file(pagesFile);
            const int kids = int(text.indexOf(QLatin1String("/Kids")));
            if (kids >= 0)
                probe = text.mid(kids);
        }
        if (probe.isEmpty())
            probe = QStringLiteral(" <HTML> ");

        if (holds_html(probe)) {
            result = number + QStringLiteral("not found");
        } else {
            QString countText;
            const int countAt = int(probe.indexOf(QLatin1String("/Count")));
            if (countAt >= 0) {
                countText = probe.mid(countAt + 6);
                const int slash = int(countText.indexOf(QLatin1Char('/')));
                if (slash >= 0)
                    countText = countText.left(slash);
            }
            const int count = vb_val(vb_trim(countText));
            const QString countWord = QString::number(count);
            bool gaveUp = false;
            for (qint64 page = 1; page <= count && !gaveUp; ++page) {
                const QString pageFile = p.temp_prefix + number + QStringLiteral("_") +
                                         QString::number(page) + QStringLiteral(".pdf");
                for (int r = 0;; ++r) {
                    const QString url = site + QStringLiteral("/pdfdoc?RPN=") + lookup +
                                        QStringLiteral("&F=64&PGN=") + QString::number(page);
                    QString status = number + QStringLiteral(" Downloading page ") +
                                     QString::number(page) + QStringLiteral(" out of ") +
                                     countWord + QStringLiteral(" pages");
                    if (r > 1)
                        status += QStringLiteral(" (retry ") + QString::number(r + 1) +
                                  QStringLiteral(")");
                    ctx.host.setStatus(status);
                    ctx.doEvents(3);
                    write_file(pageFile, fetch_bytes(ctx.Inet1, url));
                    const QString head = html_test_text(pageFile);
                    const bool copies = first_page_copies(
                        pageFile, p.temp_prefix + number + QStringLiteral("_test.pdf"));
                    if (!holds_html(head) && copies &&
                        !head.toLower().contains(
                            QLatin1String("pdf not available for this document")))
                        break;
                    delete_file(pageFile);
                    if (r > 9) {
                        // The pages fetched so far stay behind in the temp folder.
                        ctx.host.setStatus(number + QStringLiteral(" not found"));
                        result = QStringLiteral("Not found ");
                        gaveUp = true;
                        break;
                    }
                    ctx.host.setStatus(
                        number + QStringLiteral(" Downloading the document please wait! (") +
                        countWord + QStringLiteral(" pages) retry: ") + QString::number(r));
                    ctx.doEvents(3);
                }
            }
            if (!gaveUp) {
                merge_Espace_pdf(file, p.temp_prefix + number + QStringLiteral("_"), count, 0,
                                 number);
                if (file_length(file) < 2750) {
                    delete_file(file);
                    result = number + QStringLiteral(" Not found");
                    ctx.host.setStatus(result);
                }
                ctx.host.setStatus(kDesktopTitle);
                ctx.doEvents(3);
                ctx.host.setStatus(QStringLiteral("Bright Quill"));
            }
        }
    }

    if (result.isEmpty())
        result = QStringLiteral("Downloaded (") + pdfnumpages(file) + QStringLiteral(" )");
    ctx.host.setStatus(result);
    if (ctx.state.order_cancelled) {
        ctx.host.setStatus(QStringLiteral("Job cancelled"));
    } else {
        QString ref = reference;
        writelog(ctx, number, ref, result);
    }
    ctx.host.setTitle(kDesktopTitle);
}
