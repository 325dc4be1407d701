#include "offices/not_built.h"

#include "foundation/host.h"
#include "foundation/log.h"
#include "retrieval/kit.h"

Retriever office_not_built(const QString& office) {
    return [office](RunContext& ctx, QString& number, const QString& reference) {
        number = number.toUpper();
        number.remove(QLatin1Char('-'));
        const QString result = QStringLiteral("Not found (no ") + office +
                               QStringLiteral(" retriever in this version)");
        ctx.host.setStatus(number + QStringLiteral(" - ") + result);
        if (ctx.state.order_cancelled) {
            ctx.host.setStatus(QStringLiteral("Job cancelled"));
            return;
        }
        writelog_copy(ctx, number, reference, result);
    };
}

Retriever office_falls_back_to_chain() {
    return [](RunContext& ctx, QString& number, const QString& reference) {
        call_retriever(ctx, QStringLiteral("get_patent"), number, reference);
    };
}
