#include "offices/china.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"
#include "retrieval/kit.h"
#include "retrieval/retrievers.h"

#include <QFile>

#include <limits>

namespace {

constexpr int kRequestTimeout = 600;
// The page count before SIPO has told one; a count of exactly this many means the same.
constexpr qint64 kNoPageCount = 112800;
// A page gets this many retries after its first attempt.
constexpr int kPageRetries = 8;
// A joined document below this size is an error page, not a document.
constexpr qint64 kMinimumSize = 780;

const QString kUpdateStatus = QStringLiteral("Downloading the SIPO update please wait!!!");

// The text behind the first marker (skip characters on from the marker's start) up to the
// next quote; empty when the marker or the closing quote is missing.
QString quoted(const QString& page, const QString& marker, int skip, QChar quote) {
    const qsizetype at = page.indexOf(marker);
    if (at < 0)
        return {};
    const qsizetype from = at + skip;
    const qsizetype end = page.indexOf(quote, from);
    return end < 0 ? QString() : page.mid(from, end - from);
}

QString without_blanks(QString text) {
    return text.remove(QLatin1Char(' '));
}

QString page_file(const Preamble& p, const QString& number, qint64 page, const char* ending) {
    return p.temp_prefix + number + QLatin1Char('_') + QString::number(page) +
           QLatin1String(ending);
}

// The count of pages to fetch, learned from the search page and the page-count request;
// kNoPageCount when none was learned. suffix then tells the count in the status lines.
qint64 learn_page_count(RunContext& ctx, const QString& prefix, const SipoRecord& record,
                        QString& suffix) {
    QString countText = record.pageCount;
    QString answer;
    if (!ctx.state.order_cancelled)
        answer = fetch_text(ctx.Inet1, role_url(prefix, QStringLiteral("SipoPatentHost"),
                                                sipo_page_count_query(record)));
    if (const std::optional<QString> told = read_sipo_page_count(answer); told && sipo_count(*told))
        countText = *told;
    if (const std::optional<int> count = sipo_count(countText)) {
        suffix = QStringLiteral(" out of ") + QString::number(*count);
        return *count;
    }
    return kNoPageCount;
}

// One page image through the relay, rewritten by the converter. Nine attempts, without a
// pause between them. False when the page could not be had; the status then tells why.
bool fetch_page(RunContext& ctx, const Preamble& p, const QString& number, const QString& url,
                qint64 page, const QString& suffix, const QString& cnpto) {
    const QString raw = page_file(p, number, page, ".tif_temp");
    const QString tif = page_file(p, number, page, ".tif");
    for (int retry = 0;;) {
        QString status =
            number + QStringLiteral(" Downloading page ") + QString::number(page) + suffix;
        if (retry > 0)
            status += QStringLiteral(" (Retry: ") + QString::number(retry) + QLatin1Char(')');
        ctx.host.setStatus(status);
        ctx.doEvents(2);
        const std::optional<QByteArray> image = ctx.Inet1.OpenURL(url);
        if (!image) {
            if (++retry > kPageRetries) {
                ctx.inf(number + QStringLiteral(" Error in download"));
                return false;
            }
            continue;
        }
        write_file(raw, *image);
        // The converter is bounded by the request time-out: one that never ends costs an
        // attempt, not the order.
        CNtif(ctx.host, tif, raw, cnpto, ctx.Inet1.RequestTimeout);
        delete_file(raw);
        // The test is on what the converter wrote, not on what the relay sent.
        if (sipo_page_good(tif))
            return true;
        delete_file(tif);
        if (ctx.state.order_cancelled) {
            ctx.inf(number + QStringLiteral(" Download aborted"));
            return false;
        }
        if (++retry > kPageRetries) {
            ctx.inf(number + QStringLiteral(" Error in download"));
            return false;
        }
    }
}

// The pages one after the other. Returns the page counter as the loop leaves it: total + 1
// after a complete run, the page not begun after a cancel, 0 after a page that could not
// be had. Nothing is set aside per page, so an absurd count costs only the pages tried.
qint64 fetch_pages(RunContext& ctx, const Preamble& p, const QString& number, const QString& dirno,
                   qint64 total, const QString& suffix, const QString& cnpto) {
    ctx.inf(number + QStringLiteral(" Starting download"));
    for (qint64 page = 1; page <= total; ++page) {
        ctx.doEvents();
        if (ctx.state.order_cancelled)
            return page;
        const QString url =
            role_url(p.prefix, QStringLiteral("CompanyServicesHost"), sipo_relay_path(dirno, page));
        if (!fetch_page(ctx, p, number, url, page, suffix, cnpto))
            return 0;
        ctx.host.setPageProgress(int(page),
                                 int(std::min<qint64>(total, std::numeric_limits<int>::max())));
    }
    return total + 1;
}

// Every converted page made a one-page PDF, the pages joined under the number, the job
// files deleted.
void assemble(RunContext& ctx, const Preamble& p, const QString& number, qint64 counter,
              const QString& target) {
    const QString uspto =
        ensure_converter(ctx, p.prefix, QStringLiteral("uspto.lib"), kUpdateStatus);
    for (qint64 page = 1; page <= counter; ++page) {
        const QString tif = page_file(p, number, page, ".tif");
        if (file_exists(tif))
            tif2pdf(ctx.host, page_file(p, number, page, ".pdf"), tif, uspto,
                    ctx.Inet1.RequestTimeout);
    }
    merge_Espace_pdf(target, p.temp_prefix + number + QLatin1Char('_'), int32_t(counter - 1), 0,
                     number.toUpper());
    for (qint64 page = 1; page <= counter; ++page) {
        delete_file(page_file(p, number, page, ".tif"));
        delete_file(page_file(p, number, page, ".pdf"));
    }
}

// Search, page count, pages and assembly. Returns the failure word that skips the checks of
// the joined file, or "" when those checks decide.
QString fetch_document(RunContext& ctx, const Preamble& p, const QString& number,
                       const QString& target, const QString& cnpto) {
    const SipoSearch search = sipo_search(number);
    QString answer;
    if (!ctx.state.order_cancelled)
        answer = fetch_text(
            ctx.Inet1, role_url(p.prefix, QStringLiteral("SipoPatentHost"), search.pathAndQuery));
    qint64 total = kNoPageCount;
    QString suffix;
    SipoRecord record;
    if (!answer.isEmpty()) {
        record = read_sipo_record(answer);
        if (!record.found) {
            const QString word = number + QStringLiteral(" Not found at the SIPO server");
            ctx.inf(word);
            return word;
        }
        total = learn_page_count(ctx, p.prefix, record, suffix);
    }
    if (total == kNoPageCount || total == 0) {
        ctx.inf(number + QStringLiteral(" Error at the SIPO image server"));
        return QStringLiteral("Error at the SIPO image server");
    }
    const qint64 counter = fetch_pages(ctx, p, number, record.dirno, total, suffix, cnpto);
    if (counter - 1 > 0 && !ctx.state.order_cancelled)
        assemble(ctx, p, number, counter, target);
    return {};
}

} // namespace

