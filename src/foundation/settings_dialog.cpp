#include "foundation/settings_dialog.h"

#include "foundation/registry.h"

#include <QDir>

DialogValues load_dialog_values() {
    DialogValues v;
    v.tempdir = ReadRegistry(settings_key, QStringLiteral("TEMPDIR"), default_tempdir());
    v.pdfdir = ReadRegistry(settings_key, QStringLiteral("PDFDIR"), default_pdfdir());
    v.eposerver = ReadRegistry(settings_key, QStringLiteral("EPOSERVER"),
                               host_role(QStringLiteral("EspacenetNationalHost")));
    v.proxyuserid = ReadRegistry(settings_key, QStringLiteral("PROXYUSERID"), QString()).trimmed();
    v.parallel = ReadRegistry(settings_key, QStringLiteral("PARPAGEDESKTOP"), QStringLiteral("1"))
                     .trimmed()
                     .startsWith(QLatin1Char('1'));
    v.bookmarks = ReadRegistry(settings_key, QStringLiteral("ADDBOOKMARKS"), QStringLiteral("0"))
                      .trimmed()
                      .startsWith(QLatin1Char('1'));
    const QString act =
        TrimNul(ReadRegistry(settings_key, QStringLiteral("ACT"), QStringLiteral("1"))).trimmed();
    v.act = act == QLatin1String("1")   ? 1
            : act == QLatin1String("2") ? 2
            : act == QLatin1String("3") ? 3
                                        : 0;
    if (v.act == 3)
        v.proxy = TrimNul(ReadRegistry(settings_key, QStringLiteral("PROXY"), QString())).trimmed();
    return v;
}

void MakeFolder(const QString& path) {
    if (!path.isEmpty())
        QDir().mkdir(path);
}

void save_dialog_values(const DialogValues& v) {
    CreateKey(settings_key);
    WriteRegistry(settings_key, QStringLiteral("TEMPDIR"), v.tempdir);
    WriteRegistry(settings_key, QStringLiteral("PDFDIR"), v.pdfdir);
    WriteRegistry(settings_key, QStringLiteral("EPOSERVER"), v.eposerver);
    MakeFolder(v.tempdir);
    MakeFolder(v.pdfdir);
    WriteRegistry(settings_key, QStringLiteral("PARPAGEDESKTOP"),
                  v.parallel ? QStringLiteral("1") : QStringLiteral("0"));
    WriteRegistry(settings_key, QStringLiteral("ADDBOOKMARKS"),
                  v.bookmarks ? QStringLiteral("1") : QStringLiteral("0"));
    if (v.act >= 1 && v.act <= 3)
        WriteRegistry(settings_key, QStringLiteral("ACT"), QString::number(v.act));
    // With the other two options the stored proxy stays for a later return to it.
    if (v.act == 3)
        WriteRegistry(settings_key, QStringLiteral("PROXY"), v.proxy);
    WriteRegistry(settings_key, QStringLiteral("PROXYUSERID"), v.proxyuserid);
}

QString dialog_help_url() {
    return QStringLiteral("http://") + host_role(QStringLiteral("CompanyWebHost")) +
           QStringLiteral("/help/");
}
