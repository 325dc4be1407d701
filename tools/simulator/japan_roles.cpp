// Japan as the company's lookup script knows it: "/jp.asp?pn=" takes a number in Espacenet
// form and answers with a line of text that ends in the secure address of the office's PDF,
// or with a text without any address when it knows none. The PDFs lie on a document host
// that is served over https only.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

namespace {

const QString kJp = QStringLiteral("jp");
const QString kDocuments = QStringLiteral("JpoDocumentHost");
const std::string kStem = "/tokkyo/";

} // namespace

void add_japan_roles(Simulator& sim) {
    sim::ensure_sample(sim.samples(), kJp, QStringLiteral("JP2003123456B2"), 4);
    sim::ensure_sample(sim.samples(), kJp, QStringLiteral("JP2005234567A"), 2);

    sim.route(QStringLiteral("CompanyLookupHost"), "/jp.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = sim::qparam(req, "pn");
                  const QString doc = sim::find_document(sim.samples(), kJp, pn);
                  const QString host = sim.host(kDocuments);
                  if (doc.isEmpty() || host.isEmpty())
                      return sim::answer_text(res, QStringLiteral("No JPO document for ") + pn);
                  sim::answer_text(res, QStringLiteral("JPO document ") + sim::document_name(doc) +
                                            QStringLiteral(": https://") + host +
                                            QString::fromStdString(kStem) +
                                            sim::document_name(doc) + QStringLiteral(".pdf"));
              });
    sim.secure(kDocuments);
    sim.route(kDocuments, kStem + "*", [&sim](const httplib::Request& req, httplib::Response& res) {
        // Only the exact name of a document: the office knows no other spelling.
        const QString path = sim.samples() + QLatin1Char('/') + kJp + QLatin1Char('/') +
                             QString::fromStdString(req.path.substr(kStem.size()));
        if (!path.endsWith(QLatin1String(".pdf")) ||
            sim::find_document(sim.samples(), kJp, sim::document_name(path)) != path)
            return sim::answer_html_error(res);
        sim::answer_file(res, path);
    });
}
