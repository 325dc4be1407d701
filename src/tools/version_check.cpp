#include "tools/version_check.h"

#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web_control.h"
#include "tools/service.h"

#include <QFileInfo>

#include <optional>

namespace {

// A whole number as the strict conversion takes it: digits with an optional sign, blanks
// and line ends around them. Anything else, or a value beyond 32 bits, is none.
std::optional<int> whole_number(const QString& field) {
    bool ok = false;
    const int n = field.trimmed().toInt(&ok);
    return ok ? std::optional<int>(n) : std::nullopt;
}

} // namespace

QString version_caption() {
    return QStringLiteral("Version:%1.%2 Build:%3 (10/Oct/14)")
        .arg(kVersionMajor)
        .arg(kVersionMinor)
        .arg(kRevision);
}

QString version_url(const QString& prefix) {
    return services_url(prefix, QStringLiteral("/bqdver.txt"));
}

VersionReply read_version_reply(const QString& answer, int revision) {
    if (answer.isEmpty() || answer.size() > 20)
        return VersionReply::Ignored;
    const QStringList fields = answer.split(QLatin1Char('.'));
    // A failed comparison falls through to the reminder: too few fields or a third field
    // that is not a number say "newer".
    const std::optional<int> third = fields.size() >= 3 ? whole_number(fields.at(2)) : std::nullopt;
    return !third || *third > revision ? VersionReply::Newer : VersionReply::NotNewer;
}

void check_version(RunContext& ctx) {
    WebControl& inet = ctx.Inet2[0];
    set_up_control(inet, 10);
    const QString prefix = proxy_prefix();
    ctx.doEvents(4);
    const QString answer = latin1(inet.OpenURL(version_url(prefix)).value_or(QByteArray()));
    if (read_version_reply(answer) == VersionReply::Newer)
        ctx.host.message(
            QStringLiteral("A newer version is available\r\nPlease update your software"),
            QStringLiteral("Brightquill"), 64);
    ctx.host.setTitle(QStringLiteral("Bright Quill - Desktop edition"));
}

void start_updater(Shell& shell, const QString& executable) {
    const QFileInfo program(executable);
    const QString folder = program.absolutePath() + QLatin1Char('/');
    shell.startDetached(folder + QStringLiteral("bqup5"), {folder + program.fileName()});
}