SipoSearch sipo_search(const QString& number) {
    const QString numberPart = vb_trim(Mid(number, 3));
    SipoSearch s;
    s.searchNumber = numberPart.toUpper();
    for (const QChar kind : QStringLiteral("ABCTYU"))
        s.searchNumber.remove(kind);
    s.publication = !numberPart.isEmpty() && QStringLiteral("CBYUT").contains(numberPart.back());
    s.pathAndQuery =
        QStringLiteral("/cgi-bin/forsearch/client/for_search?flag=1&libname=zhuanli&a=&b=") +
        (s.publication ? s.searchNumber + QStringLiteral("&c=")
                       : QStringLiteral("&c=") + s.searchNumber) +
        QStringLiteral("&d=&e=&f=&g=&h=&i=&j=&k=&l=&m=&n=&o=&p=&q=");
    return s;
}

SipoRecord read_sipo_record(const QString& page) {
    SipoRecord r;
    r.found = page.contains(QStringLiteral("seg3[0]='"));
    r.pageCount = without_blanks(quoted(page, QStringLiteral("seg3[0]='"), 9, QLatin1Char('\'')));
    r.dirno = without_blanks(quoted(page, QStringLiteral("seg1[0]='"), 9, QLatin1Char('\'')));
    // Twelve characters of marker and the opening quote, whatever that character is.
    r.express = vb_trim(quoted(page, QStringLiteral("ccm_express="), 13, QLatin1Char('"')));
    r.libname = vb_trim(quoted(page, QStringLiteral("ccm_libname="), 13, QLatin1Char('"')));
    r.fileno = vb_trim(quoted(page, QStringLiteral("ccm_fileno[0]='"), 15, QLatin1Char('\'')));
    return r;
}

