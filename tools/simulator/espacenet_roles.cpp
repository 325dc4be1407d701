// The Espacenet hosts: the site, which hands documents out page by page and describes them
// in its text view, and the national server with its viewer pages.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

#include <QRegularExpression>
#include <QStringList>

using sim::qparam;

namespace {

const QString kEspacenet = QStringLiteral("espacenet");

// Country, serial and kind code of a document's name; the kind is "A1" when it has none.
void split_name(const QString& name, QString& country, QString& serial, QString& kind) {
    static const QRegularExpression re(QStringLiteral("^([A-Z]{2})(\\d+)([A-Z]\\d?)?$"));
    const QRegularExpressionMatch m = re.match(name.toUpper());
    country = m.hasMatch() ? m.captured(1) : name.left(2);
    serial = m.hasMatch() ? m.captured(2) : name.mid(2);
    kind = m.hasMatch() && !m.captured(3).isEmpty() ? m.captured(3) : QStringLiteral("A1");
}

void serve_page(Simulator& sim, httplib::Response& res, const QString& number, const QString& page,
                const std::string& keyStem) {
    const QString doc = sim::find_document(sim.samples(), kEspacenet, number);
    const QString file = doc.isEmpty()
                             ? QString()
                             : sim::page_file(sim.samples(), kEspacenet, doc, page.toLongLong());
    if (file.isEmpty())
        return sim::answer_html_error(res);
    if (sim::page_fails(sim, res, keyStem + ":" + number.toStdString() + ":" + page.toStdString()))
        return;
    sim::answer_file(res, file);
}

// The viewer page of a document: links to the viewer for its publications, one button per
// section, and the page total in the navigation.
QString viewer_page(const QString& pn, const QString& doc, int pages) {
    QString country, serial, kind;
    split_name(sim::document_name(doc), country, serial, kind);
    QString html = QStringLiteral("<html><head><title>Espacenet viewer</title></head><body>\n");
    QStringList kinds{QStringLiteral("A1")};
    if (kind != QLatin1String("A1"))
        kinds << kind;
    for (const QString& k : kinds)
        html += QStringLiteral("<a href=\"/espacenet/bnsviewer?CY=ep&LG=en&DB=EPD&PN=") + pn +
                QStringLiteral("&ID=") + country + QStringLiteral("+++") + serial + k +
                QStringLiteral("+I+\">") + country + serial + k + QStringLiteral("</a>\n");
    for (const QString& entry :
         sim::document_bookmarks(doc).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const int colon = int(entry.indexOf(QLatin1Char(':')));
        if (colon <= 0)
            continue;
        html += QStringLiteral("<INPUT TYPE=\"BUTTON\" VALUE=\"") + entry.mid(colon + 1) +
                QStringLiteral(
                    "\" onClick=\"location.href='/espacenet/bnsviewnav?CY=ep&LG=en&DB=EPD&PN=") +
                pn + QStringLiteral("&PG=") + entry.left(colon).trimmed() +
                QStringLiteral("&RETR=OKE'\">\n");
    }
    html += QStringLiteral("<a href=\"/espacenet/bnsviewnav?PN=") + pn + QStringLiteral("&TOTPG=") +
            QString::number(pages) + QStringLiteral("&PG=2\">next</a>\n</body></html>\n");
    return html;
}

} // namespace

void add_espacenet_roles(Simulator& sim) {
    sim::ensure_sample(sim.samples(), kEspacenet, QStringLiteral("EP1000002B1"), 5,
                       QStringLiteral("1:Abstract,2:Description,4:Claims"));

    // The site's pages: simplepdfdoc for the site retriever, pdfdoc for the reserve one.
    sim.route(QStringLiteral("EspacenetSiteHost"), "/simplepdfdoc",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  serve_page(sim, res, qparam(req, "RPN"), qparam(req, "PGN"), "site");
              });
    sim.route(QStringLiteral("EspacenetSiteHost"), "/textdoc",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString rpn = qparam(req, "RPN");
                  const QString doc = sim::find_document(sim.samples(), kEspacenet, rpn);
                  if (doc.isEmpty())
                      return sim::answer_text(
                          res, QStringLiteral("<HTML><BODY>No documents found</BODY></HTML>"));
                  QString country, serial, kind;
                  split_name(sim::document_name(doc), country, serial, kind);
                  sim::answer_text(res,
                                   QStringLiteral("<html><body><a href=\"/pdfdoc?RPN=") + rpn +
                                       QStringLiteral("&DOC=") + sim::document_name(doc).toLower() +
                                       QStringLiteral("\"><nobr>") + rpn + QStringLiteral(" (") +
                                       kind + QStringLiteral(")</nobr></a></body></html>"));
              });
    // Without a page number pdfdoc describes the document: its page tree, kids before count.
    sim.route(QStringLiteral("EspacenetSiteHost"), "/pdfdoc",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString rpn = qparam(req, "RPN");
                  if (!qparam(req, "PGN").isEmpty())
                      return serve_page(sim, res, rpn, qparam(req, "PGN"), "pdfdoc");
                  const QString doc = sim::find_document(sim.samples(), kEspacenet, rpn);
                  if (doc.isEmpty())
                      return sim::answer_html_error(res);
                  const int pages = sim::page_count(sim.samples(), kEspacenet, doc);
                  QString kids;
                  for (int i = 0; i < pages; ++i)
                      kids += QString::number(3 + i) + QStringLiteral(" 0 R ");
                  sim::answer_text(
                      res, QStringLiteral("%PDF-1.3\r\n2 0 obj\r\n<< /Type /Pages /Kids [") + kids +
                               QStringLiteral("] /Count ") + QString::number(pages) +
                               QStringLiteral(" >>\r\nendobj\r\n%%EOF\r\n"));
              });

    // The national server: the abstract page, the viewer navigation and the viewer's pages.
    sim.route(QStringLiteral("EspacenetNationalHost"), "/espacenet/abstract",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = qparam(req, "PN");
                  const QString doc = sim::find_document(sim.samples(), kEspacenet, pn);
                  sim::answer_text(res, doc.isEmpty()
                                            ? QStringLiteral("<html><body>No results</body></html>")
                                            : QStringLiteral("<html><body>Requested Patent: ") +
                                                  sim::document_name(doc) +
                                                  QStringLiteral("</body></html>"));
              });
    sim.route(QStringLiteral("EspacenetNationalHost"), "/espacenet/bnsviewnav",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = qparam(req, "PN");
                  const QString doc = sim::find_document(sim.samples(), kEspacenet, pn);
                  if (doc.isEmpty())
                      return sim::answer_text(res,
                                              QStringLiteral("<html><body>Error Message: no such "
                                                             "document</body></html>"));
                  // No corrected publications are held.
                  if (qparam(req, "ID").contains(QLatin1String("IA")))
                      return sim::answer_text(
                          res, QStringLiteral("<html><body>No corrected version</body></html>"));
                  sim::answer_text(
                      res, viewer_page(pn, doc, sim::page_count(sim.samples(), kEspacenet, doc)));
              });
    sim.route(QStringLiteral("EspacenetNationalHost"), "/espacenet/bns.pdf",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  serve_page(sim, res, qparam(req, "PN"), qparam(req, "PG"), "viewer");
              });
}
