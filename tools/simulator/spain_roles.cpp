// Spain as the retriever meets it: the company's lookup script that tells where at the OEPM
// a document's PDF lies, and the OEPM serving those PDFs.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

namespace {

const QString kOepm = QStringLiteral("oepm");

} // namespace

void add_spain_roles(Simulator& sim) {
    sim::ensure_sample(sim.samples(), kOepm, QStringLiteral("ES2123456T3"), 2);

    // espdf.asp?pn=: a small page whose link names the PDF's path at the office, or a page
    // without one. The number comes with its kind code, or without it.
    sim.route(QStringLiteral("CompanyLookupHost"), "/espdf.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = sim::qparam(req, "pn");
                  const QString doc = sim::find_document(sim.samples(), kOepm, pn);
                  if (doc.isEmpty())
                      return sim::answer_text(
                          res, QStringLiteral("<html><body>Documento no encontrado: ") + pn +
                                   QStringLiteral("</body></html>"));
                  const QString name = sim::document_name(doc);
                  sim::answer_text(res, QStringLiteral("<html><body><a href=\"/pdf/ES/") + name +
                                            QStringLiteral(".pdf\">") + name +
                                            QStringLiteral("</a></body></html>"));
              });
    sim.route(QStringLiteral("OepmHost"), "/pdf/ES/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  QString name = QString::fromStdString(req.path.substr(8));
                  if (!name.endsWith(QLatin1String(".pdf")))
                      return sim::answer_html_error(res);
                  name.chop(4);
                  const QString doc = sim::find_document(sim.samples(), kOepm, name);
                  if (doc.isEmpty() || sim::document_name(doc) != name)
                      return sim::answer_html_error(res);
                  sim::answer_file(res, doc);
              });
}
