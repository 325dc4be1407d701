#include "tools/equivalents.h"

#include "foundation/general.h"
#include "foundation/run_context.h"
#include "foundation/web_control.h"
#include "tools/service.h"

QString equivalents_url(const QString& prefix, const QString& pn) {
    return services_url(prefix, QStringLiteral("/desktop_bq/ti.asp?pn=") + vb_trim(pn));
}

Equivalents read_equivalents(const QString& answer) {
    Equivalents e;
    const QString separator = QStringLiteral("@@");
    if (!answer.contains(separator)) {
        e.message = answer.isEmpty() ? QStringLiteral("Error connecting to the server") : answer;
        return e;
    }
    for (const QString& row : answer.split(QStringLiteral("<br>"))) {
        if (!row.contains(separator))
            continue;
        // Padded so that every row has a second field.
        const QStringList fields = (row + QStringLiteral("@@@@@")).split(separator);
        e.entries << fields.at(1) + QLatin1Char('\t') + fields.at(0);
    }
    return e;
}

QString ticked_numbers(const QStringList& ticked) {
    QString text;
    for (const QString& entry : ticked) {
        const qsizetype tab = entry.indexOf(QLatin1Char('\t'));
        text += (tab < 0 ? entry : entry.left(tab)) + QStringLiteral("\r\n");
    }
    return text;
}

QString paste_into(const QString& text1, const QString& numbers) {
    if (text1.isEmpty())
        return numbers;
    QString list = text1;
    for (QChar end : {u'\n', u'\r', u'\n', u'\r'})
        if (list.endsWith(end))
            list.chop(1);
    return list + QStringLiteral("\r\n") + numbers;
}

QString equivalents_lookup(RunContext& ctx, const QString& pn) {
    set_up_control(ctx.Inet1, 300);
    const QString url = equivalents_url(proxy_prefix(), pn);
    return latin1(ctx.Inet1.OpenURL(url).value_or(QByteArray()));
}
