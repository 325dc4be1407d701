#include "offices/jpo_translation.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;
// The server translates while the client waits.
constexpr int kTranslationTimeout = 9999;
constexpr int kShortest = 75;

} // namespace

QString translation_number(const QString& number) {
    QString n = vb_trim(number).toUpper();
    n.remove(QLatin1String("MT"));
    return n;
}

bool translation_found(const QString& answer) {
    // A page without "Patent " counts as four characters long.
    const qsizetype length = answer.contains(QLatin1String("Patent ")) ? answer.size() : 4;
    return length >= kShortest;
}

QString clean_translation_html(const QString& page) {
    QString s = page;
    s.replace(QLatin1String("<A HREF"), QLatin1String("<IA HREF"));
    s.replace(QLatin1String("</A>"), QLatin1String("</IA>"));
    const qsizetype hr = s.indexOf(QLatin1String("<HR>"));
    if (hr >= 0)
        s = s.mid(hr);
    const qsizetype header = s.indexOf(QLatin1String("(19) [Publication country]"));
    if (header >= 0)
        s = QStringLiteral("<HR>") + s.mid(header);
    for (const char* tail : {"[Translation done.", "<SCRIPT"}) {
        const qsizetype at = s.indexOf(QLatin1String(tail));
        if (at >= 0)
            s.truncate(at);
    }
    s.replace(QLatin1String("["), QLatin1String("<strong>"));
    s.replace(QLatin1String("]"), QLatin1String("</strong>"));
    return s;
}

void jpo_translation_download(RunContext& ctx, QString& number, const QString& reference) {
    // The "MT" stays in the number, and so in the file name.
    Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout,
                                QStringLiteral(" (JPO Translation)"));
    ctx.doEvents(4);
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    ctx.doEvents(4);
    const QString plain = translation_number(number);
    const QString file = p.pdf_folder + number + QStringLiteral(".htm");

    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
        p.result = QStringLiteral("Translated (") + plain + QStringLiteral(" cached)");
    } else {
        ctx.host.setStatus(QStringLiteral(" Searching.."));
        const QString url = role_url(p.prefix, QStringLiteral("CompanyImageHost"),
                                     QStringLiteral("/getimg/ipc/transmember.asp?PN=") + plain);
        const int keep = ctx.Inet1.RequestTimeout;
        ctx.Inet1.RequestTimeout = kTranslationTimeout;
        ctx.host.setStatus(number + QStringLiteral(" Translating claims and descriptions"));
        const QByteArray answer = fetch_bytes(ctx.Inet1, url);
        ctx.Inet1.RequestTimeout = keep;
        ctx.doEvents();
        // Only a page judged a translation is kept: a rejected one never stands under the
        // document's name.
        if (translation_found(latin1(answer)))
            save_bytes(file, answer);
        else
            p.result = plain + QStringLiteral(" Translation not found");
        ctx.host.setStatus(kDesktopTitle);
        ctx.doEvents(3);
        ctx.host.setStatus(QStringLiteral(" Brightquill Desktop"));
    }

    if (p.result.isEmpty())
        p.result = QStringLiteral("Translated (") + plain + QStringLiteral(" )");
    close_retriever(ctx, number, reference, p.result);
}
