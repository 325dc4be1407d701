#include "offices/depatis.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/log.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "pdf/page_count.h"
#include "retrieval/kit.h"
#include "retrieval/retrievers.h"

namespace {

constexpr int kRequestTimeout = 300;
// An answer of this many bytes or fewer is an error page, whatever it holds.
constexpr qsizetype kSniffBytes = 300;

} // namespace

QString depatis_office_form(const QString& number) {
    QString form = number.toUpper();
    for (QChar c : {u' ', u'/', u'-', u',', u'\\', u'.'})
        form.remove(c);
    form.replace(QStringLiteral("WO0"), QStringLiteral("WO200"));
    form.replace(QStringLiteral("WO1"), QStringLiteral("WO201"));
    // The running number of a four-digit year gets six digits. The rule counts characters,
    // not digits, so a year of the 1900s is padded too ("WO9912345" becomes "WO991200345");
    // the office has always been asked so.
    if (form.startsWith(QLatin1String("WO"))) {
        for (int i = 0; i < 2; ++i)
            if (form.size() < 12)
                form = Left(form, 6) + QLatin1Char('0') + Mid(form, 7);
    }
    return form;
}

DepatisNumber split_depatis_number(const QString& officeForm) {
    DepatisNumber n{Left(officeForm, 2), Mid(officeForm, 3), QString()};
    // The kind code begins at the first character above "<": in practice the first letter.
    for (qsizetype i = 0; i < n.proper.size(); ++i) {
        if (n.proper.at(i).unicode() > 60) {
            n.kind = n.proper.mid(i);
            n.proper.truncate(i);
            break;
        }
    }
    return n;
}

QString depatis_path(const QString& number) {
    const DepatisNumber n = split_depatis_number(depatis_office_form(number));
    return QStringLiteral("/getimg/depatispdf.asp?pn=") + n.country + n.proper;
}

bool depatis_answer_is_document(const QByteArray& body) {
    return body.size() > kSniffBytes && !holds_html(latin1(body.left(kSniffBytes)));
}

void depatis_download(RunContext& ctx, QString& number, const QString& reference,
                      bool fallback_to_chain) {
    number = number.toUpper();
    // Canadian reissues are not in the collection: no trace at all, in any mode.
    if (number.startsWith(QLatin1String("CA")) && number.endsWith(QLatin1Char('C')))
        return;
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    ctx.host.setTitle(number + QStringLiteral(" (Depatisnet)"));
    const Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout, QString(),
                                      {.title = false, .status = false});
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");

    // A document on the disk is logged whatever the mode, and even in a cancelled order.
    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
        ctx.host.setTitle(QStringLiteral("Brightquill"));
        writelog_copy(ctx, number, reference,
                      QStringLiteral("Retrieved from cache (") + pdfnumpages(file) +
                          QStringLiteral(" )"));
        return;
    }

    // One attempt. The answer is tested before it is written, so that an error page never
    // stands under the document's name, not even for a moment.
    const QByteArray body = fetch_bytes(
        ctx.Inet1, role_url(p.prefix, QStringLiteral("CompanyImageHost"), depatis_path(number)));
    if (depatis_answer_is_document(body) && names_a_file(number))
        save_bytes(file, body);
    ctx.host.setStatus(kDesktopTitle);

    QString result;
    if (file_exists(file)) {
        result =
            QStringLiteral("Downloaded (Depatisnet) (") + pdfnumpages(file) + QStringLiteral(" )");
    } else if (fallback_to_chain) {
        call_retriever(ctx, QStringLiteral("get_patent"), number, reference);
        return;
    } else {
        ctx.host.setStatus(number + QStringLiteral(" not found"));
        result = QStringLiteral("Not found (Depatisnet)");
    }
    // Only a document is logged here: a miss in a try is the caller's to log.
    close_retriever(ctx, number, reference, result, result.startsWith(QLatin1String("Dow")));
}
