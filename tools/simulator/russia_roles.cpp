// FIPS: every Russian document is one PDF in a folder tree made of its number. An
// application number with its year (more than 8 characters) lies in
// "/rupatimage/NEW<year>/" and three folders of its serial rounded down (100000, 110000,
// 111000 for 2004111793); a patent number in "/rupatimage/0/" and four folders of it
// rounded down (2000000, 2200000, 2250000, 2258000 for 2258034). Any other path, or a
// number it doesn't hold, gets the server's short error page.
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>

#include <QFile>

namespace {

const QString kRu = QStringLiteral("ru");

// Where FIPS keeps the document with that number part.
QString folder_path(const QString& n) {
    QString path = QStringLiteral("/rupatimage/");
    if (n.size() > 8) {
        const QString serial = n.mid(4);
        path += QStringLiteral("NEW") + n.left(4) + QLatin1Char('/');
        for (int digits = 1; digits <= 3; ++digits)
            path += serial.left(digits).leftJustified(6, QLatin1Char('0'), true) + QLatin1Char('/');
    } else {
        path += QStringLiteral("0/");
        for (int digits = 1; digits <= 4; ++digits)
            path += n.left(digits).leftJustified(7, QLatin1Char('0'), true) + QLatin1Char('/');
    }
    return path + n + QStringLiteral(".pdf");
}

} // namespace

void add_russia_roles(Simulator& sim) {
    sim::ensure_sample(sim.samples(), kRu, QStringLiteral("RU2258034"), 3);
    sim::ensure_sample(sim.samples(), kRu, QStringLiteral("RU2004111793"), 2);
    sim::ensure_sample(sim.samples(), kRu, QStringLiteral("RU45678U1"), 2);
    // A document that FIPS holds only as a scrap of a page, below any real document's size.
    sim::ensure_sample(sim.samples(), kRu, QStringLiteral("RU2100001"), 1, QString(), 500);

    sim.route(QStringLiteral("FipsHost"), "/rupatimage/*",
              [&sim](const httplib::Request& req, httplib::Response& res) {
                  const QString path = QString::fromStdString(req.path);
                  QString n = path.section(QLatin1Char('/'), -1);
                  n.chop(4);
                  // Documents go by their exact number: FIPS knows no other spelling.
                  const QString doc = sim.samples() + QLatin1Char('/') + kRu +
                                      QStringLiteral("/RU") + n + QStringLiteral(".pdf");
                  if (n.isEmpty() || path != folder_path(n) || !QFile::exists(doc)) {
                      res.status = 404;
                      return res.set_content("<html><body>404 Not Found</body></html>",
                                             "text/html");
                  }
                  sim::answer_file(res, doc);
              });
}
