#include "order/routing.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "offices/office_table.h"
#include "retrieval/retrievers.h"

#include <algorithm>

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

namespace {

bool takes(const RouteRow& row, const QString& line, bool depatisTicked) {
    if (row.depatisBox)
        return depatisTicked;
    if (*row.firstOf)
        return QString::fromLatin1(row.firstOf).contains(line.at(0));
    return line.startsWith(QLatin1String(row.begins)) && line.endsWith(QLatin1String(row.ends));
}

} // namespace

Routing route_line(const QString& line, bool depatisTicked) {
    if (line.size() <= 2)
        return {.skip = true, .number = line};
    for (const Office& office : office_table()) {
        for (const RouteRow& row : office.routes) {
            if (takes(row, line, depatisTicked))
                return {.office = &office,
                        .number = QLatin1String(row.put) + line.mid(row.drop),
                        .forceUspto = row.forceUspto,
                        .fallback = row.fallback};
        }
    }
    return {.number = line};
}

void dispatch_list(RunContext& ctx, const QString& text, const QString& reference) {
    const QStringList list = split_list(text);
    RunState& s = ctx.state;
    s.listed = int(std::count_if(list.begin(), list.end(),
                                 [](const QString& e) { return clean_line(e).size() > 2; }));
    s.dispatched = 0;
    ctx.host.setProgress(0, s.listed);
    for (const QString& element : list) {
        if (s.order_cancelled)
            break;
        const QString line = clean_line(element);
        s.force_uspto = QStringLiteral("0");
        Routing r = route_line(line, ctx.host.depatisChecked());
        if (r.skip)
            continue;
        if (r.forceUspto)
            s.force_uspto = QStringLiteral("1");
        const QString name =
            r.office ? QString::fromLatin1(r.office->retriever) : QStringLiteral("get_patent");
        call_retriever(ctx, name, r.number, reference, r.fallback);
        ctx.host.setPageProgress(0, 0);
        ctx.host.setProgress(++s.dispatched, s.listed);
    }
}
