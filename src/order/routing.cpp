#include "order/routing.h"

#include "foundation/host.h"
#include "foundation/run_context.h"
#include "order/report_log.h"

QStringList split_list(const QString& text) {
    QString t = vb_trim(text.toUpper());
    t.remove(QLatin1Char('\n'));
    return t.split(QLatin1Char('\r'));
}

QString clean_line(const QString& line) {
    QString s = vb_trim(line);
    for (QChar c : {u' ', u',', u'-', u'/', u'\\'})
        s.remove(c);
    return s;
}

namespace {

// The leading digits of a text as a number, 0 when there are none.
long long leading_number(const QString& s) {
    long long n = 0;
    for (QChar c : s) {
        if (!c.isDigit() || c.unicode() > 127)
            break;
        n = n * 10 + (c.unicode() - '0');
        if (n > 1000000000000LL)
            break;
    }
    return n;
}

QString canonical_wo(QString line) {
    line.replace(QLatin1String("WO20"), QLatin1String("WO"));
    // A number with a kind code keeps its serial as it stands.
    if (line.contains(QLatin1Char('A')))
        return line;
    QString serial = line.mid(4);
    for (int i = 0; i < 5; ++i)
        if (serial.size() > 5 && serial.startsWith(QLatin1Char('0')))
            serial.remove(0, 1);
    for (int i = 0; i < 6; ++i)
        if (serial.size() < 5)
            serial.prepend(QLatin1Char('0'));
    // A third character that is no digit counts as a year below 70.
    const QChar third = line.size() > 2 ? line.at(2) : QChar();
    const bool below70 =
        !(third >= QLatin1Char('0') && third <= QLatin1Char('9')) || third < QLatin1Char('7');
    if (below70 && serial.size() == 5) {
        if (line.startsWith(QLatin1String("WO00")) || line.startsWith(QLatin1String("WO01"))) {
            // the serial stays as it is
        } else if (line.startsWith(QLatin1String("WO02"))) {
            // Within 2002 the six-digit serials begin above 51230.
            if (leading_number(serial) > 51230)
                serial.prepend(QLatin1Char('0'));
        } else {
            serial.prepend(QLatin1Char('0'));
        }
    }
    return line.left(4) + serial;
}

} // namespace

QString canonical_number(const QString& cleaned) {
    QString line = cleaned;
    if (line.startsWith(QLatin1String("EP"))) {
        if (line.endsWith(QLatin1Char('A')))
            line.chop(1);
        if (line.endsWith(QLatin1String("A1")))
            line.chop(2);
        if (line.endsWith(QLatin1String("A2")))
            line.chop(2);
    }
    if (line.startsWith(QLatin1String("WO")))
        line = canonical_wo(line);
    return line;
}

QString canonical_list(const QString& text) {
    QString out;
    for (const QString& element : split_list(text))
        out += canonical_number(clean_line(element)) + QStringLiteral("\r\n");
    return out;
}

Routing route_line(const QString& line, bool depatisTicked) {
    if (line.size() <= 2)
        return {Route::Skip, line, false};
    const QChar first = line.at(0);
    if (line.startsWith(QLatin1String("AUA")))
        return {Route::Australia, line, false};
    if (first >= QLatin1Char('1') && first <= QLatin1Char('8'))
        return {Route::Uspto, QStringLiteral("US") + line, true};
    if (line.startsWith(QLatin1String("*U")))
        return {Route::Uspto, line.mid(1), true};
    if (line.startsWith(QLatin1String("USA")))
        return {Route::Uspto, line, false};
    if (line.startsWith(QLatin1String("CN")))
        return {Route::Cnpto, line, false};
    if (line.startsWith(QLatin1String("FW")) || line.startsWith(QLatin1String("PW")))
        return {Route::Epoline, line, false};
    if (line.startsWith(QLatin1String("FR")))
        return {Route::Inpi, line, false};
    if (line.startsWith(QLatin1String("MT")))
        return {Route::JpoTranslation, line, false};
    if (line.startsWith(QLatin1String("JP")) && line.endsWith(QLatin1String("MT")))
        return {Route::JpoTranslation, line, false};
    if (first == QLatin1Char('#'))
        return {Route::DepatisOnly, line.mid(1), false};
    if (depatisTicked)
        return {Route::DepatisFallback, line, false};
    return {Route::GetPatent, line, false};
}

void dispatch_list(RunContext& ctx, const QString& text, const QString& reference) {
    const QStringList list = split_list(text);
    for (const QString& element : list) {
        if (ctx.state.order_cancelled)
            break;
        const QString line = clean_line(element);
        ctx.state.force_uspto = QStringLiteral("0");
        if (line.size() <= 2)
            continue;
        Routing r = route_line(line, ctx.host.depatisChecked());
        if (r.forceUspto)
            ctx.state.force_uspto = QStringLiteral("1");
        Retrievers& t = ctx.retrievers;
        switch (r.route) {
        case Route::Skip:
            break;
        case Route::Australia:
            t.australia_download(ctx, r.number, reference);
            break;
        case Route::Uspto:
            t.uspto_download(ctx, r.number, reference);
            break;
        case Route::Cnpto:
            t.cnpto_download(ctx, r.number, reference);
            break;
        case Route::Epoline:
            t.epoline_download(ctx, r.number, reference);
            break;
        case Route::Inpi:
            t.inpi_download(ctx, r.number, reference);
            break;
        case Route::JpoTranslation:
            t.jpo_translation_download(ctx, r.number, reference);
            break;
        case Route::DepatisOnly:
            t.depatis_download(ctx, r.number, reference, false);
            break;
        case Route::DepatisFallback:
            t.depatis_download(ctx, r.number, reference, true);
            break;
        case Route::GetPatent:
            t.get_patent(ctx, r.number, reference);
            break;
        }
    }
}
