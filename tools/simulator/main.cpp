// bqsim: the office simulator as a program. Serves every host role on a loopback port of
// its own from a folder of sample documents until it is stopped (SIGINT or SIGTERM).
#include "simulator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTextStream>

#include <csignal>
#include <cstdio>

namespace {

// "source/NAME=PAGES" or "source/NAME=PAGES:IMAGEBYTES": a document made unless it exists.
bool make_document(const QString& samples, const QString& spec) {
    static const QRegularExpression re(
        QStringLiteral("^([a-z]+)/([A-Za-z0-9]+)=(\\d+)(?::(\\d+))?$"));
    const QRegularExpressionMatch m = re.match(spec);
    if (!m.hasMatch())
        return false;
    const QString path = samples + QLatin1Char('/') + m.captured(1) + QLatin1Char('/') +
                         m.captured(2) + QStringLiteral(".pdf");
    if (QFile::exists(path))
        return true;
    const int bytes = m.captured(4).isEmpty() ? 6000 : m.captured(4).toInt();
    return make_sample_pdf(path, m.captured(2), m.captured(3).toInt(), bytes);
}

} // namespace

int main(int argc, char** argv) {
    // The stop signals are taken by sigwait below; the serving threads inherit the mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("bqsim"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Serves the company servers and the offices on loopback ports from sample documents."));
    parser.addHelpOption();
    const QCommandLineOption samplesOpt(QStringLiteral("samples"),
                                        QStringLiteral("Folder of sample documents."),
                                        QStringLiteral("folder"), QStringLiteral("samples"));
    const QCommandLineOption latencyOpt(QStringLiteral("latency"),
                                        QStringLiteral("Milliseconds added to every answer."),
                                        QStringLiteral("ms"), QStringLiteral("0"));
    const QCommandLineOption failuresOpt(
        QStringLiteral("page-failures"),
        QStringLiteral("Every page fails this often before it is served."), QStringLiteral("n"),
        QStringLiteral("0"));
    const QCommandLineOption dropOpt(
        QStringLiteral("drop-pages"),
        QStringLiteral("Page failures close the connection instead of answering HTML."));
    const QCommandLineOption certOpt(QStringLiteral("tls-cert"),
                                     QStringLiteral("Certificate (PEM) of the https roles."),
                                     QStringLiteral("file"));
    const QCommandLineOption keyOpt(QStringLiteral("tls-key"),
                                    QStringLiteral("Key (PEM) of the https roles."),
                                    QStringLiteral("file"));
    const QCommandLineOption writeOpt(
        QStringLiteral("write-roles"),
        QStringLiteral("Writes every role's host into this settings key."), QStringLiteral("key"));
    const QCommandLineOption printOpt(QStringLiteral("print-roles"),
                                      QStringLiteral("Prints Role=host lines once serving."));
    const QCommandLineOption docOpt(
        QStringLiteral("document"),
        QStringLiteral("Makes a sample document unless it exists: source/NAME=PAGES[:IMAGEBYTES]."),
        QStringLiteral("spec"));
    const QCommandLineOption generateOpt(QStringLiteral("generate-only"),
                                         QStringLiteral("Makes the sample documents and ends."));
    const QCommandLineOption faultOpt(
        QStringLiteral("fault"),
        QStringLiteral("Makes a role misbehave: Role=refused, html, 500, short, length, reset, "
                       "slow, stall, redirect or huge."),
        QStringLiteral("role=fault"));
    parser.addOptions({samplesOpt, latencyOpt, failuresOpt, dropOpt, certOpt, keyOpt, writeOpt,
                       printOpt, docOpt, generateOpt, faultOpt});
    parser.process(app);

    const QString samples = parser.value(samplesOpt);
    for (const QString& spec : parser.values(docOpt)) {
        if (!make_document(samples, spec)) {
            std::fprintf(stderr, "bqsim: cannot make document %s\n", qPrintable(spec));
            return 2;
        }
    }

    Simulator::Options options;
    options.latencyMs = parser.value(latencyOpt).toInt();
    options.pageFailures = parser.value(failuresOpt).toInt();
    options.dropPages = parser.isSet(dropOpt);
    options.tlsCertificate = parser.value(certOpt).toStdString();
    options.tlsKey = parser.value(keyOpt).toStdString();
#ifdef BQ_SIMULATOR_DATA
    // Installed, the simulator brings the certificate of its https roles along.
    if (options.tlsCertificate.empty() &&
        QFile::exists(QStringLiteral(BQ_SIMULATOR_DATA "/server.pem"))) {
        options.tlsCertificate = BQ_SIMULATOR_DATA "/server.pem";
        options.tlsKey = BQ_SIMULATOR_DATA "/server.key";
    }
#endif
    Simulator sim(samples, options);
    add_all_roles(sim);
    if (parser.isSet(generateOpt))
        return 0;

    sim.start();
    for (const QString& spec : parser.values(faultOpt)) {
        Simulator::Fault fault;
        if (!Simulator::fault_by_name(spec.section(QLatin1Char('='), 1), fault)) {
            std::fprintf(stderr, "bqsim: no such fault: %s\n", qPrintable(spec));
            return 2;
        }
        sim.set_fault(spec.section(QLatin1Char('='), 0, 0), fault);
    }
    if (parser.isSet(writeOpt))
        sim.write_host_roles(parser.value(writeOpt));
    QTextStream out(stdout);
    int serving = 0;
    for (const QString& role : sim.roles()) {
        const QString host = sim.host(role);
        if (host.isEmpty())
            continue;
        ++serving;
        if (parser.isSet(printOpt))
            out << role << '=' << host << '\n';
    }
    out.flush();
    std::fprintf(stderr, "bqsim: serving %d roles from %s\n", serving, qPrintable(samples));
    std::fflush(stderr);

    int received = 0;
    sigwait(&stopSignals, &received);
    sim.stop();
    return 0;
}
