// The company's services behind the side tools: the INPADOC family pages, the equivalents
// list and the version file, all on the services host.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

#include <QFile>

#include <map>
#include <utility>
#include <vector>

namespace {

const QString kServices = QStringLiteral("CompanyServicesHost");

// The family service knows its numbers in Espacenet form, WO numbers in the short form.
const std::map<QString, std::vector<std::pair<QString, QString>>>& families() {
    static const std::map<QString, std::vector<std::pair<QString, QString>>> f{
        {QStringLiteral("EP1000001"),
         {{QStringLiteral("EP1000001 A1"), QStringLiteral("Granted, in force")},
          {QStringLiteral("US5123456 A"), QStringLiteral("Expired")},
          {QStringLiteral("JP2001123456 A"), QStringLiteral("Published")}}},
        {QStringLiteral("US4500000"),
         {{QStringLiteral("US4500000 A"), QStringLiteral("Expired")},
          {QStringLiteral("DE3212345 A1"), QStringLiteral("Lapsed")}}},
        {QStringLiteral("WO0112345"),
         {{QStringLiteral("WO0112345 A1"), QStringLiteral("Published")},
          {QStringLiteral("EP1200000 A1"), QStringLiteral("Withdrawn")}}},
        {QStringLiteral("WO02051231"),
         {{QStringLiteral("WO02051231 A2"), QStringLiteral("Published")}}},
    };
    return f;
}

// The equivalents service: one row per document, "title@@number", each closed by "<br>".
const std::map<QString, QStringList>& equivalents() {
    static const std::map<QString, QStringList> e{
        {QStringLiteral("EP1000001"),
         {QStringLiteral("Sample document of the lookup server@@EP1000001"),
          QStringLiteral("Sample WO publication@@WO2004012345"),
          QStringLiteral("Sample document of the cache@@JP2001123456"),
          QStringLiteral("Sample US patent@@US5123456")}},
        {QStringLiteral("US4500000"), {QStringLiteral("Energy storage cell@@US4500000")}},
    };
    return e;
}

// A query value under exactly this key, as the services compare keys.
bool exact_param(const httplib::Request& req, const char* key, QString& value) {
    const auto it = req.params.find(key);
    if (it == req.params.end())
        return false;
    value = QString::fromStdString(it->second);
    return true;
}

void bad_request(httplib::Response& res, const char* keys) {
    res.status = 400;
    res.set_content(std::string("Bad request: expected the keys ") + keys, "text/plain");
}

} // namespace

void add_tools_roles(Simulator& sim) {
    sim.route(kServices, "/Desktop_BQ/famlegalmulti.asp",
              [](const httplib::Request& req, httplib::Response& res) {
                  QString pn, u, kk;
                  if (!exact_param(req, "PN", pn) || !exact_param(req, "u", u) ||
                      !exact_param(req, "Kk", kk))
                      return bad_request(res, "PN, u and Kk");
                  QString page = QStringLiteral("<HTML><HEAD><TITLE>INPADOC family of ") + pn +
                                 QStringLiteral("</TITLE></HEAD><BODY><h2>INPADOC family of ") +
                                 pn + QStringLiteral("</h2>");
                  const auto family = families().find(pn);
                  if (family == families().end()) {
                      page += QStringLiteral("<p>No family members found.</p>");
                  } else {
                      page += QStringLiteral("<table>");
                      for (const auto& [member, status] : family->second)
                          page += QStringLiteral("<tr><td>") + member +
                                  QStringLiteral("</td><td>") + status +
                                  QStringLiteral("</td></tr>");
                      page += QStringLiteral("</table>");
                  }
                  sim::answer_text(res, page + QStringLiteral("</BODY></HTML>"));
              });

    sim.route(
        kServices, "/desktop_bq/ti.asp", [](const httplib::Request& req, httplib::Response& res) {
            QString pn;
            if (!exact_param(req, "pn", pn))
                return bad_request(res, "pn");
            const auto rows = equivalents().find(pn);
            if (rows == equivalents().end())
                return sim::answer_text(res, QStringLiteral("No equivalents found for ") + pn);
            sim::answer_text(res,
                             rows->second.join(QStringLiteral("<br>")) + QStringLiteral("<br>"));
        });

    // The newest revision: the samples folder's bqdver.txt when there is one, else this one.
    sim.route(kServices, "/bqdver.txt", [&sim](const httplib::Request&, httplib::Response& res) {
        QFile f(sim.samples() + QStringLiteral("/bqdver.txt"));
        const QByteArray version =
            f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("3.0.372");
        res.status = 200;
        res.set_content(version.toStdString(), "text/plain");
    });
}
