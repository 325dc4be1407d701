// IP Australia as the retriever meets it: the simple search, by application number or by
// publication (serial) number, whose result page links the whole document as "Full
// Document" with its page count in brackets behind the link, and the documents' PDFs.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

namespace {

const QString kIpAu = QStringLiteral("ipau");

struct Record {
    const char* application; // year and running number
    const char* serial;      // the publication number
    int pages;
    bool held; // the office still has the PDF the result page links
};
constexpr Record kRecords[] = {
    {"199662135", "728936", 3, true},
    {"200053481", "765432", 2, true},
    {"199700001", "700001", 1, false},
};

QString document_name(const Record& r) {
    return QStringLiteral("AU") + QLatin1String(r.serial);
}

void result_page(const httplib::Request& req, httplib::Response& res) {
    const QString application = sim::qparam(req, "p_application_no");
    const QString serial = sim::qparam(req, "p_serial_no");
    const Record* hit = nullptr;
    if (sim::qparam(req, "p_procedure") == QLatin1String("paint_simple_search")) {
        for (const Record& r : kRecords)
            if ((!application.isEmpty() && application == QLatin1String(r.application)) ||
                (!serial.isEmpty() && serial == QLatin1String(r.serial)))
                hit = &r;
    }
    QString page =
        QStringLiteral("<HTML><HEAD><TITLE>AusPat Simple Search</TITLE>"
                       "<LINK REL=\"stylesheet\" HREF=\"/aub/css/aub.css\"></HEAD><BODY>\n");
    if (!hit) {
        page += QStringLiteral("<P>No records match your search.</P></BODY></HTML>\n");
        return sim::answer_text(res, page);
    }
    page +=
        QStringLiteral("<TABLE><TR><TD>Application</TD><TD>%1</TD></TR>\n"
                       "<TR><TD>Patent</TD><TD>%2</TD></TR>\n"
                       "<TR><TD>Documents</TD><TD><A TARGET=\"_blank\" "
                       "HREF=\"pdf/AU%1/%3.pdf\">Full Document</A> [%4]</TD></TR>\n"
                       "</TABLE></BODY></HTML>\n")
            .arg(QLatin1String(hit->application), QLatin1String(hit->serial), document_name(*hit))
            .arg(hit->pages);
    sim::answer_text(res, page);
}

} // namespace

void add_australia_roles(Simulator& sim) {
    for (const Record& r : kRecords)
        if (r.held)
            sim::ensure_sample(sim.samples(), kIpAu, document_name(r), r.pages);

    sim.route(QStringLiteral("IpAustraliaHost"), "/aub/aub_pages_1.process_simple_search",
              [](const httplib::Request& req, httplib::Response& res) { result_page(req, res); });
    // pdf/AU<application>/AU<serial>.pdf below /aub/.
    sim.route(QStringLiteral("IpAustraliaHost"), "/aub/pdf/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QStringList parts =
                      QString::fromStdString(req.path).split(QLatin1Char('/'));
                  for (const Record& r : kRecords) {
                      if (r.held && parts.size() == 5 &&
                          parts[3] == QStringLiteral("AU") + QLatin1String(r.application) &&
                          parts[4] == document_name(r) + QStringLiteral(".pdf"))
                          return sim::answer_file(res, sim.samples() + QLatin1Char('/') + kIpAu +
                                                           QLatin1Char('/') + parts[4]);
                  }
                  res.status = 404;
                  res.set_content("<HTML><BODY>File not found</BODY></HTML>", "text/html");
              });
}
