#include "retrieval/kit.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web_control.h"
#include "offices/office_table.h"
#include "pdf/atomic_file.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <unistd.h>

QString fetch_text(WebControl& inet, const QString& url) {
    if (auto answer = inet.OpenURL(url))
        return latin1(*answer);
    return {};
}

QByteArray fetch_bytes(WebControl& inet, const QString& url) {
    if (auto answer = inet.OpenURL(url))
        return *answer;
    return {};
}

bool save_bytes(const QString& path, const QByteArray& bytes) {
    return store_whole(path, bytes);
}

bool names_a_file(const QString& number) {
    return !number.contains(QLatin1Char('/')) && !number.contains(QLatin1Char('\\'));
}

QString html_test_text(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const qint64 length = file.size();
    return latin1(file.read(length > 300 ? 300 : qMax<qint64>(length - 1, 0)));
}

bool holds_html(const QString& text) {
    return text.contains(QLatin1String("<HTML>"), Qt::CaseInsensitive);
}

bool setting_on(const QString& name, const QString& defaultValue) {
    return setting(name, defaultValue).startsWith(QLatin1Char('1'));
}

QString role_host(const QString& role) {
    const QString office = office_role_default(role);
    return host_role(role, office.isEmpty() ? host_role_default(role) : office);
}

QString role_url(const QString& prefix, const QString& role, const QString& pathAndQuery) {
    return QStringLiteral("http://") + prefix + role_host(role) + pathAndQuery;
}

bool first_page_copies(const QString& file, const QString& scratch) {
    const int32_t handle = PDocNew(0, 0, scratch);
    const bool copied = PDocMerge(handle, file, 1, 1) != 0;
    PDocRelease(handle);
    delete_file(scratch);
    return copied;
}

QString ensure_converter(RunContext& ctx, const QString& prefix, const QString& name,
                         const QString& status) {
    const QString path = application_folder() + name;
    // A program is run from here: one that another user could have placed, or a link to
    // somewhere else, is refused.
    const QFileInfo existing(path);
    if (existing.isSymLink() || (existing.exists() && existing.ownerId() != ::getuid())) {
        ctx.inf(path + QStringLiteral(" is a link or belongs to another user; it is not run. "
                                      "Remove it to have it fetched again."));
        return {};
    }
    for (const char* role : {"CompanyWebHost", "CompanyMirrorHost"}) {
        if (file_exists(path))
            break;
        ctx.inf(status);
        const QByteArray bytes =
            fetch_bytes(ctx.Inet1, role_url(prefix, QLatin1String(role), QLatin1Char('/') + name));
        // Written whole or not at all, executable for the user alone. An empty answer still
        // leaves the file, which then counts as the program for good.
        QSaveFile file(path);
        if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
            file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
            file.commit();
    }
    return path;
}

QString downloaded_word(const QString& file) {
    return QStringLiteral("Downloaded (") + pdfnumpages(file) + QStringLiteral(" )");
}

QString sized_document_word(const QString& file, const QString& number, qint64 smallest,
                            const QString& result) {
    if (file_exists(file) && file_length(file) < smallest) {
        delete_file(file);
        return QStringLiteral("Download error (") + number + QLatin1Char(')');
    }
    return result.isEmpty() ? downloaded_word(file) : result;
}

void close_retriever(RunContext& ctx, const QString& number, const QString& reference,
                     const QString& result, bool log) {
    if (ctx.state.order_cancelled)
        ctx.host.setStatus(QStringLiteral("Job cancelled"));
    else if (log)
        writelog_copy(ctx, number, reference, result);
    ctx.host.setTitle(kDesktopTitle);
}
