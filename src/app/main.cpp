// Brightquill Desktop: the order tool's window, or an unattended order from the command line.
#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "gui/form1.h"
#include "offices/office_table.h"
#include "order/summary.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QNetworkProxyFactory>
#include <QStringList>

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

const char* const kHelp = R"(Usage: brightquill [LIST | /P:NUMBERS [/R:REFERENCE] | /F:FILE]
       brightquill --help | --version

Brightquill Desktop orders patent documents: one PDF per number in the PDF folder (in a
sub-folder named after the reference), every outcome a line of bnslog.csv there.

Without arguments the window opens. The command line is the arguments joined by single
blanks, upper-cased as a whole:

  /P:NUMBERS [/R:REFERENCE]
      Orders the comma-separated numbers, with the reference behind /R: (the rest of the
      line), and ends when the order is done. Example:
        brightquill "/P:EP1234567,WO0012345 /R:CASE 7"
  /F:FILE
      Orders the numbers of a text file (UTF-8), one per line. Commas, periods, hyphens,
      slashes and backslashes are deleted from the file's text; there is no /R: here.
  anything else
      Opens the window with the text in the number list, every comma a line break.

An order of /P: or /F: needs no display: without DISPLAY and WAYLAND_DISPLAY it runs on
Qt's offscreen platform, writes every status line to standard error and, at the end, a
summary: delivered, from cache and not found, per source, the elapsed time and the log's
path. Without a display, a command line that starts no order is refused.

Exit codes of an order from the command line:
  0  every number was delivered, or was there already
  1  some numbers were not delivered (not found, cancelled, or delivered empty or not
     as a PDF: those are named in the summary)
  2  the order could not start: the /F: file cannot be read, the PDF folder cannot be
     written, or (without a display) the command line holds no order

Settings: ~/.config/Tarnwell/brightquill.ini (PDFDIR, TEMPDIR, ACT, PROXY, PROXYUSERID,
PARPAGEDESKTOP, ADDBOOKMARKS, EPOSERVER and the host roles: CompanyWebHost,
CompanyLookupHost, ... each a host name with an optional :port). A PEM file named by
BRIGHTQUILL_CA_FILE is trusted for https beside the system's authorities.

  --help     this text
  --version  the version and the build's date
)";

bool displayless() {
    return qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// On the offscreen platform, standard error carries the status lines and the summary only:
// the platform's own notes ("This plugin does not support ...") are dropped.
void quiet_messages(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtFatalMsg || type == QtCriticalMsg) {
        std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
        std::fflush(stderr);
    }
}

int refuse(const QString& why) {
    std::fprintf(stderr, "brightquill: %s\n", why.toLocal8Bit().constData());
    return CouldNotStart;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("%d.%d.%d (built %s)\n", BQ_VERSION_MAJOR, BQ_VERSION_MINOR, BQ_VERSION_PATCH,
                    BQ_BUILD_DATE);
        return 0;
    }
    // Without a display the program still runs: command-line orders need no screen.
    if (displayless() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariable("QT_QPA_PLATFORM") == QLatin1String("offscreen"))
        qInstallMessageHandler(quiet_messages);

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("brightquill"));
    QApplication::setOrganizationName(QStringLiteral("Tarnwell"));
    QNetworkProxyFactory::setUseSystemConfiguration(true);

    // The raw command line: the arguments joined by single blanks.
    QStringList args = QApplication::arguments();
    args.removeFirst();
    const QString raw = args.join(QLatin1Char(' '));
    const QString upper = vb_trim(raw).toUpper();
    const bool commandLineOrder =
        upper.startsWith(QLatin1String("/P:")) || upper.startsWith(QLatin1String("/F:"));

    if (upper.startsWith(QLatin1String("/F:"))) {
        const QFileInfo list(vb_trim(vb_trim(raw).mid(3)));
        if (list.exists() && (!list.isFile() || !list.isReadable()))
            return refuse(QStringLiteral("cannot read the list file %1").arg(list.filePath()));
    }
    if (commandLineOrder) {
        const QString pdfdir = setting(QStringLiteral("PDFDIR"), default_pdfdir());
        CAddFolder(pdfdir);
        const QFileInfo folder(pdfdir);
        if (!folder.isDir() || !folder.isWritable())
            return refuse(QStringLiteral("the PDF folder %1 cannot be written").arg(pdfdir));
    }

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
    form.setEchoStatus(commandLineOrder);
    QElapsedTimer elapsed;
    elapsed.start();
    if (form.load(raw)) {
        // A command-line order ends the program when it is done, telling what it delivered.
        const OrderSummary summary = summarise_order(form.context());
        std::fputs(summary.text(elapsed.elapsed(), log_path()).toLocal8Bit().constData(), stderr);
        endProgram(summary.exitCode());
    }
    if (displayless()) {
        // Nobody could see the window: say why nothing was ordered instead of waiting.
        if (upper.startsWith(QLatin1String("/F:")))
            return refuse(QStringLiteral("cannot read the list file %1").arg(vb_trim(raw).mid(3)));
        return refuse(QStringLiteral("no display, and the command line holds no order "
                                     "(/P: or /F:); see brightquill --help"));
    }
    form.show();
    form.activateWindow();
    return app.exec();
}
