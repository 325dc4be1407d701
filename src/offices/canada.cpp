#include "offices/canada.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "pdf/pdf_library.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;
// A joined document shorter than this holds no usable section.
constexpr qint64 kSmallestDocument = 800;

struct SectionRow {
    const char* remote; // the end of its link and of its file name at the office
    const char* status; // behind the number while it is fetched
    const char* temp;   // the end of its job file's name
};
constexpr SectionRow kRows[kCanadaSections] = {
    {"_coverpage.pdf", " Downloading cover page ", "_cov.pdf"},
    {"_abstract.pdf", " Downloading Abstract", "_abs.pdf"},
    {"_claims.pdf", " Downloading Claims", "_clm.pdf"},
    {"_description.pdf", " Downloading Disclosures", "_dis.pdf"},
    {"_drawings.pdf", " Downloading Drawings", "_drw.pdf"},
};

QString job_file(const Preamble& p, const QString& number, int section) {
    return p.temp_prefix + number + QLatin1String(kRows[section].temp);
}

// Fetches the sections into job files and joins them into file, in table order. The
// cancel is looked at only before the join: the fetches run to their end.
void fetch_and_join(RunContext& ctx, const Preamble& p, const QString& number, const QString& plain,
                    const CanadaSummary& summary, const QString& file) {
    const bool coverOnly = ctx.host.frontPageOnly();
    const QString note = coverOnly ? QStringLiteral(" (Front page only)") : QString();
    ctx.host.setStatus(number + QStringLiteral(" Starting download"));
    ctx.host.setStatus(number + QStringLiteral(" Requesting pages"));
    for (int s = 0; s < kCanadaSections; ++s) {
        if (!summary.sections[s] || (coverOnly && s != CoverPage))
            continue;
        ctx.host.setStatus(number + QLatin1String(kRows[s].status) +
                           (s == CoverPage ? note : QString()));
        save_bytes(job_file(p, number, s),
                   fetch_bytes(ctx.Inet1, role_url(p.prefix, QStringLiteral("CipoHost"),
                                                   canada_section_path(plain, summary.stem,
                                                                       CanadaSection(s)))));
    }
    if (!ctx.state.order_cancelled) {
        // A section that is no PDF adds nothing; the size test at the end judges the whole.
        const int32_t handle = PDocNew(0, 0, file);
        for (int s = 0; s < kCanadaSections; ++s) {
            const QString part = job_file(p, number, s);
            if (file_exists(part)) {
                PDocMerge(handle, part, 1, -1);
                delete_file(part);
            }
        }
        PDocRelease(handle);
    }
    for (int s = 0; s < kCanadaSections; ++s)
        delete_file(job_file(p, number, s));
    if (!ctx.state.order_cancelled)
        ctx.host.setStatus(number + QStringLiteral(" Done"));
}

} // namespace

QString canada_plain_number(const QString& number) {
    QString plain = number.mid(2);
    plain.remove(QLatin1Char('C'));
    return plain;
}

QString canada_summary_path(const QString& plain) {
    return QStringLiteral("/cipo/cpd/en/patent/") + plain + QStringLiteral("/summary.html");
}

CanadaSummary read_canada_summary(const QString& page, const QString& plain) {
    CanadaSummary s;
    for (int i = 0; i < kCanadaSections; ++i)
        s.sections[i] = page.contains(QLatin1String(kRows[i].remote) + QLatin1Char('"'));
    // The token: within 50 characters from the first link to the document's pages, what
    // stands behind the first "_" up to the next one (or to the end of those 50).
    const qsizetype at = page.indexOf(QStringLiteral("\"page/") + plain + QLatin1Char('_'));
    if (at >= 0) {
        const QString window = page.mid(at, 50);
        const qsizetype first = window.indexOf(QLatin1Char('_'));
        if (first >= 0) {
            s.token = window.mid(first + 1);
            const qsizetype next = s.token.indexOf(QLatin1Char('_'));
            if (next >= 0)
                s.token.truncate(next);
        }
    }
    s.stem = plain + QLatin1Char('_') + s.token;
    return s;
}

QString canada_section_path(const QString& plain, const QString& stem, CanadaSection section) {
    return QStringLiteral("/opic-cipo/cpd/en/patent/") + plain + QStringLiteral("/page/") + stem +
           QLatin1String(kRows[section].remote);
}

void canada_download(RunContext& ctx, QString& number, const QString& reference) {
    // Here alone the access settings come from the old key, which nothing writes: so this
    // office is always reached with the system's default access.
    Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout,
                                QStringLiteral(" (CANADA)"), {.accessKey = old_settings_key});
    // A number names a file in the order's folder and nowhere else.
    number.remove(QLatin1Char('/'));
    number.remove(QLatin1Char('\\'));
    const QString plain = canada_plain_number(number);

    QString page;
    if (!ctx.state.order_cancelled)
        page = fetch_text(
            ctx.Inet1, role_url(p.prefix, QStringLiteral("CipoHost"), canada_summary_path(plain)));
    if (page.isEmpty()) {
        p.result = QStringLiteral("Timeout @ the CIPO server");
        page = p.result;
    }

    const CanadaSummary summary = read_canada_summary(page, plain);
    if (!summary.found()) {
        p.result += QStringLiteral(" (Patent not found)");
        ctx.host.setStatus(p.result);
        ctx.host.setStatus(number + QStringLiteral(" - ") + p.result);
    } else {
        if (ctx.host.frontPageOnly())
            number = QStringLiteral("FP_") + number;
        // The summary is asked for also when the document is on the disk already.
        const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
        if (file_exists(file))
            ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
        else
            fetch_and_join(ctx, p, number, plain, summary, file);
    }

    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
    if (!ctx.state.order_cancelled) {
        // The page count creates an absent file empty; the size test below drops it again.
        if (p.result.isEmpty())
            p.result = downloaded_word(file);
        if (file_exists(file) && file_length(file) < kSmallestDocument) {
            p.result = QStringLiteral("Download error (") + number + QLatin1Char(')');
            delete_file(file);
        }
    }
    close_retriever(ctx, number, reference, p.result);
}
