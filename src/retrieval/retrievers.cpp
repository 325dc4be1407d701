#include "retrieval/retrievers.h"

Retrievers& retrievers(RunContext& ctx) {
    if (!ctx.retrievers)
        ctx.retrievers = std::make_shared<Retrievers>();
    return *ctx.retrievers;
}

void call_retriever(RunContext& ctx, const QString& name, QString& number, const QString& reference,
                    bool fallback) {
    Retrievers& r = retrievers(ctx);
    if (name == QLatin1String("depatis_download")) {
        if (r.depatis_download)
            r.depatis_download(ctx, number, reference, fallback);
        return;
    }
    const auto it = r.byName.constFind(name);
    if (it != r.byName.constEnd() && *it)
        (*it)(ctx, number, reference);
}
