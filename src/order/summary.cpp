#include "order/summary.h"

#include "foundation/general.h"
#include "foundation/log.h"
#include "foundation/run_context.h"
#include "offices/office_table.h"

#include <QFile>

#include <algorithm>

namespace {

QString source_name(const QString& retriever) {
    for (const Office& o : office_table())
        if (retriever == QLatin1String(o.retriever))
            return QString::fromLatin1(o.name);
    return QStringLiteral("Espacenet and company servers");
}

// A delivered document that a later order would take from the folder as it is: empty, or
// not what its name says. Translations are HTML pages.
bool suspicious(const QString& folder, const QString& name) {
    const bool translation = name.endsWith(QLatin1String(".htm"));
    QFile f(folder + name);
    if (!f.open(QIODevice::ReadOnly))
        return !translation; // a PDF that the log calls delivered must be there
    const QByteArray head = f.read(1024);
    return head.isEmpty() || (!translation && !head.startsWith("%PDF"));
}

} // namespace

bool result_delivered(const QString& result) {
    return logged_as(result) != LoggedAs::NotFound ||
           vb_trim(result) == QLatin1String("Front page");
}

ReportCount count_report(const QString& reportText) {
    ReportCount count;
    for (const QString& line : reportText.split(QStringLiteral("\r\n"), Qt::SkipEmptyParts)) {
        const qsizetype tab = line.indexOf(QLatin1Char('\t'));
        if (tab < 0)
            continue;
        if (result_delivered(line.mid(tab + 1))) {
            ++count.delivered;
            continue;
        }
        QString number = vb_trim(line.left(tab));
        if (number.startsWith(QLatin1String("FP_")))
            number.remove(0, 3);
        if (!number.isEmpty())
            count.missing << number;
    }
    return count;
}

OrderSummary summarise_order(RunContext& ctx) {
    const RunState& s = ctx.state;
    OrderSummary sum;
    sum.listed = s.listed;
    sum.cancelled = s.listed - s.dispatched;
    int logged = 0;
    for (const OutcomeTally& t : s.tallies) {
        const QString name = source_name(t.source);
        auto it = std::find_if(sum.sources.begin(), sum.sources.end(),
                               [&](const OrderSummary::Source& x) { return x.name == name; });
        if (it == sum.sources.end()) {
            sum.sources.append({name});
            it = sum.sources.end() - 1;
        }
        it->delivered += t.delivered;
        it->fromCache += t.fromCache;
        it->notFound += t.notFound;
        sum.delivered += t.delivered;
        sum.fromCache += t.fromCache;
        sum.notFound += t.notFound;
        logged += t.delivered + t.fromCache + t.notFound;
    }
    for (const QString& file : s.delivered_files)
        if (suspicious(s.report_folder, file))
            sum.suspicious << file.chopped(4);
    // Numbers handed on that left no log line (a DEPATISnet-only number that was not found).
    sum.notFound += std::max(0, s.dispatched - logged);
    return sum;
}

int OrderSummary::exitCode() const {
    return notFound > 0 || cancelled > 0 || !suspicious.isEmpty() ? SomeNotFound : AllDelivered;
}

QString OrderSummary::text(qint64 elapsedMs, const QString& logPath) const {
    QString t = QStringLiteral("Order done in %1 s: %2 %3, %4 delivered, %5 from cache, %6 "
                               "not found")
                    .arg(QString::number(double(elapsedMs) / 1000.0, 'f', 1))
                    .arg(listed)
                    .arg(listed == 1 ? QStringLiteral("number") : QStringLiteral("numbers"))
                    .arg(delivered)
                    .arg(fromCache)
                    .arg(notFound);
    if (cancelled > 0)
        t += QStringLiteral(", %1 cancelled").arg(cancelled);
    t += QLatin1Char('\n');
    for (const Source& x : sources)
        t += QStringLiteral("  %1: %2 delivered, %3 from cache, %4 not found\n")
                 .arg(x.name)
                 .arg(x.delivered)
                 .arg(x.fromCache)
                 .arg(x.notFound);
    if (!suspicious.isEmpty())
        t += QStringLiteral("Delivered but empty or not a PDF (delete them and order again): ") +
             suspicious.join(QStringLiteral(", ")) + QLatin1Char('\n');
    t += QStringLiteral("Log: ") + logPath + QLatin1Char('\n');
    return t;
}
