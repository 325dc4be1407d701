#include "retrieval/espace.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "pdf/atomic_file.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "retrieval/kit.h"
#include "retrieval/pages.h"
#include "retrieval/retrievers.h"

#include <QFile>
#include <QStringList>

namespace {

// The common opening: a file that already stands at the target is the answer.
bool target_cached(RunContext& ctx, const QString& number, const QString& target) {
    if (!file_exists(target))
        return false;
    ctx.host.setStatus(number + QStringLiteral(" Downloaded from cache"));
    ctx.doEvents(2);
    return true;
}

// The rest of the opening: the proxy prefix, and the time-out of these retrievers.
QString route_prefix(RunContext& ctx) {
    ctx.Inet1.RequestTimeout = 60;
    return setting(QStringLiteral("PROXYUSERID"), QString());
}

QString not_found(RunContext& ctx, const QString& status) {
    ctx.host.setStatus(status);
    ctx.doEvents(2);
    return {};
}

// A US patent (not a published application) gets its certificates of correction appended
// behind the last page, with a bookmark entry for them in the local bookmark text.
void append_certificate(RunContext& ctx, const QString& number, const QString& target,
                        int pageCount, QString& bookmarks) {
    if (!number.startsWith(QLatin1String("US")) || number.startsWith(QLatin1String("US20")))
        return;
    const QString certificate = vb_trim(retrievers(ctx).uspto_cartificate(ctx, number, pageCount));
    if (certificate.isEmpty())
        return;
    const QString temp = target + QStringLiteral("_TEMP.pdf");
    delete_file(temp);
    // Without the document moved aside the target would be rebuilt from the certificate
    // alone; the document then stays as it is.
    if (!QFile::rename(target, temp)) {
        delete_file(certificate);
        return;
    }
    const int32_t handle = PDocNew(0, 0, target);
    PDocMerge(handle, temp, 1, -1);
    PDocMerge(handle, certificate, 1, -1);
    bookmarks += QStringLiteral(",") + QString::number(qint64(pageCount) + 1) +
                 QStringLiteral(":Correction");
    PDocRelease(handle);
    delete_file(temp);
    delete_file(certificate);
}

void add_bookmarks(RunContext& ctx, const QString& number, const QString& target,
                   const QString& bookmarks) {
    if (bookmarks.contains(QLatin1Char(':')) &&
        setting_on(QStringLiteral("ADDBOOKMARKS"), QStringLiteral("0")))
        AddBookmark(ctx.host, target, number, bookmarks);
}

// The reading branch of the site retriever, entered when an availability page is at hand.
QString site_branch(RunContext& ctx, const QString& number, const QString& target,
                    const QString& tempPrefix, const QString& prefix, const QString& page) {
    const QString notFound = number + QStringLiteral(" Patent not found (Espacenet site)");
    const std::optional<SitePage> site = read_site_page(page);
    if (!site)
        return not_found(ctx, notFound);
    QString bookmarks = site->bookmarks;
    ctx.state.bookmark_info = bookmarks;
    int pageCount = site->pages;

    const QString work = assembly_name(target);
    pages_download(
        ctx, pageCount,
        role_url(prefix, QStringLiteral("EspacenetSiteHost"),
                 QStringLiteral("/simplepdfdoc?F=128&RPN=") + number + QStringLiteral("&PGN=")),
        tempPrefix, work, number);

    if (!file_exists(work))
        return not_found(ctx, notFound);
    const QString done = number + QStringLiteral(" Done (Espacenet site)");
    ctx.host.setStatus(done);
    ctx.doEvents(2);
    append_certificate(ctx, number, work, pageCount, bookmarks);
    add_bookmarks(ctx, number, work, bookmarks);
    if (!publish(work, target))
        return not_found(ctx, notFound);
    ctx.host.setStatus(done);
    ctx.doEvents(2);
    return target;
}

} // namespace

QString wo_years(const QString& number, int lastYear) {
    if (!number.startsWith(QLatin1String("WO")))
        return number;
    QString s = number;
    for (int year = 4; year <= lastYear; ++year) {
        const QString yy = QStringLiteral("%1").arg(year, 2, 10, QLatin1Char('0'));
        s.replace(QStringLiteral("WO") + yy, QStringLiteral("WO20") + yy);
    }
    return s;
}

