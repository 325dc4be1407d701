#include "foundation/registry.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

const QString kKey = QStringLiteral("HKEY_CURRENT_USER\\Tarnwell\\regtest");

QString iniOf(const QString& key) {
    return registryFile(key);
}

void writeRaw(const QString& key, const QByteArray& bytes) {
    const QString file = iniOf(key);
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

TEST(SettingsStore, KeysAreFilesBelowTheXdgFolders) {
    const QByteArray root = test_root().toLocal8Bit();
    EXPECT_EQ(iniOf(settings_key),
              QString::fromLocal8Bit(root + "/config/Tarnwell/brightquill.ini"));
    EXPECT_EQ(iniOf(old_settings_key),
              QString::fromLocal8Bit(root + "/config/SOFTWARE/Tarnwell/brightquill.ini"));
    EXPECT_EQ(iniOf(machine_settings_key),
              QString::fromLocal8Bit(root + "/xdg/Tarnwell/brightquill.ini"));
    EXPECT_EQ(iniOf("HKEY_USERS\\a\\b"),
              QString::fromLocal8Bit(root + "/config/HKEY_USERS/a/b.ini"));
    EXPECT_EQ(iniOf("HKEY_CURRENT_USER\\..\\..\\etc\\x"), QString()); // never outside its root
    EXPECT_EQ(iniOf("HKEY_NOWHERE\\x"), QString());
}

TEST(SettingsStore, ReadsTrimAndFallBackToTheDefault) {
    QFile::remove(iniOf(kKey));
    EXPECT_EQ(ReadRegistry(kKey, "A", "dflt"), "dflt"); // no key
    WriteRegistry(kKey, "A", "x");                      // a write does not create the key
    EXPECT_FALSE(QFile::exists(iniOf(kKey)));
    CreateKey(kKey);
    EXPECT_EQ(ReadRegistry(kKey, "A", "dflt"), "dflt"); // no value
    WriteRegistry(kKey, "A", "  abc  ");
    EXPECT_EQ(ReadRegistry(kKey, "A", "dflt"), "abc");
    WriteRegistry(kKey, "Path", "/home/u/my pdf, 2");
    EXPECT_EQ(ReadRegistry(kKey, "Path", ""), "/home/u/my pdf, 2");
    WriteRegistry(kKey, "Long", QString(254, 'x'));
    EXPECT_EQ(ReadRegistry(kKey, "Long", "d"), QString(254, 'x'));
    WriteRegistry(kKey, "Long", QString(255, 'x'));
    EXPECT_EQ(ReadRegistry(kKey, "Long", "d"), "d");
    EXPECT_EQ(ReadRegistry("HKEY_NOWHERE\\x", "A", "dflt"), ""); // unknown root
    EXPECT_EQ(ReadRegistry("Tarnwell\\x", "A", "dflt"), "");     // malformed path
    EXPECT_EQ(ReadRegistry("HKEY_CURRENT_USER\\x\\", "A", "dflt"), "");
}

TEST(SettingsStore, BrokenFilesGiveTheDefaults) {
    struct Case {
        const char* what;
        QByteArray bytes;
    } cases[] = {
        {"garbage", QByteArray("\x00\xff\x01[[[=\n=\n", 10)},
        {"no section", "A\n=\n==="},
        {"huge", "[General]\nA=big\n" + QByteArray(3 << 20, 'z')},
    };
    for (const Case& c : cases) {
        writeRaw(kKey, c.bytes);
        EXPECT_EQ(ReadRegistry(kKey, "B", "dflt"), "dflt") << c.what;
    }
    writeRaw(kKey, "[General]\nA=1\n");
    QFile(iniOf(kKey)).setPermissions(QFileDevice::WriteOwner);
    if (!QFileInfo(iniOf(kKey)).isReadable()) { // root reads everything
        EXPECT_EQ(ReadRegistry(kKey, "A", "dflt"), "dflt") << "unreadable";
    }
    QFile(iniOf(kKey)).setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

TEST(SettingsStore, ChangesAreSeenByTheNextRead) {
    CreateKey(kKey);
    WriteRegistry(kKey, "V", "1");
    EXPECT_EQ(ReadRegistry(kKey, "V", ""), "1");
    writeRaw(kKey, "[General]\nV=changed by hand, longer\n");
    EXPECT_EQ(ReadRegistry(kKey, "V", ""), "changed by hand, longer");
}

TEST(SettingsStore, HelpersKeepTheirWords) {
    QString path = "HKEY_LOCAL_MACHINE\\Tarnwell\\brightquill";
    RootKey root = HKEY_NONE;
    ParseKey(path, root);
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(path, "Tarnwell\\brightquill");
    path = "HKEY_USERS";
    ParseKey(path, root);
    EXPECT_EQ(root, HKEY_USERS);
    EXPECT_EQ(path, "");
    EXPECT_EQ(TrimNul(QStringLiteral("ab") + QChar(0) + "cd"), "ab");
    EXPECT_EQ(TrimNul("abc"), "abc");
    EXPECT_EQ(RegErrorText(42), "Undefined Error Code:  42");
}

TEST(SettingsStore, HostRolesComeFromUserThenMachineThenDefault) {
    EXPECT_EQ(host_role("CompanyWebHost"), "www.tarnwell.invalid");
    set_settings({{"CompanyWebHost", "machine.example:8080"}}, machine_settings_key);
    EXPECT_EQ(host_role("CompanyWebHost"), "machine.example:8080");
    set_settings({{"CompanyWebHost", "127.0.0.1:9"}});
    EXPECT_EQ(host_role("CompanyWebHost"), "127.0.0.1:9");
    QFile::remove(iniOf(machine_settings_key));
}

TEST(SettingsStore, FirstStartCopiesTheInstallersValuesOnce) {
    QFile::remove(iniOf(settings_key));
    set_settings({{"TEMPDIR", "/t"},
                  {"PDFDIR", "/p"},
                  {"PARPAGEDESKTOP", "0"},
                  {"ACT", "3"},
                  {"PROXY", "proxy:3128"}},
                 machine_settings_key);
    EXPECT_TRUE(first_start_copy());
    // The folders were written before the user's key existed: only the later values land.
    EXPECT_EQ(ReadRegistry(settings_key, "TEMPDIR", "none"), "none");
    EXPECT_EQ(ReadRegistry(settings_key, "PARPAGEDESKTOP", ""), "0");
    EXPECT_EQ(ReadRegistry(settings_key, "ACT", ""), "3");
    EXPECT_EQ(ReadRegistry(settings_key, "PROXY", ""), "proxy:3128");
    WriteRegistry(settings_key, "ACT", "2");
    EXPECT_FALSE(first_start_copy()); // the same installation: the user's choice stays
    EXPECT_EQ(ReadRegistry(settings_key, "ACT", ""), "2");
    QFile::remove(iniOf(machine_settings_key));
}

} // namespace
