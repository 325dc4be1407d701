#include "foundation/registry.h"

#include "foundation/general.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSettings>
#include <QStandardPaths>

#include <cstdio>

namespace {

// A settings file larger than this is not a settings file: it reads as missing.
constexpr qint64 kMaxKeyFileSize = 1 << 20;

// A key path of the program's own that is malformed: told on stderr, where a developer sees
// it; no user can type a key path.
void reportFormat(const QString& text) {
    std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
}

QString configHome() {
    QString v = qEnvironmentVariable("XDG_CONFIG_HOME");
    return v.isEmpty() ? QDir::homePath() + QStringLiteral("/.config") : v;
}

QString firstConfigDir() {
    const QString v = qEnvironmentVariable("XDG_CONFIG_DIRS");
    const QString first = v.split(QLatin1Char(':'), Qt::SkipEmptyParts).value(0);
    return first.isEmpty() ? QStringLiteral("/etc/xdg") : first;
}

QString rootFolder(RootKey root) {
    switch (root) {
    case HKEY_CURRENT_USER:
        return configHome();
    case HKEY_LOCAL_MACHINE:
        return firstConfigDir();
    case HKEY_CLASSES_ROOT:
        return configHome() + QStringLiteral("/HKEY_CLASSES_ROOT");
    case HKEY_USERS:
        return configHome() + QStringLiteral("/HKEY_USERS");
    case HKEY_PERFORMANCE_DATA:
        return configHome() + QStringLiteral("/HKEY_PERFORMANCE_DATA");
    case HKEY_CURRENT_CONFIG:
        return configHome() + QStringLiteral("/HKEY_CURRENT_CONFIG");
    case HKEY_NONE:
        break;
    }
    return {};
}

// The INI file of a subkey below a root, "" when the subkey cannot name a file (an empty
// subkey, or one that climbs out of its root with "..").
QString keyFile(RootKey root, const QString& subkey) {
    if (root == HKEY_NONE || subkey.isEmpty())
        return {};
    const QStringList parts = subkey.split(QLatin1Char('\\'), Qt::SkipEmptyParts);
    if (parts.isEmpty())
        return {};
    for (const QString& p : parts)
        if (p == QLatin1String("..") || p == QLatin1String(".") || p.contains(QLatin1Char('/')))
            return {};
    return rootFolder(root) + QLatin1Char('/') + parts.join(QLatin1Char('/')) +
           QStringLiteral(".ini");
}

bool usableKeyFile(const QString& file) {
    QFileInfo fi(file);
    return fi.isFile() && fi.isReadable() && fi.size() <= kMaxKeyFileSize;
}

} // namespace

void ParseKey(QString& keyPath, RootKey& root) {
    const int slash = keyPath.indexOf(QLatin1Char('\\'));
    if (!keyPath.startsWith(QLatin1String("HKEY_")) || keyPath.endsWith(QLatin1Char('\\'))) {
        reportFormat(QStringLiteral("Incorrect Format:\n\n") + keyPath);
        root = HKEY_NONE;
        return;
    }
    QString rootName;
    if (slash < 0) {
        rootName = keyPath;
        keyPath.clear();
    } else {
        rootName = keyPath.left(slash);
        keyPath = keyPath.mid(slash + 1);
    }
    root = GetRootKey(rootName);
}

RootKey GetRootKey(const QString& rootName) {
    static const QHash<QString, RootKey> names{
        {QStringLiteral("HKEY_CLASSES_ROOT"), HKEY_CLASSES_ROOT},
        {QStringLiteral("HKEY_CURRENT_USER"), HKEY_CURRENT_USER},
        {QStringLiteral("HKEY_LOCAL_MACHINE"), HKEY_LOCAL_MACHINE},
        {QStringLiteral("HKEY_USERS"), HKEY_USERS},
        {QStringLiteral("HKEY_PERFORMANCE_DATA"), HKEY_PERFORMANCE_DATA},
        {QStringLiteral("HKEY_CURRENT_CONFIG"), HKEY_CURRENT_CONFIG},
    };
    return names.value(rootName, HKEY_NONE);
}

QString RegErrorText(long code) {
    switch (code) {
    case 1009:
    case 1015:
        return QStringLiteral("The Registry Database is corrupt!");
    case 2:
    case 1010:
        return QStringLiteral("Bad Key Name");
    case 1011:
        return QStringLiteral("Can't Open Key");
    case 4:
    case 1012:
        return QStringLiteral("Can't Read Key");
    case 5:
        return QStringLiteral("Access to this key is denied");
    case 1013:
        return QStringLiteral("Can't Write Key");
    case 8:
    case 14:
        return QStringLiteral("Out of memory");
    case 87:
        return QStringLiteral("Invalid Parameter");
    case 234:
        return QStringLiteral("There is more data than the buffer has been allocated to hold.");
    default:
        return QStringLiteral("Undefined Error Code:  ") + QString::number(code);
    }
}

QString TrimNul(const QString& text) {
    const int nul = text.indexOf(QChar(0));
    return nul < 0 ? text : text.left(nul);
}

QString registryFile(const QString& keyPath) {
    QString path = keyPath;
    RootKey root = HKEY_NONE;
    if (!path.startsWith(QLatin1String("HKEY_")) || path.endsWith(QLatin1Char('\\')))
        return {};
    ParseKey(path, root);
    return keyFile(root, path);
}

