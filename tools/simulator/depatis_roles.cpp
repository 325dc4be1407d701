// DEPATISnet as the company's image host hands it out: one script that takes a number in
// the office's writing (country and digits, a WO number with its four-digit year and a
// six-digit serial, no kind code) and answers with the whole PDF, or with an HTML page when
// the collection has no such document.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

#include <QDir>
#include <QRegularExpression>

namespace {

const QString kDepatis = QStringLiteral("depatis");

// How the office writes a document that the samples name with its kind code.
QString office_number(const QString& name) {
    static const QRegularExpression re(QStringLiteral("^([A-Z]{2}\\d+)[A-Z]\\d?$"));
    const QRegularExpressionMatch m = re.match(name);
    return m.hasMatch() ? m.captured(1) : name;
}

// The office's page for a number it doesn't hold; longer than a short error text, so that
// only its "<HTML>" tells it from a document.
QString not_held(const QString& pn) {
    return QStringLiteral("<HTML><HEAD><TITLE>DEPATISnet</TITLE></HEAD><BODY>\n"
                          "<H1>Dokument nicht gefunden / Document not found</H1>\n"
                          "<P>Zu der Nummer \"%1\" liegt kein Dokument vor. Bitte pruefen Sie "
                          "die Schreibweise der Veroeffentlichungsnummer.</P>\n"
                          "<P>No document is available for the number \"%1\". Please check the "
                          "publication number.</P>\n</BODY></HTML>\n")
        .arg(pn.toHtmlEscaped());
}

} // namespace

void add_depatis_roles(Simulator& sim) {
    const QString samples = sim.samples();
    sim::ensure_sample(samples, kDepatis, QStringLiteral("DE4446098C2"), 3);
    sim::ensure_sample(samples, kDepatis, QStringLiteral("DE29919451U"), 1);
    sim::ensure_sample(samples, kDepatis, QStringLiteral("EP1777777B1"), 2);
    sim::ensure_sample(samples, kDepatis, QStringLiteral("JP2005123456A"), 2);
    sim::ensure_sample(samples, kDepatis, QStringLiteral("WO2001087777A1"), 2);

    sim.route(QStringLiteral("CompanyImageHost"), "/getimg/depatispdf.asp",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  // The script knows its one key in its own spelling only.
                  const QString pn = QString::fromStdString(req.get_param_value("pn"));
                  const QDir dir(sim.samples() + QLatin1Char('/') + kDepatis);
                  for (const QString& name :
                       dir.entryList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name)) {
                      if (!pn.isEmpty() && office_number(name.chopped(4)) == pn)
                          return sim::answer_file(res, dir.filePath(name));
                  }
                  sim::answer_text(res, not_held(pn));
              });
}
