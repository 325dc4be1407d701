#pragma once

#include <QString>

// The settings store. A key path keeps its Windows form ("HKEY_CURRENT_USER\Tarnwell\x");
// each key is an INI file below the XDG configuration folders, and a value is a
// NAME=value line of its [General] section. Nothing is cached: every read opens the file
// again, so a change counts from the next read.

inline const QString settings_key = QStringLiteral("HKEY_CURRENT_USER\\Tarnwell\\brightquill");
inline const QString old_settings_key =
    QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Tarnwell\\brightquill");
inline const QString machine_settings_key =
    QStringLiteral("HKEY_LOCAL_MACHINE\\Tarnwell\\brightquill");

// Root handles, the standard values of the six root names.
enum RootKey : unsigned {
    HKEY_NONE = 0,
    HKEY_CLASSES_ROOT = 0x80000000u,
    HKEY_CURRENT_USER = 0x80000001u,
    HKEY_LOCAL_MACHINE = 0x80000002u,
    HKEY_USERS = 0x80000003u,
    HKEY_PERFORMANCE_DATA = 0x80000004u,
    HKEY_CURRENT_CONFIG = 0x80000005u,
};

// Splits a key path into its root handle and subkey: the path is rewritten to the subkey.
// A path that does not begin "HKEY_" or ends in "\" is reported and left unchanged.
void ParseKey(QString& keyPath, RootKey& root);
RootKey GetRootKey(const QString& rootName);
QString RegErrorText(long code);
// The part before the first NUL, or the whole text.
QString TrimNul(const QString& text);

// The value, trimmed at both ends; the default when the key, the value or the file is
// missing or unreadable, or the value has 255 characters or more. An unknown root gives "".
QString ReadRegistry(QString keyPath, const QString& valueName, const QString& defaultValue);
// Stores a value in an existing key; a key that does not exist is not created.
void WriteRegistry(QString keyPath, const QString& valueName, const QString& value);
// Creates the key (its file and folders) if it is missing.
void CreateKey(QString keyPath);

// The INI file behind a key path, "" for an unknown root or a malformed path.
QString registryFile(const QString& keyPath);

// A live setting as every retriever reads it: ReadRegistry, Trim, TrimNul.
QString setting(const QString& valueName, const QString& defaultValue,
                const QString& keyPath = settings_key);

// The value of a host role ("CompanyWebHost", "CipoHost", ...): from the user's key, then
// the machine key, then the built-in default. The company's roles, the Espacenet roles and
// the customer values have their defaults here; an office's roles come with the office.
QString host_role(const QString& roleName);
QString host_role(const QString& roleName, const QString& builtInDefault);
// The built-in default of a company or Espacenet role, "" for any other name.
QString host_role_default(const QString& roleName);

// Defaults of the folders: the system temp folder + "/brightquill", the home folder + "/pdf".
QString default_tempdir();
QString default_pdfdir();

// Copies the machine-wide settings into the user's key on the first start after an
// installation (the machine key changed since the last copy). True when it copied.
bool first_start_copy();
