#include "order/report_log.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"

#include <QFile>

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
