// Hostile input against the whole order run: numbers and references that try to leave the
// program's folders or carry characters no file name may hold, the proxy's secret prefix that
// must stay out of everything a user or a log reader sees, and converters in the application
// folder that the program did not put there.
#include "foundation/general.h"
#include "foundation/log.h"
#include "order_fixture.h"
#include "retrieval/kit.h"
#include "settings_fixture.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

// Every file below a folder, by path.
QStringList all_files(const QString& folder) {
    QStringList found;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        found << it.next();
    return found;
}

bool unsafe_name(const QString& path) {
    for (const QChar c : path)
        if (c.unicode() < 0x20 || c.unicode() == 0x7f || QStringView(u"\"*?<>|").contains(c))
            return true;
    return false;
}

} // namespace

class Security : public OrderTest {};

// Hostile lines still end in the log, write nothing outside the program's folders nor under a
// name no file may hold; the proxy's secret prefix reaches no status line, title, log,
// report or file name meanwhile.
TEST_F(Security, HostileOrdersStayInsideAndKeepTheProxySecret) {
    startSimulator();
    const QString secret = QStringLiteral("bqsecret7");
    set_settings({{"PROXYUSERID", secret + ":pw@"}});
    const QString outside = QFileInfo(root).absolutePath(); // the parent of the test's folder
    const QStringList before = all_files(outside);
    const QString longText(4000, QLatin1Char('A'));
    const QString nul(QChar(0));
    const QStringList numbers = {
        "../../EP1000001",      "/etc/EP1000001",   "..\\..\\EP1000001", "C:\\EP1000001",
        "EP1000" + nul + "001", "EP\"*?<>|1000001", "EP\t1000001\r",     longText,
        "US5000001/../..",      "JP2001123456",     "WO2001012345",
    };
    const QStringList references = {
        "../../escape",  "/etc/ref", "..\\..\\ref", "C:\\ref",  "a\"b\nc\td",
        "x" + nul + "y", longText,   "..",          "ref|*?<>",
    };
    QStringList seen; // what each order left in the title and the report
    for (const QString& reference : references) {
        SCOPED_TRACE(reference.left(40).toStdString());
        order(numbers.join(QStringLiteral("\r\n")), reference);
        seen << host.title() << ctx.state.report_text;
    }
    const QString app = QDir(application_folder()).absolutePath();
    for (const QString& path : all_files(outside)) {
        if (before.contains(path))
            continue;
        SCOPED_TRACE(path.toStdString());
        const bool inside =
            path.startsWith(pdf) || path.startsWith(tmp) ||
            path.startsWith(app + QLatin1Char('/')) ||
            path.startsWith(samples + QLatin1Char('/')) ||
            QFileInfo(path).absolutePath() == QFileInfo(registryFile(settings_key)).absolutePath();
        EXPECT_TRUE(inside);
        EXPECT_FALSE(unsafe_name(path.mid(root.size())));
    }
    // Every line of every order is in the log; a hostile line is still a line.
    EXPECT_GE(logRecords().size(), qsizetype(references.size()));
    const QString log = QString::fromUtf8(read_file(log_path()));
    for (const QString& text :
         host.statusHistory + seen + QStringList{log} + all_files(pdf) + all_files(tmp))
        EXPECT_FALSE(text.contains(secret)) << text.toStdString();
}

TEST_F(Security, ConvertersThatTheProgramDidNotPutThereAreNotRun) {
    startSimulator();
    const QString path = application_folder() + QStringLiteral("uspto.lib");
    const QString elsewhere = root + QStringLiteral("/elsewhere");
    write_file(elsewhere, "#!/bin/sh\n");
    struct Case {
        const char* what;
        std::function<bool()> plant;
    } cases[] = {
        {"a link to another file", [&] { return QFile::link(elsewhere, path); }},
        {"a file of another user",
         [&] {
             write_file(path, "#!/bin/sh\n");
             return ::getuid() == 0 && ::chown(path.toLocal8Bit().constData(), 65534, 65534) == 0;
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        QFile::remove(path);
        if (!c.plant())
            continue; // another user's file can only be planted by root
        EXPECT_TRUE(
            ensure_converter(ctx, QString(), QStringLiteral("uspto.lib"), "fetching").isEmpty());
        EXPECT_TRUE(host.status().contains(QStringLiteral("is a link or belongs to another user")))
            << host.status().toStdString();
        EXPECT_EQ(read_file(elsewhere), "#!/bin/sh\n"); // nothing written through the link
    }
    QFile::remove(path);
    // A converter the program fetches itself is the user's alone.
    ASSERT_FALSE(
        ensure_converter(ctx, QString(), QStringLiteral("uspto.lib"), "fetching").isEmpty());
    const QFile::Permissions perms = QFileInfo(path).permissions();
    EXPECT_TRUE(perms & QFile::ExeOwner);
    EXPECT_FALSE(perms & (QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                          QFile::ReadOther | QFile::WriteOther | QFile::ExeOther));
}
