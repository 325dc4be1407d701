// Korea. The company's record service, "/getimg/getapkr.asp?PN=" on the image host, turns a
// publication number into an XML record: B211EP holds the application number (written
// with or without KIPRIS's two-digit code in front, as the source had it) and B131EP the
// kind, "Y" or "U" for a utility model. KIPRIS works by its own 13-digit application number
// (code "10" for patents, "20" for utility models): its biblio page links to the full text
// when it has one, and the PDF is served behind "/engpat/<number>.pdf". The old KIPRIS host
// is retired and answers every request with a notice.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

namespace {

const QString kKr = QStringLiteral("kr");

struct Record {
    const char* publication;
    const char* application; // as the record writes it
    const char* kind;        // B131EP
    const char* kipris;      // KIPRIS's number
    int pages;               // 0: KIPRIS has no full text
    int imageBytes;
};

const Record kRecords[] = {
    {"KR100703201B1", "20050012345", "B", "1020050012345", 3, 6000},
    {"KR100812345B1", "1020070057977", "B", "1020070057977", 2, 6000},
    {"KR200412345Y1", "2020060001234", "Y", "2020060001234", 2, 6000},
    {"KR100555555B1", "20040099999", "B", "1020040099999", 0, 0},
    // KIPRIS's full text of this one is a scrap below any real document's size.
    {"KR100666666B1", "20040066666", "B", "1020040066666", 1, 500},
};

const Record* by_publication(const QString& pn) {
    for (const Record& r : kRecords)
        if (sim::match_key(QLatin1String(r.publication)) == sim::match_key(pn))
            return &r;
    return nullptr;
}

const Record* by_application(const QString& applno) {
    for (const Record& r : kRecords)
        if (applno == QLatin1String(r.kipris))
            return &r;
    return nullptr;
}

void html(httplib::Response& res, const QString& body) {
    res.status = 200;
    res.set_content(body.toStdString(), "text/html");
}

} // namespace

void add_korea_roles(Simulator& sim) {
    for (const Record& r : kRecords)
        if (r.pages > 0)
            sim::ensure_sample(sim.samples(), kKr, QLatin1String(r.publication), r.pages, QString(),
                               r.imageBytes);

    sim.route(QStringLiteral("CompanyImageHost"), "/getimg/getapkr.asp",
              [](const httplib::Request& req, httplib::Response& res) {
                  const QString pn = sim::qparam(req, "PN");
                  const Record* r = by_publication(pn);
                  if (!r)
                      return html(res, QStringLiteral("<?xml version=\"1.0\"?>\r\n<KR-DOCUMENT>"
                                                      "<RESULT>NO DATA</RESULT></KR-DOCUMENT>"));
                  html(res, QStringLiteral("<?xml version=\"1.0\"?>\r\n<KR-DOCUMENT>\r\n"
                                           "<B110EP>%1</B110EP>\r\n<B131EP>%2</B131EP>\r\n"
                                           "<B211EP TYPE=\"original\">\r\n  %3\r\n</B211EP>\r\n"
                                           "<B211EP TYPE=\"docdb\">KR%3</B211EP>\r\n"
                                           "</KR-DOCUMENT>\r\n")
                                .arg(QLatin1String(r->publication).mid(2), QLatin1String(r->kind),
                                     QLatin1String(r->application)));
              });

    sim.route(QStringLiteral("KiprisHost"), "/engpat/biblio/biblioMain_pdfAcrobat.jsp",
              [](const httplib::Request& req, httplib::Response& res) {
                  const QString applno = sim::qparam(req, "applno");
                  const Record* r = by_application(applno);
                  if (!r || !req.has_param("pub_reg"))
                      return html(res, QStringLiteral("<html><body>No such application</body>"
                                                      "</html>"));
                  QString page = QStringLiteral("<html><body><h2>%1</h2>\r\n").arg(applno);
                  if (r->pages > 0)
                      page += QStringLiteral("<a href=\"/engpat/%1.pdf?method=fullText&applno=%1"
                                             "&pub_reg=\">Full text</a>\r\n")
                                  .arg(applno);
                  html(res, page + QStringLiteral("</body></html>"));
              });
    sim.route(QStringLiteral("KiprisHost"), "/engpat/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString applno = sim::qparam(req, "applno");
                  const Record* r = by_application(applno);
                  if (!r || r->pages == 0 || sim::param(req, "method") != "fullText" ||
                      req.path != "/engpat/" + applno.toStdString() + ".pdf")
                      return sim::answer_html_error(res);
                  sim::answer_file(
                      res, sim::find_document(sim.samples(), kKr, QLatin1String(r->publication)));
              });

    sim.route(QStringLiteral("KiprisOldHost"), "/*",
              [](const httplib::Request&, httplib::Response& res) {
                  html(res, QStringLiteral("<html><body>This service has moved.</body></html>"));
              });
}
