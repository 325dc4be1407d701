#include "foundation/log.h"

#include "foundation/general.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"

#include <QFile>

#include <algorithm>

QString report_line(const QString& number, const QString& result) {
    const QString padded = vb_trim(number).leftJustified(15, QLatin1Char(' '), true).toUpper();
    return padded + QLatin1Char('\t') + result;
}

QString log_path() {
    const QString folder = setting(QStringLiteral("PDFDIR"), default_pdfdir());
    CAddFolder(folder);
    return with_slash(folder) + QStringLiteral("bnslog.csv");
}

LoggedAs logged_as(const QString& result) {
    const QString r = vb_trim(result);
    if (r.startsWith(QLatin1String("Retrieved from cache")) ||
        (r.startsWith(QLatin1String("Translated (")) && r.endsWith(QLatin1String(" cached)"))))
        return LoggedAs::FromCache;
    if (r.startsWith(QLatin1String("Downloaded")) || r.startsWith(QLatin1String("Translated")))
        return LoggedAs::Delivered;
    return LoggedAs::NotFound;
}

namespace {

// Counts the line for the order's summary, and keeps the file name of a delivered document,
// which the summary checks once the order is done.
void tally(RunState& s, const QString& number, const QString& result) {
    auto it = std::find_if(s.tallies.begin(), s.tallies.end(),
                           [&](const OutcomeTally& t) { return t.source == s.source; });
    if (it == s.tallies.end()) {
        s.tallies.append({s.source});
        it = s.tallies.end() - 1;
    }
    switch (logged_as(result)) {
    case LoggedAs::Delivered:
        ++it->delivered;
        break;
    case LoggedAs::FromCache:
        ++it->fromCache;
        break;
    case LoggedAs::NotFound:
        ++it->notFound;
        return;
    }
    const bool translation = vb_trim(result).startsWith(QLatin1String("Translated"));
    s.delivered_files << number + (translation ? QStringLiteral(".htm") : QStringLiteral(".pdf"));
}

void clean_field(QString& field) {
    if (field.isEmpty())
        return;
    field.replace(QLatin1Char('"'), QLatin1Char(' '));
    field.replace(QLatin1Char('\r'), QLatin1Char(' '));
    field.replace(QLatin1Char('\n'), QLatin1Char(' '));
}

QByteArray record(const QString& pat, const QString& ref, const QString& result) {
    return (QStringLiteral("\"") + now_text() + QStringLiteral("\",\"") + pat +
            QStringLiteral("\",\"") + ref + QStringLiteral("\",\"") + result +
            QStringLiteral("\"\r\n"))
        .toUtf8();
}

} // namespace

void writelog(RunContext& ctx, QString& patR, QString& RefR, QString& Fr) {
    ctx.state.report_text += report_line(patR, Fr) + QStringLiteral("\r\n");
    tally(ctx.state, patR, Fr);

    const QString path = log_path();
    QFile file(path);
    QByteArray out;
    // Unbuffered: the lines of one call leave in a single write, so a program killed at any
    // moment leaves whole lines. An empty file is what a kill right after its creation
    // leaves; it gets the header as a new one does.
    if (!file.exists() || file.size() == 0) {
        if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return;
        out = "\"Date\",\"Patent\",\"Ref\",\"Result\"\r\n";
    } else {
        if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
            return;
        // The write starts on the last byte of the file: each new record takes the place of
        // the LF that ended the record before it.
        const qint64 len = file.size();
        if (!file.seek(len > 0 ? len - 1 : 0))
            return;
    }

    clean_field(patR);
    clean_field(RefR);
    clean_field(Fr);

    if (RefR.contains(QLatin1String("!!"))) {
        for (const QString& item : RefR.split(QStringLiteral("!!")))
            if (!item.isEmpty())
                out += record(patR, item, Fr);
    } else {
        out += record(patR, RefR, Fr);
    }
    file.write(out);
    file.close();
}

void writelog_copy(RunContext& ctx, QString patR, QString RefR, QString Fr) {
    writelog(ctx, patR, RefR, Fr);
}
