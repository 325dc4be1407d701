#include "office_fixture.h"

#include "foundation/general.h"
#include "foundation/registry.h"
#include "offices/office_table.h"
#include "retrieval/get_patent.h"
#include "settings_fixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QRegularExpression>

void OfficeTest::SetUp() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    root = test_root() + "/ret/" + QString(info->test_suite_name()).replace('/', '_') + '.' +
           QString(info->name()).replace('/', '_');
    QDir(root).removeRecursively();
    pdf = root + "/pdf/";
    tmp = root + "/tmp/";
    samples = root + "/samples";
    QDir().mkpath(pdf);
    QDir().mkpath(tmp);
    // Every test starts from settings of its own.
    QFile::remove(registryFile(settings_key));
    set_settings({{"PDFDIR", pdf}, {"TEMPDIR", tmp}});
    qputenv("BRIGHTQUILL_CA_FILE", LoopbackServer::ca_file().toLocal8Bit());
    availability_check_enabled() = false;
    QFile::remove(converter("uspto.lib"));
    QFile::remove(converter("cnpto.lib"));
    install_retrievers(ctx);
}

void OfficeTest::TearDown() {
    availability_check_enabled() = false;
    closeConnections();
}

void OfficeTest::closeConnections() {
    // Unloaded page slots are deleted by the event loop; their connections close with them.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    ctx.Inet1.manager()->clearConnectionCache();
    ctx.Inet3.manager()->clearConnectionCache();
    for (int i = 0; i < WebSlots::kSlots; ++i)
        if (ctx.Inet2.loaded(i))
            ctx.Inet2[i].manager()->clearConnectionCache();
}

void OfficeTest::startSimulator(Simulator::Options options) {
    options.tlsCertificate = BQ_SOURCE_DIR "/tests/support/tls/server.pem";
    options.tlsKey = BQ_SOURCE_DIR "/tests/support/tls/server.key";
    sim = std::make_unique<Simulator>(samples, options);
    add_all_roles(*sim);
    sim->set_observer([this](const QString&, const std::string& target) {
        static const std::pair<const char*, const char*> scripts[] = {
            {"/lookup/cache.asp", "cache"},
            {"/bnsinfo.asp", "bnsinfo"},
            {"/ps.asp", "ps"},
            {"/frbdoc.asp", "frbdoc"}};
        for (const auto& [path, event] : scripts)
            if (target.rfind(path, 0) == 0)
                note(QString::fromLatin1(event));
    });
    sim->start();
    sim->write_host_roles(settings_key);
}

void OfficeTest::note(const QString& event) {
    std::lock_guard<std::mutex> lock(mutex_);
    events_ << event;
}

QStringList OfficeTest::events() {
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

QStringList OfficeTest::logRecords() const {
    QStringList records;
    static const QRegularExpression re("^\"[^\"]*\",\"([^\"]*)\",\"([^\"]*)\",\"([^\"]*)\"$");
    // Each record takes the place of the LF that ended the one before it.
    const QStringList lines = QString::fromUtf8(read_file(pdf + "bnslog.csv"))
                                  .remove('\n')
                                  .split('\r', Qt::SkipEmptyParts);
    for (int i = 1; i < lines.size(); ++i) {
        const QRegularExpressionMatch m = re.match(lines.at(i));
        records << (m.hasMatch() ? m.captured(1) + '|' + m.captured(2) + '|' + m.captured(3)
                                 : "?" + lines.at(i));
    }
    return records;
}

QStringList OfficeTest::files(const QString& folder) const {
    return QDir(folder.isEmpty() ? tmp : folder).entryList(QDir::Files, QDir::Name);
}

std::vector<std::string> OfficeTest::targetsOf(const std::string& path) const {
    std::vector<std::string> t;
    for (const auto& r : server.requests())
        if (r.path == path)
            t.push_back(r.target);
    return t;
}

QString OfficeTest::converter(const char* name) {
    return application_folder() + QLatin1String(name);
}

QByteArray OfficeTest::program(const char* name) {
    return read_file(QStringLiteral("/usr/bin/") + QLatin1String(name));
}

QByteArray onePagePdf(const QString& label, int bytes) {
    const QString file = test_root() + "/page-" + QString::number(qHash(label)) + ".pdf";
    make_sample_pdf(file, label, 1, bytes);
    const QByteArray data = read_file(file);
    QFile::remove(file);
    return data;
}
