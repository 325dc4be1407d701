#include "foundation/registry.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

const QString kKey = "HKEY_CURRENT_USER\\Tarnwell\\regtest";

void writeRaw(const QString& key, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(registryFile(key)).absolutePath());
    QFile f(registryFile(key));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

TEST(SettingsStore, KeysAreFilesBelowTheXdgFolders) {
    const std::pair<QString, QString> cases[] = {
        {settings_key, "/config/Tarnwell/brightquill.ini"},
        {old_settings_key, "/config/SOFTWARE/Tarnwell/brightquill.ini"},
        {machine_settings_key, "/xdg/Tarnwell/brightquill.ini"},
        {"HKEY_USERS\\a\\b", "/config/HKEY_USERS/a/b.ini"},
        {"HKEY_CURRENT_USER\\..\\..\\etc\\x", ""}, // never outside its root
        {"HKEY_NOWHERE\\x", ""},
    };
    for (const auto& [key, file] : cases)
        EXPECT_EQ(registryFile(key), file.isEmpty() ? "" : test_root() + file) << key.toStdString();
}

TEST(SettingsStore, ReadsTrimAndFallBackToTheDefault) {
    QFile::remove(registryFile(kKey));
    EXPECT_EQ(ReadRegistry(kKey, "A", "dflt"), "dflt"); // no key
    WriteRegistry(kKey, "A", "x");                      // a write does not create the key
    EXPECT_FALSE(QFile::exists(registryFile(kKey)));
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
    // A change by hand counts from the next read.
    writeRaw(kKey, "[General]\nA=changed by hand, longer\n");
    EXPECT_EQ(ReadRegistry(kKey, "A", ""), "changed by hand, longer");
    for (const char* bad : {"HKEY_NOWHERE\\x", "Tarnwell\\x", "HKEY_CURRENT_USER\\x\\"})
        EXPECT_EQ(ReadRegistry(bad, "A", "dflt"), "") << bad;
}

TEST(SettingsStore, BrokenFilesGiveTheDefaults) {
    for (const QByteArray& bytes :
         {QByteArray("\x00\xff\x01[[[=\n=\n", 10), QByteArray("A\n=\n==="),
          "[General]\nA=big\n" + QByteArray(3 << 20, 'z')}) {
        writeRaw(kKey, bytes);
        EXPECT_EQ(ReadRegistry(kKey, "B", "dflt"), "dflt") << bytes.left(20).constData();
    }
}

TEST(SettingsStore, HostRolesComeFromUserThenMachineThenDefault) {
    EXPECT_EQ(host_role("CompanyWebHost"), "www.tarnwell.invalid");
    set_settings({{"CompanyWebHost", "machine.example:8080"}}, machine_settings_key);
    EXPECT_EQ(host_role("CompanyWebHost"), "machine.example:8080");
    set_settings({{"CompanyWebHost", "127.0.0.1:9"}});
    EXPECT_EQ(host_role("CompanyWebHost"), "127.0.0.1:9");
    QFile::remove(registryFile(machine_settings_key));
}

TEST(SettingsStore, FirstStartCopiesTheInstallersValuesOnce) {
    QFile::remove(registryFile(settings_key));
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
    EXPECT_EQ(ReadRegistry(settings_key, "PROXY", ""), "proxy:3128");
    WriteRegistry(settings_key, "ACT", "2");
    EXPECT_FALSE(first_start_copy()); // the same installation: the user's choice stays
    EXPECT_EQ(ReadRegistry(settings_key, "ACT", ""), "2");
    QFile::remove(registryFile(machine_settings_key));
}

} // namespace
