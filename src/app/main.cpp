// Brightquill Desktop: the order tool's window, or an unattended order from the command line.
#include "foundation/host.h"
#include "gui/form1.h"
#include "offices/office_table.h"

#include <QApplication>
#include <QNetworkProxyFactory>
#include <QStringList>

#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv) {
    // Without a display the program still runs: command-line orders need no screen.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("brightquill"));
    QApplication::setOrganizationName(QStringLiteral("Tarnwell"));
    QNetworkProxyFactory::setUseSystemConfiguration(true);

    // The raw command line: the arguments joined by single blanks.
    QStringList args = QApplication::arguments();
    args.removeFirst();
    const QString raw = args.join(QLatin1Char(' '));

    DesktopShell shell;
    // Ending the program never returns into the interrupted run: logged lines are already
    // on disk, and nothing else is kept.
    auto endProgram = [](int code) {
        std::fflush(stdout);
        std::fflush(stderr);
        _exit(code);
    };
    Form1 form(shell, endProgram);
    install_retrievers(form.context());
    const QString upper = raw.trimmed().toUpper();
    const bool commandLineOrder =
        upper.startsWith(QLatin1String("/P:")) || upper.startsWith(QLatin1String("/F:"));
    form.setEchoStatus(commandLineOrder);
    if (form.load(raw)) {
        // A command-line order ends the program when it is done.
        endProgram(0);
    }
    form.show();
    form.activateWindow();
    return app.exec();
}
