#include "foundation/host.h"

#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

bool DesktopShell::open(const QString& target) {
    const QUrl url = QUrl::fromUserInput(target, QString(), QUrl::AssumeLocalFile);
    return QDesktopServices::openUrl(url);
}

bool DesktopShell::print(const QString& file) {
    return QProcess::startDetached(QStringLiteral("lp"), {file});
}

bool DesktopShell::startDetached(const QString& program, const QStringList& arguments) {
    return QProcess::startDetached(program, arguments);
}
