#include "offices/korea.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;
const QString kApplication = QStringLiteral("<B211EP TYPE=\"original\"");
// An answer counts only with more than this many bytes: a shorter one is an error page.
constexpr qsizetype kSmallestAnswer = 8001;
// A file on the disk below this size is no document.
constexpr qint64 kSmallestFile = 800;

} // namespace

QString kipris_lookup_number(const QString& number) {
    QString n = vb_trim(number).toUpper();
    n.replace(QLatin1String("B2"), QLatin1String("B"));
    n.replace(QLatin1String("B1"), QLatin1String("B"));
    n.remove(QLatin1Char(' '));
    n.remove(QLatin1Char(','));
    return n;
}

KiprisRecord read_kipris_record(const QString& answer) {
    KiprisRecord r;
    const qsizetype at = answer.indexOf(kApplication);
    r.found = at >= 0;
    if (!r.found)
        return r;
    // A field that is never closed reads as empty.
    const qsizetype end = answer.indexOf(QLatin1String("</B211EP>"), at);
    if (end >= 0) {
        QString field = answer.mid(at, end - at);
        field = field.mid(field.indexOf(QLatin1Char('>')) + 1);
        for (QChar c : {u' ', u'\r', u'\n'})
            field.remove(c);
        r.application = field;
    }
    r.utility = answer.contains(QLatin1String("Y</B131EP>")) ||
                answer.contains(QLatin1String("U</B131EP>"));
    return r;
}

QString kipris_application(const KiprisRecord& record) {
    QString n = (record.utility ? QStringLiteral("20") : QStringLiteral("10")) + record.application;
    // The record may carry the code already; then it stands twice.
    for (const char* doubled : {"101020", "202020"})
        if (n.startsWith(QLatin1String(doubled)) && n.size() > 13)
            n.remove(0, 2);
    return n;
}

bool kipris_has_full_text(const QString& biblioPage) {
    return biblioPage.contains(QLatin1String(".pdf?method=fullText"));
}

QString kipris_biblio_path(const QString& application) {
    return QStringLiteral("/engpat/biblio/biblioMain_pdfAcrobat.jsp?applno=") + application +
           QStringLiteral("&pub_reg=");
}

QString kipris_document_path(const QString& application) {
    return QStringLiteral("/engpat/") + application +
           QStringLiteral(".pdf?method=fullText&applno=") + application +
           QStringLiteral("&pub_reg=");
}

void kipris_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (Korea)"),
                                {.rewriteNumber = false, .status = false});
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists  (Korea)"));
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");

    // The lookup and the biblio page are asked for even when the document is on the disk.
    const KiprisRecord record = read_kipris_record(fetch_text(
        ctx.Inet1,
        role_url(p.prefix, QStringLiteral("CompanyImageHost"),
                 QStringLiteral("/getimg/getapkr.asp?PN=") + kipris_lookup_number(number))));
    if (!record.found) {
        p.result = QStringLiteral("Not found");
    } else {
        const QString application = kipris_application(record);
        // Only KiprisHost is asked: the older service on KiprisOldHost is retired.
        const QString biblio =
            fetch_text(ctx.Inet1, role_url(p.prefix, QStringLiteral("KiprisHost"),
                                           kipris_biblio_path(application)));
        if (!kipris_has_full_text(biblio)) {
            ctx.host.setStatus(number + QStringLiteral(" (KR) Not found"));
        } else if (!file_exists(file)) {
            ctx.host.setStatus(number + QStringLiteral(" (KR) Downloading document please wait! "));
            const QByteArray bytes =
                fetch_bytes(ctx.Inet1, role_url(p.prefix, QStringLiteral("KiprisHost"),
                                                kipris_document_path(application)));
            if (bytes.size() > kSmallestAnswer && save_bytes(file, bytes))
                ctx.host.setStatus(number + QStringLiteral(" (KR) Downloaded"));
            else
                ctx.host.setStatus(number + QStringLiteral(" (KR) Error"));
        } else {
            ctx.host.setStatus(number + QStringLiteral(" (KR) Retrieved from cache"));
        }
    }

    if (file_exists(file) && file_length(file) < kSmallestFile) {
        p.result = QStringLiteral("Download error (") + number + QLatin1Char(')');
        delete_file(file);
    }
    // The two quiet failures above (no full text, too small an answer) end here as well:
    // the page count of a missing file leaves it empty and tells "0.00 MB", so they are
    // logged as "Downloaded (0.00 MB )" with an empty file. That outcome is intended.
    if (p.result.isEmpty())
        p.result = downloaded_word(file);
    close_retriever(ctx, number, reference, p.result);
}