QString ep_site_padding(const QString& number) {
    if (!number.startsWith(QLatin1String("EP")))
        return number;
    return QStringLiteral("EP") + Right(QStringLiteral("000000000") + number.mid(2), 7);
}

std::optional<BnsInfo> read_bnsinfo(const QString& reply) {
    if (!reply.contains(QLatin1String("@@@@")))
        return std::nullopt;
    const QStringList fields = reply.split(QLatin1Char('@'));
    auto field = [&fields](int i) { return i < fields.size() ? fields.at(i) : QString(); };
    BnsInfo info{field(2), vb_val(field(3)), field(4)};
    if (info.bookmarks.startsWith(QLatin1Char(',')))
        info.bookmarks.remove(0, 1);
    return info;
}

std::optional<SitePage> read_site_page(const QString& page) {
    const int optionAt = int(page.indexOf(QLatin1String("option value")));
    if (optionAt < 0)
        return std::nullopt;
    // The section list: from the first option up to and including the "<" of "</select>".
    QString list = page.mid(optionAt);
    const int selectEnd = int(list.indexOf(QLatin1String("</select>")));
    if (selectEnd >= 0)
        list = list.left(selectEnd + 1);
    const QStringList parts = list.split(QStringLiteral("option value"));
    SitePage site;
    for (int i = 0; i < parts.size(); ++i) {
        const QString& part = parts.at(i);
        const int dash = int(part.indexOf(QLatin1Char('-')));
        if (dash < 0)
            continue;
        QString title = part.mid(dash + 1);
        const int lt = int(title.indexOf(QLatin1Char('<')));
        if (lt >= 0)
            title = title.left(lt);
        site.bookmarks +=
            QStringLiteral(",") + QString::number(i) + QStringLiteral(":") + vb_trim(title);
    }
    if (site.bookmarks.startsWith(QLatin1Char(',')))
        site.bookmarks.remove(0, 1);

    // The page count stands in the viewer script, behind parseInt(" and up to the next quote.
    const int parseAt = int(page.indexOf(QLatin1String("parseInt(")));
    QString countText = page.mid((parseAt >= 0 ? parseAt + 1 : 0) + 9, 10);
    const int quote = int(countText.indexOf(QLatin1Char('"')));
    if (quote >= 0)
        countText = countText.left(quote);
    site.pages = vb_val(countText);
    return site;
}

QString espace_bns_download(RunContext& ctx, const QString& number, const QString& target,
                            const QString& tempPrefix) {
    if (target_cached(ctx, number, target))
        return target;
    const QString prefix = route_prefix(ctx);
    const QString lookup = wo_years(number.toUpper());

    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    ctx.doEvents(2);
    const std::optional<BnsInfo> info =
        read_bnsinfo(fetch_text(ctx.Inet1, role_url(prefix, QStringLiteral("CompanyLookupHost"),
                                                    QStringLiteral("/bnsinfo.asp?PN=") + lookup)));
    const QString notFound = number + QStringLiteral(" Patent not found");
    if (!info) {
        ctx.doEvents(2);
        return not_found(ctx, notFound);
    }

    QString bookmarks = info->bookmarks;
    int pageCount = info->pages;
    if (ctx.host.frontPageOnly()) {
        bookmarks.clear();
        pageCount = 1;
    }
    ctx.state.bookmark_info = bookmarks;

    // JP numbers once had a stem of their own; it has come to be the same text.
    // Pages, certificates and bookmarks are put together under the assembly name; the
    // document appears under its own name only whole.
    const QString work = assembly_name(target);
    pages_download(ctx, pageCount,
                   role_url(prefix, QStringLiteral("CompanyLookupHost"),
                            QStringLiteral("/bns.asp?ID=") + info->id + QStringLiteral("&PG=")),
                   tempPrefix, work, number);

    if (!file_exists(work))
        return not_found(ctx, notFound);
    const QString done = number + QStringLiteral(" Done");
    ctx.host.setStatus(done);
    ctx.doEvents(2);
    if (!ctx.host.frontPageOnly())
        append_certificate(ctx, number, work, pageCount, bookmarks);
    add_bookmarks(ctx, number, work, bookmarks);
    if (!publish(work, target))
        return not_found(ctx, notFound);
    ctx.host.setStatus(done);
    ctx.doEvents(2);
    return target;
}

