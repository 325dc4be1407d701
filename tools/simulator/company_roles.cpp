// The company's own servers: the ready-made cache, the lookup server that hands documents
// out page by page, the services server with the WO documents, and the hosts that the
// replies point at.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

using sim::qparam;

namespace {

const QString kCache = QStringLiteral("cache");
const QString kLookup = QStringLiteral("lookup");
const QString kWo = QStringLiteral("wo");
const QString kFrb = QStringLiteral("frb");

// The part of a path behind its stem, without ".pdf".
QString name_in_path(const std::string& path, const std::string& stem) {
    QString name = QString::fromStdString(path.substr(std::min(stem.size(), path.size())));
    if (name.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive))
        name.chop(4);
    return name;
}

void serve_page(Simulator& sim, httplib::Response& res, const QString& source,
                const QString& number, const QString& page, const std::string& keyStem) {
    const QString doc = sim::find_document(sim.samples(), source, number);
    const QString file =
        doc.isEmpty() ? QString() : sim::page_file(sim.samples(), source, doc, page.toLongLong());
    if (file.isEmpty())
        return sim::answer_html_error(res);
    if (sim::page_fails(sim, res, keyStem + ":" + number.toStdString() + ":" + page.toStdString()))
        return;
    sim::answer_file(res, file);
}

} // namespace

void add_company_roles(Simulator& sim) {
    const QString samples = sim.samples();
    sim::ensure_sample(samples, kCache, QStringLiteral("JP2001123456"), 3);
    sim::ensure_sample(samples, kLookup, QStringLiteral("EP1000001"), 6,
                       QStringLiteral("1:Abstract,2:Description,5:Claims"));
    sim::ensure_sample(samples, kWo, QStringLiteral("WO2004012345"), 4,
                       QStringLiteral("1:Abstract,3:Claims"));
    sim::ensure_sample(samples, kFrb, QStringLiteral("FR2812345B1"), 3);

    // The cache answers with the address of a ready PDF, or with a text without one.
    sim.route(QStringLiteral("CompanyWebHost"), "/lookup/cache.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = qparam(req, "PN").trimmed();
                  if (sim::find_document(sim.samples(), kCache, pn).isEmpty())
                      return sim::answer_text(res, QStringLiteral("NOT IN CACHE"));
                  sim::answer_text(
                      res, QStringLiteral("http://") + sim.host(QStringLiteral("CompanyWebHost")) +
                               QStringLiteral("/cache/") + pn.toLower() + QStringLiteral(".pdf"));
              });
    sim.route(QStringLiteral("CompanyWebHost"), "/cache/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString doc =
                      sim::find_document(sim.samples(), kCache, name_in_path(req.path, "/cache/"));
                  if (doc.isEmpty())
                      return sim::answer_html_error(res);
                  sim::answer_file(res, doc);
              });

    // bnsinfo.asp: fields separated by "@", the id in field 2, the page count in field 3,
    // the bookmarks in field 4 (with a leading comma), the "@@@@" marker behind them.
    sim.route(QStringLiteral("CompanyLookupHost"), "/bnsinfo.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = qparam(req, "PN");
                  const QString doc = sim::find_document(sim.samples(), kLookup, pn);
                  if (doc.isEmpty())
                      return sim::answer_text(res, QStringLiteral("0@") + pn +
                                                       QStringLiteral("@NOT HELD"));
                  const int pages = sim::page_count(sim.samples(), kLookup, doc);
                  const QString bookmarks = sim::document_bookmarks(doc);
                  sim::answer_text(
                      res, QStringLiteral("1@") + pn + QLatin1Char('@') + sim::document_name(doc) +
                               QLatin1Char('@') + QString::number(pages) + QLatin1Char('@') +
                               (bookmarks.isEmpty() ? QString() : QStringLiteral(",") + bookmarks) +
                               QStringLiteral("@@@@"));
              });
    sim.route(QStringLiteral("CompanyLookupHost"), "/bns.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  serve_page(sim, res, kLookup, qparam(req, "ID"), qparam(req, "PG"), "bns");
              });
    // ps.asp: the https address of the front page on the publication server.
    sim.route(QStringLiteral("CompanyLookupHost"), "/ps.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString doc = sim::find_document(sim.samples(), kLookup, qparam(req, "PN"));
                  const QString host = sim.host(QStringLiteral("CompanyPublicationHost"));
                  if (doc.isEmpty() || host.isEmpty())
                      return sim::answer_text(res, QStringLiteral("NOT HELD"));
                  sim::answer_text(res, QStringLiteral("https://") + host + QStringLiteral("/fp/") +
                                            sim::document_name(doc) + QStringLiteral(".pdf"));
              });
    sim.secure(QStringLiteral("CompanyPublicationHost"));
    sim.route(QStringLiteral("CompanyPublicationHost"), "/fp/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  serve_page(sim, res, kLookup, name_in_path(req.path, "/fp/"), QStringLiteral("1"),
                             "fp");
              });
    // frbdoc.asp: one line per piece, host and path without scheme, on the mirror host.
    sim.route(QStringLiteral("CompanyLookupHost"), "/frbdoc.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = qparam(req, "pn");
                  const QString doc = sim::find_document(sim.samples(), kFrb, pn);
                  if (doc.isEmpty())
                      return sim::answer_text(res, QStringLiteral("<html>No document</html>"));
                  const int pages = sim::page_count(sim.samples(), kFrb, doc);
                  QString reply;
                  for (int i = 1; i <= pages; ++i)
                      reply += sim.host(QStringLiteral("CompanyMirrorHost")) +
                               QStringLiteral("/frb/piece.asp?pn=") + pn + QStringLiteral("&i=") +
                               QString::number(i) + QStringLiteral("\r\n");
                  sim::answer_text(res, reply);
              });
    sim.route(QStringLiteral("CompanyMirrorHost"), "/frb/piece.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  serve_page(sim, res, kFrb, qparam(req, "pn"), qparam(req, "i"), "frb");
              });

    // wipop2.asp: a header line, the document's host and path, and the bookmarks on the
    // last line, which is never fetched.
    sim.route(QStringLiteral("CompanyServicesHost"), "/lookup/wipop2.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = qparam(req, "pn") + qparam(req, "KD");
                  const QString doc = sim::find_document(sim.samples(), kWo, pn);
                  if (doc.isEmpty())
                      return sim::answer_text(
                          res, QStringLiteral("<HTML><BODY>No document</BODY></HTML>"));
                  sim::answer_text(
                      res, QStringLiteral("PAGES=") +
                               QString::number(sim::page_count(sim.samples(), kWo, doc)) +
                               QStringLiteral("\r\n") +
                               sim.host(QStringLiteral("CompanyServicesHost")) +
                               QStringLiteral("/wodocs/") + sim::document_name(doc) +
                               QStringLiteral(".pdf\r\nBOOKMARKS=") + sim::document_bookmarks(doc));
              });
    sim.route(QStringLiteral("CompanyServicesHost"), "/wodocs/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString doc =
                      sim::find_document(sim.samples(), kWo, name_in_path(req.path, "/wodocs/"));
                  if (doc.isEmpty())
                      return sim::answer_html_error(res);
                  sim::answer_file(res, doc);
              });
}
