#include "offices/not_built.h"

#include "foundation/host.h"
#include "order/report_log.h"

Retriever office_not_built(const QString& office) {
    return [office](RunContext& ctx, QString& number, const QString& reference) {
        number = number.toUpper();
        number.remove(QLatin1Char('-'));
        QString result = QStringLiteral("Not found (no ") + office +
                         QStringLiteral(" retriever in this version)");
        ctx.host.setStatus(number + QStringLiteral(" - ") + result);
        if (ctx.state.order_cancelled) {
            ctx.host.setStatus(QStringLiteral("Job cancelled"));
            return;
        }
        QString ref = reference;
        writelog(ctx, number, ref, result);
    };
}

Retriever office_falls_back_to_chain() {
    return [](RunContext& ctx, QString& number, const QString& reference) {
        ctx.retrievers.get_patent(ctx, number, reference);
    };
}

void depatis_not_built(RunContext& ctx, QString& number, const QString& reference, bool fallback) {
    if (fallback)
        ctx.retrievers.get_patent(ctx, number, reference);
}