QString sipo_page_count_query(const SipoRecord& record) {
    // The two blanks behind the directory number are part of the value the site expects.
    return QStringLiteral("/cgi-bin/forsearch/client/gettext?fileno=") + record.fileno +
           QStringLiteral("&express=") + record.express + QStringLiteral("&libname=") +
           record.libname + QStringLiteral("&dirno=") + record.dirno +
           QStringLiteral("%20%20&pagenum=") + record.pageCount;
}

std::optional<QString> read_sipo_page_count(const QString& answer) {
    const qsizetype at = answer.indexOf(QStringLiteral("ccm_pagenum="));
    if (at < 0)
        return std::nullopt;
    const QString text = answer.mid(at + 12, 300);
    return vb_trim(text.left(text.indexOf(QLatin1Char(';'))));
}

std::optional<int> sipo_count(const QString& text) {
    const QString t = vb_trim(text);
    bool ok = !t.isEmpty();
    for (const QChar c : t)
        ok = ok && c >= QLatin1Char('0') && c <= QLatin1Char('9');
    const qlonglong n = ok ? t.toLongLong(&ok) : 0;
    if (!ok || n <= 0 || n > std::numeric_limits<int32_t>::max())
        return std::nullopt;
    return int(n);
}

QString sipo_relay_path(const QString& dirno, qint64 page) {
    return QStringLiteral("/cn2tif/cnt.asp?PN=/") + Left(dirno, 5) + QLatin1Char('/') + dirno +
           QLatin1Char('.') + QString::number(page);
}

bool sipo_page_good(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.size() >= 150 && file.read(3) == "II*";
}

void cnpto_download(RunContext& ctx, QString& number, const QString& reference) {
    PreambleSteps steps;
    steps.title = false;
    steps.status = false;
    const Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout, QString(), steps);
    // Fetched for every number, a cached one too, whatever the cancel flag says.
    const QString cnpto =
        ensure_converter(ctx, p.prefix, QStringLiteral("cnpto.lib"), kUpdateStatus);
    ctx.host.setTitle(number + QStringLiteral(" (CNPTO)"));
    ctx.doEvents(3);
    for (int i = 0; i < 2; ++i) {
        ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists (SIPO)"));
        ctx.doEvents(4);
    }

    const QString target = p.pdf_folder + number + QStringLiteral(".pdf");
    QString word;
    if (file_exists(target))
        ctx.inf(number + QStringLiteral(" Retrieved from cache"));
    else
        word = fetch_document(ctx, p, number, target, cnpto);

    if (word.isEmpty()) {
        if (!ctx.state.order_cancelled)
            ctx.inf(number + QStringLiteral(" Done"));
        if (!file_exists(target)) {
            word = QStringLiteral("PDF not found at the SIPO server");
        } else if (file_length(target) < kMinimumSize) {
            delete_file(target);
            word = QStringLiteral("Error at the SIPO server");
        }
    }
    if (!word.isEmpty()) {
        ctx.inf(number + QStringLiteral(" - ") + word);
        // The chain tries the other sources, logs and resets the title itself.
        call_retriever(ctx, QStringLiteral("get_patent"), number, reference);
        return;
    }
    close_retriever(ctx, number, reference, downloaded_word(target));
}
