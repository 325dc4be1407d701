#include "order/report_log.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"

#include <QFile>

QString vb_trim(const QString& s) {
    int b = 0;
    int e = int(s.size());
    while (b < e && s.at(b) == QLatin1Char(' '))
        ++b;
    while (e > b && s.at(e - 1) == QLatin1Char(' '))
        --e;
    return s.mid(b, e - b);
}

QString report_line(const QString& number, const QString& result) {
    const QString padded = vb_trim(number).leftJustified(15, QLatin1Char(' '), true).toUpper();
    return padded + QLatin1Char('\t') + result;
}

QString log_path() {
    const QString folder = setting(QStringLiteral("PDFDIR"), default_pdfdir());
    CAddFolder(folder);
    return with_slash(folder) + QStringLiteral("bnslog.csv");
}

namespace {

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

    const QString path = log_path();
    QFile file(path);
    QByteArray out;
    if (!file.exists()) {
        if (!file.open(QIODevice::WriteOnly))
            return;
        out = "\"Date\",\"Patent\",\"Ref\",\"Result\"\r\n";
    } else {
        if (!file.open(QIODevice::ReadWrite))
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

QString report_line_file(const QString& line, const QString& reportFolder, const QString& ending) {
    const int blank = int(line.indexOf(QLatin1Char(' ')));
    const QString name = vb_trim(blank < 0 ? QString() : line.left(blank + 1));
    QString path = reportFolder + name + ending;
    if (line.toUpper().startsWith(QLatin1String("FW"))) {
        path.remove(QLatin1Char(' '));
        path.remove(QLatin1Char('\t'));
    }
    return path;
}

void open_report_line(Shell& shell, const QString& line, const QString& reportFolder) {
    const QString pdf = report_line_file(line, reportFolder);
    if (file_exists(pdf)) {
        shell.open(pdf);
        return;
    }
    const QString htm = report_line_file(line, reportFolder, QStringLiteral(".htm"));
    if (file_exists(htm))
        shell.open(htm);
}

void vlog(Host& host, Shell& shell) {
    // Deliberately the old key: a PDFDIR moved in the settings dialog is not seen here.
    const QString folder = with_slash(
        TrimNul(ReadRegistry(old_settings_key, QStringLiteral("PDFDIR"), default_pdfdir())));
    const QString copy = folder + QStringLiteral("brightq.csv");
    const QString log = folder + QStringLiteral("bnslog.csv");
    if (file_exists(copy))
        delete_file(copy);
    if (file_exists(log)) {
        CopyFileBinary(host, log, copy);
        if (file_exists(copy))
            ExecuteLink(host, shell, copy);
    } else {
        host.message(QStringLiteral("No log file found"), QStringLiteral("Brightquill Desktop"),
                     16);
    }
}
