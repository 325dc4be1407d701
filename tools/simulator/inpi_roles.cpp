// INPI's patent search: a script that takes a French number in any of its forms (the kind
// code is not needed) and answers with the document's page, which links to the whole PDF
// below "/brevet/PDF/"; and the PDFs. A document withdrawn from the site is still found by
// the search, but its PDF link leads to an error page.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

#include <QRegularExpression>

namespace {

const QString kInpi = QStringLiteral("inpi");
const QString kWithdrawn = QStringLiteral("FR2900002");

// The search's fixed values; a request without them gets the site's error page.
bool fixed_values(const httplib::Request& req) {
    static const std::pair<const char*, const char*> values[] = {
        {"_Action", "FICHBREV"}, {"_NumPage", "1"},          {"_TypeRech", "RECHNUMB"},
        {"_PortRech", ""},       {"_SeleBrev", ""},          {"_PrevAct", "LISTBREV"},
        {"_NumPag2", "1"},       {"_TypeVisu", "RECHERCHE"}, {"_NumBrevt", "0000001"},
    };
    for (const auto& [key, value] : values)
        if (!req.has_param(key) || req.get_param_value(key) != value)
            return false;
    return true;
}

// The publication a question names: "FR" and its digits, whatever kind code follows.
QString publication(const QString& question) {
    static const QRegularExpression re(QStringLiteral("^(FR\\d+)(?:[A-Z]\\d?)?$"));
    const QRegularExpressionMatch m = re.match(question);
    return m.hasMatch() ? m.captured(1) : QString();
}

} // namespace

void add_inpi_roles(Simulator& sim) {
    sim::ensure_sample(sim.samples(), kInpi, QStringLiteral("FR2900001"), 2);

    sim.route(QStringLiteral("InpiHost"), "/brevet/cgi-bin/BRVinpi.cgi",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  if (!fixed_values(req))
                      return sim::answer_html_error(res);
                  const QString pn =
                      publication(QString::fromStdString(req.get_param_value("_Question")));
                  const bool held =
                      !pn.isEmpty() &&
                      (pn == kWithdrawn || !sim::find_document(sim.samples(), kInpi, pn).isEmpty());
                  if (!held)
                      return sim::answer_text(
                          res, QStringLiteral("<html><head><title>INPI - Brevets</title></head>"
                                              "<body><p>Aucun document ne correspond a votre "
                                              "recherche.</p></body></html>"));
                  sim::answer_text(
                      res, QStringLiteral("<html><head><title>INPI - Brevets</title></head><body>\n"
                                          "<table><tr><td>Publication</td><td>%1</td></tr>\n"
                                          "<tr><td><a href=\"/brevet/PDF/%1.pdf\">Document "
                                          "complet (PDF)</a></td></tr></table></body></html>\n")
                               .arg(pn));
              });
    sim.route(QStringLiteral("InpiHost"), "/brevet/PDF/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  QString name = QString::fromStdString(req.path.substr(12));
                  name.chop(4); // ".pdf"
                  const QString doc = publication(name).isEmpty()
                                          ? QString()
                                          : sim::find_document(sim.samples(), kInpi, name);
                  if (doc.isEmpty()) {
                      res.status = 404;
                      return res.set_content("<html><body>Document indisponible</body></html>",
                                             "text/html");
                  }
                  sim::answer_file(res, doc);
              });
}
