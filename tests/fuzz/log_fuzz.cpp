// The log writer's fields: any number, reference and result word give well-formed records.
#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "fuzz_support.h"

#include <QFile>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static HeadlessHost host;
    static struct : Shell {
        bool open(const QString&) override { return true; }
        bool print(const QString&) override { return true; }
        bool startDetached(const QString&, const QStringList&) override { return true; }
    } shell;
    static RunContext ctx(host, shell);
    static const QString log = [] {
        qputenv("XDG_CONFIG_HOME", (fuzz_folder() + QStringLiteral("/config")).toLocal8Bit());
        CreateKey(settings_key);
        WriteRegistry(settings_key, QStringLiteral("PDFDIR"), fuzz_folder());
        return log_path();
    }();
    QStringList f = fuzz_fields(data, size, 3);
    QFile::remove(log);
    writelog(ctx, f[0], f[1], f[2]);
    // Every line but the header is one record of four quoted fields, and no field holds a
    // quote, CR or LF of its own.
    const QByteArray written = read_file(log);
    for (const QByteArray& record : written.split('\r')) {
        const QByteArray r = record.startsWith('\n') ? record.mid(1) : record;
        if (!r.isEmpty() && (r.count('"') != 8 || !r.startsWith('"') || !r.endsWith('"')))
            std::abort();
    }
    ctx.state.report_text.clear();
    ctx.state.tallies.clear();
    ctx.state.delivered_files.clear();
    return 0;
}
