// Entry point of every test program: points the settings, data and temp folders into a
// temporary folder of this process, so that no test touches a user's settings or files.
#include "test_env.h"

#ifdef BQ_TEST_WIDGETS
#include <QApplication>
#endif
#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {
QTemporaryDir* g_root = nullptr;
}

QString test_root() {
    return g_root->path();
}

QStringList pageLabels(const QString& pdf) {
    // qpdf's QDF form writes each page's content stream behind a marker, in page order.
    QProcess qpdf;
    qpdf.start("qpdf", {"--qdf", "--normalize-content=n", pdf, "-"});
    qpdf.waitForFinished(-1);
    static const QRegularExpression label("\\(([^)]*)\\) Tj ET\\s+BT /F1 14 Tf 72 730 Td "
                                          "\\(Page (\\d+) of");
    QStringList labels;
    for (const QString& page :
         QString::fromLatin1(qpdf.readAllStandardOutput()).split("%% Contents for page ").mid(1)) {
        const auto m = label.match(page.section("endstream", 0, 0));
        labels << (m.hasMatch() ? m.captured(1) + ' ' + m.captured(2) : "?");
    }
    return labels;
}

int main(int argc, char** argv) {
    // The temp folder of the process itself moves below the test root too.
    g_root = new QTemporaryDir(QDir::tempPath() + QStringLiteral("/bqtest-XXXXXX"));
    const QByteArray root = g_root->path().toLocal8Bit();
    for (const char* sub : {"config", "xdg", "data", "tmp", "home"})
        QDir().mkpath(QString::fromLocal8Bit(root) + QLatin1Char('/') + QLatin1String(sub));
    qputenv("XDG_CONFIG_HOME", root + "/config");
    qputenv("XDG_CONFIG_DIRS", root + "/xdg");
    qputenv("XDG_DATA_HOME", root + "/data");
    qputenv("TMPDIR", root + "/tmp");
    qputenv("HOME", root + "/home");
    // Dates in the log are compared as text: one locale for every run.
    qputenv("LC_ALL", "C");
    qputenv("LANG", "C");
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "BRIGHTQUILL_CA_FILE"})
        qunsetenv(name);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    ::testing::InitGoogleTest(&argc, argv);
#ifdef BQ_TEST_WIDGETS
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    const int rc = RUN_ALL_TESTS();
    delete g_root;
    return rc;
}