QString ReadRegistry(QString keyPath, const QString& valueName, const QString& defaultValue) {
    RootKey root = HKEY_NONE;
    ParseKey(keyPath, root);
    if (root == HKEY_NONE)
        return {};
    const QString file = keyFile(root, keyPath);
    if (file.isEmpty() || !usableKeyFile(file) || valueName.isEmpty())
        return defaultValue;
    // A fresh reader for every read: the store is never cached.
    QSettings ini(file, QSettings::IniFormat);
    if (ini.status() != QSettings::NoError)
        return defaultValue;
    const QVariant v = ini.value(valueName);
    if (!v.isValid())
        return defaultValue;
    // A list (an unquoted value with commas) is the text as it was written.
    const QString text = v.typeId() == QMetaType::QStringList
                             ? v.toStringList().join(QStringLiteral(", "))
                             : v.toString();
    // The Windows read buffer holds 254 characters and its NUL: longer values don't fit.
    if (text.size() >= 255)
        return defaultValue;
    return text.trimmed();
}

void WriteRegistry(QString keyPath, const QString& valueName, const QString& value) {
    RootKey root = HKEY_NONE;
    ParseKey(keyPath, root);
    if (root == HKEY_NONE)
        return;
    const QString file = keyFile(root, keyPath);
    // The key is not created here: a write to a key that does not exist does nothing.
    if (file.isEmpty() || !QFileInfo(file).isFile() || valueName.isEmpty())
        return;
    if (QFileInfo(file).size() > kMaxKeyFileSize)
        return;
    QSettings ini(file, QSettings::IniFormat);
    ini.setValue(valueName, value);
    ini.sync();
}

void CreateKey(QString keyPath) {
    RootKey root = HKEY_NONE;
    ParseKey(keyPath, root);
    if (root == HKEY_NONE)
        return;
    const QString file = keyFile(root, keyPath);
    if (file.isEmpty() || QFileInfo::exists(file))
        return;
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile f(file);
    if (f.open(QIODevice::WriteOnly))
        f.write("[General]\n");
}

QString setting(const QString& valueName, const QString& defaultValue, const QString& keyPath) {
    return TrimNul(ReadRegistry(keyPath, valueName, defaultValue).trimmed());
}

QString host_role_default(const QString& roleName) {
    static const QHash<QString, QString> defaults{
        {QStringLiteral("CompanyWebHost"), QStringLiteral("www.tarnwell.invalid")},
        {QStringLiteral("CompanyLookupHost"), QStringLiteral("lookup.tarnwell.invalid")},
        {QStringLiteral("CompanyServicesHost"), QStringLiteral("services.tarnwell.invalid")},
        {QStringLiteral("CompanyMirrorHost"), QStringLiteral("mirror.tarnwell.invalid")},
        {QStringLiteral("CompanyImageHost"), QStringLiteral("images.tarnwell.invalid")},
        {QStringLiteral("EspacenetNationalHost"), QStringLiteral("v3.espacenet.com")},
        {QStringLiteral("EspacenetSiteHost"), QStringLiteral("worldwide.espacenet.com")},
        {QStringLiteral("CustomerNumber"), QString()},
        {QStringLiteral("CustomerCode"), QString()},
        {QStringLiteral("ContactAddress"), QStringLiteral("support@tarnwell.invalid")},
    };
    return defaults.value(roleName);
}

QString host_role(const QString& roleName) {
    return host_role(roleName, host_role_default(roleName));
}

QString host_role(const QString& roleName, const QString& builtInDefault) {
    const QString user = setting(roleName, QString(), settings_key);
    if (!user.isEmpty())
        return user;
    const QString machine = setting(roleName, QString(), machine_settings_key);
    if (!machine.isEmpty())
        return machine;
    return builtInDefault;
}

QString default_tempdir() {
    return QDir::tempPath() + QStringLiteral("/brightquill");
}

QString default_pdfdir() {
    return QDir::homePath() + QStringLiteral("/pdf");
}

bool first_start_copy() {
    const QString machineFile = registryFile(machine_settings_key);
    if (!QFileInfo(machineFile).isFile())
        return false;
    // An installation leaves the machine key; its time of change tells one installation
    // from the next.
    const QString stamp = application_folder() + QStringLiteral("machine-settings.copied");
    const QByteArray mark =
        QByteArray::number(QFileInfo(machineFile).lastModified().toMSecsSinceEpoch());
    if (read_file(stamp) == mark)
        return false;

    auto copy = [](const QString& name, const QString& def) {
        WriteRegistry(settings_key, name, ReadRegistry(machine_settings_key, name, def));
    };
    // The first three go to a key that may not exist yet; only the later ones are sure
    // to land. That order is kept as the installer has always expected it.
    copy(QStringLiteral("TEMPDIR"), default_tempdir());
    copy(QStringLiteral("PDFDIR"), default_pdfdir());
    copy(QStringLiteral("EPOSERVER"), host_role_default(QStringLiteral("EspacenetNationalHost")));
    CreateKey(settings_key);
    copy(QStringLiteral("PARPAGEDESKTOP"), QStringLiteral("1"));
    copy(QStringLiteral("ADDBOOKMARKS"), QString());
    copy(QStringLiteral("ACT"), QStringLiteral("1"));
    copy(QStringLiteral("PROXY"), QString());
    copy(QStringLiteral("PROXYUSERID"), QString());
    write_file(stamp, mark);
    return true;
}