QString espace_frontpage_download(RunContext& ctx, const QString& number, const QString& target,
                                  const QString& tempPrefix) {
    Q_UNUSED(tempPrefix);
    if (target_cached(ctx, number, target))
        return target;
    const QString prefix = route_prefix(ctx);
    const QString lookup = wo_years(number.toUpper());

    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    QString reply = fetch_text(ctx.Inet1, role_url(prefix, QStringLiteral("CompanyLookupHost"),
                                                   QStringLiteral("/ps.asp?PN=") + lookup));
    const QString notFound = number + QStringLiteral(" Patent not found");
    if (!reply.contains(QLatin1String("https://")))
        return not_found(ctx, notFound);

    const QString url =
        reply.replace(QStringLiteral("https://"), QStringLiteral("https://") + prefix);
    ctx.doEvents(3);
    ctx.host.setStatus(number + QStringLiteral(" downloading"));
    // The answer is judged before it is stored, so a rejected one never stands under the
    // document's name, not even for a moment.
    const QByteArray bytes = fetch_bytes(ctx.Inet1, url);
    qint64 length = bytes.size();
    if (length > 30 && !bytes.startsWith("%PDF"))
        length = 2;
    if (length < 850 || !save_bytes(target, bytes))
        delete_file(target);

    if (!file_exists(target))
        return not_found(ctx, notFound);
    ctx.host.setStatus(number + QStringLiteral(" Patent downloaded (Publication server)"));
    ctx.doEvents(2);
    return target;
}

QString fr_espace_download(RunContext& ctx, const QString& number, const QString& target,
                           const QString& tempPrefix) {
    if (target_cached(ctx, number, target))
        return target;
    const QString prefix = route_prefix(ctx);
    QString lookup = number;
    if (lookup.endsWith(QLatin1Char('B')))
        lookup += QLatin1Char('1');

    QString reply = fetch_text(ctx.Inet1, role_url(prefix, QStringLiteral("CompanyLookupHost"),
                                                   QStringLiteral("/frbdoc.asp?pn=") + lookup));
    if (!reply.contains(lookup))
        reply.clear();
    if (reply.isEmpty())
        return not_found(ctx, number + QStringLiteral(" Patent not found (Espacenet site)"));

    const QStringList lines = reply.split(QStringLiteral("\r\n"));
    delete_file(target);
    const int32_t handle = PDocNew(0, 0, target);
    for (int i = 0; i < lines.size(); ++i) {
        if (vb_trim(lines.at(i)).isEmpty())
            continue;
        // The pieces lie on hosts of their own, reached without the proxy prefix.
        const QByteArray bytes = fetch_bytes(ctx.Inet1, QStringLiteral("http://") + lines.at(i));
        const QString piece = tempPrefix + lookup + QString::number(i) + QStringLiteral(".pdf");
        write_file(piece, bytes);
        if (file_exists(piece)) {
            PDocMerge(handle, piece, 1, 1);
            delete_file(piece);
        }
    }
    PDocRelease(handle);

    if (!file_exists(target))
        return not_found(ctx, number + QStringLiteral(" Patent not found (FR Espacenet site)"));
    ctx.host.setStatus(number + QStringLiteral(" Done (FR Espacenet site)"));
    ctx.doEvents(4);
    return target;
}

QString espace_site_download(RunContext& ctx, const QString& number, const QString& target,
                             const QString& tempPrefix) {
    if (target_cached(ctx, number, target))
        return target;
    const QString prefix = route_prefix(ctx);
    // The number the availability request would ask for. The request stays unsent on
    // purpose, and the page is taken as empty.
    const QString lookup = wo_years(ep_site_padding(number.toUpper()));
    Q_UNUSED(lookup);
    ctx.Inet1.URL.clear();
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists (Espacenet site)"));
    return site_branch(ctx, number, target, tempPrefix, prefix, QString());
}

QString espace_site_read(RunContext& ctx, const QString& number, const QString& target,
                         const QString& tempPrefix, const QString& page) {
    if (target_cached(ctx, number, target))
        return target;
    const QString prefix = route_prefix(ctx);
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists (Espacenet site)"));
    return site_branch(ctx, number, target, tempPrefix, prefix, page);
}
