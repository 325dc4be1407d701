#include "offices/japan.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

namespace {

constexpr int kRequestTimeout = 300;
const QString kSecure = QStringLiteral("https://");

} // namespace

QString jp_document_address(const QString& answer, const QString& prefix) {
    const qsizetype at = answer.indexOf(kSecure);
    if (at < 0)
        return {};
    QString address = answer.mid(at);
    address.replace(kSecure, kSecure + prefix);
    return address;
}

QString espace2jpo(const QString& JPespacenum) {
    QString n = vb_trim(JPespacenum).toUpper();
    for (const char* gone : {"JP", "MT", "@", " ", "-", ","})
        n.remove(QLatin1String(gone));
    n.replace(QLatin1String("U2"), QLatin1String("U"));
    n.replace(QLatin1String("B1"), QLatin1String("B"));
    n.replace(QLatin1String("B2"), QLatin1String("B"));

    // The kind by the first rule that fits; a cut keeps what stands before the letter.
    auto cut = [&n](QChar letter) { n = n.left(n.indexOf(letter)); };
    QString kind;
    if (n.contains(QLatin1Char('A'))) {
        // "A2" is read as a plain application.
        static const std::pair<const char*, const char*> endings[] = {
            {"A", "A"}, {"A1", "A1"}, {"A2", "A"}, {"A3", "A3"}, {"A4", "A4"}};
        for (const auto& [ending, k] : endings) {
            if (n.endsWith(QLatin1String(ending))) {
                kind = QLatin1String(k);
                break;
            }
        }
        if (!kind.isEmpty())
            cut(QLatin1Char('A'));
    } else if (n.contains(QLatin1Char('B'))) {
        cut(QLatin1Char('B'));
        kind = QStringLiteral("B");
    } else if (n.endsWith(QLatin1Char('U'))) {
        cut(QLatin1Char('U'));
        kind = QStringLiteral("U");
    } else if (n.endsWith(QLatin1String("U1"))) {
        cut(QLatin1Char('U'));
        kind = QStringLiteral("U1");
    } else if (n.contains(QLatin1Char('T'))) {
        // A national phase translation counts as an application.
        cut(QLatin1Char('T'));
        kind = QStringLiteral("A");
    } else {
        kind = QStringLiteral("A");
    }

    if (kind == QLatin1String("A") || kind == QLatin1String("U") || kind == QLatin1String("U1")) {
        if (n.size() < 8)
            n.prepend(QLatin1Char('0'));
        if (n.size() > 9) {
            n.insert(4, QLatin1Char('-')); // a four-digit year
        } else {
            // An era year: Heisei up to year 12, Showa before it; no other era is known here.
            static const QStringList heisei = {"01", "02", "03", "04", "05", "06",
                                               "07", "08", "09", "10", "11", "12"};
            n.prepend(heisei.contains(Left(n, 2)) ? QLatin1Char('H') : QLatin1Char('S'));
            n = Left(n, 3) + QLatin1Char('-') + Mid(n, 4);
        }
    }
    return n + QLatin1Char('@') + kind;
}

void jpo_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (JPO)"));
    ctx.doEvents(4);
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    ctx.doEvents(4);
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");

    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
    } else {
        const QString answer =
            fetch_text(ctx.Inet1, role_url(p.prefix, QStringLiteral("CompanyLookupHost"),
                                           QStringLiteral("/jp.asp?pn=") + number));
        const QString address = jp_document_address(answer, p.prefix);
        if (!address.isEmpty()) {
            ctx.host.setStatus(number + QStringLiteral(" Downloading"));
            ctx.doEvents(2);
            // Whatever comes back is the document, unchecked; a fetch without answer leaves
            // an empty file, and the chain then ends with it.
            save_bytes(file, fetch_bytes(ctx.Inet1, address));
        } else {
            p.result = number + QStringLiteral(" Not found");
        }
        ctx.doEvents(3);
        ctx.host.setStatus(QStringLiteral(" Brightquill Desktop"));
    }

    if (p.result.isEmpty())
        p.result = downloaded_word(file);
    // A miss is not logged: the chain goes on to its next source.
    close_retriever(ctx, number, reference, p.result, file_exists(file));
}
