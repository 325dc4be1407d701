// The USPTO as the retrievers meet it: PDF image servers for granted patents and published
// applications, the full-text search whose result page links to a page-image viewer, the
// viewers with their TIFF pages, and the two converter programs on the company's web and
// mirror hosts.

#include "sample_store.h"
#include "simulator.h"
#include "uspto_samples.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QUrl>

#include <httplib.h>

#include <map>
#include <memory>

namespace {

struct Document {
    QString number;      // "US5123456"
    QString stem;        // folder + "/" + number
    QString docid;       // the image servers' form of the number
    QString key;         // the viewer's key for it
    QString viewer;      // the viewer role that the full-text page links to
    int pages = 0;       // p<n>.tif files
    int corrections = 0; // cc<n>.tif files
};
using Documents = std::map<QString, Document>; // by docid

// How the image servers name a document: a granted patent by its kind letters and its digits,
// padded with zeros to eight characters in all ("05123456", "D0339456", "PP008901"); a
// published application by its eleven digits ("20010000044"). Takes "US5123456" or the plain
// number of a full-text search ("5123456").
QString office_docid(QString n) {
    if (n.startsWith(QLatin1String("US")))
        n = n.mid(2);
    qsizetype letters = 0;
    while (letters < n.size() && n.at(letters).isLetter())
        ++letters;
    if (letters == 0 && n.size() == 11)
        return n;
    return n.left(letters) + n.mid(letters).rightJustified(8 - letters, QLatin1Char('0'), true);
}

bool is_application(const QString& docid) {
    return docid.size() == 11;
}

// Where the image servers keep a document: "/fdd/" + its last two characters, then three
// folders cut from its name ("05123456" lies in /fdd/56/234/051/, "20010000044" in
// /fdd/44/2001/00/000/).
QString office_path(const QString& docid) {
    if (is_application(docid))
        return QStringLiteral("/fdd/%1/%2/%3/%4/0.pdf")
            .arg(docid.right(2), docid.left(4), docid.mid(7, 2), docid.mid(4, 3));
    return QStringLiteral("/fdd/%1/%2/%3/0.pdf")
        .arg(docid.right(2), docid.mid(3, 3), docid.left(3));
}

int count_files(const QString& stem, const char* kind) {
    int n = 0;
    while (QFile::exists(stem + QStringLiteral(".%1%2.tif").arg(QLatin1String(kind)).arg(n + 1)))
        ++n;
    return n;
}

QByteArray read(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void html(httplib::Response& res, const QString& body) {
    res.set_content(body.toStdString(), "text/html");
}

Documents load_documents(const QString& folder) {
    static const char* const patentViewers[] = {"UsptoPatentViewerHost1", "UsptoPatentViewerHost2",
                                                "UsptoPatentViewerHost3"};
    static const char* const applicationViewers[] = {"UsptoApplicationViewerHost1",
                                                     "UsptoApplicationViewerHost2"};
    Documents docs;
    int patents = 0;
    int applications = 0;
    for (const QString& number : uspto_sample_numbers(folder)) {
        Document d;
        d.number = number;
        d.stem = folder + QLatin1Char('/') + number;
        d.docid = office_docid(number);
        d.key =
            QString::fromLatin1(QCryptographicHash::hash(number.toLatin1(), QCryptographicHash::Md5)
                                    .toHex()
                                    .left(12))
                .toUpper();
        // The documents are spread over the viewer hosts, as the office's were.
        d.viewer = QLatin1String(is_application(d.docid) ? applicationViewers[applications++ % 2]
                                                         : patentViewers[patents++ % 3]);
        d.pages = count_files(d.stem, "p");
        d.corrections = count_files(d.stem, "cc");
        docs.emplace(d.docid, d);
    }
    return docs;
}

// The full-text result page of one search ("s1='5123456'.PN." or "s1='20010000044'.PGNR.").
void full_text(Simulator& sim, const Documents& docs, bool applications,
               const httplib::Request& req, httplib::Response& res) {
    const QString s1 = QString::fromStdString(req.get_param_value("s1"));
    const QString plain = s1.section(QLatin1Char('\''), 1, 1);
    const auto it = docs.find(office_docid(plain));
    if (plain.isEmpty() || it == docs.end() || is_application(it->first) != applications) {
        html(res, QStringLiteral("<html><head><title>Results of Search</title></head><body>"
                                 "<h1>No patents have matched your query</h1></body></html>"));
        return;
    }
    const Document& d = it->second;
    const QString viewer = applications ? QStringLiteral(".aiw") : QStringLiteral(".piw");
    html(
        res,
        QStringLiteral("<html><head><title>%1</title></head><body>\n"
                       "<a href=http://%2/%3?Docid=%4&homeurl=%5&PageNum=&Rtype=&SectionNum=&"
                       "idkey=NONE&Input=View+first+page><img src=\"/netaicon/PTO/image.gif\" "
                       "border=\"0\" alt=\"[Image]\"></a>\n<p>United States Patent %1</p>"
                       "</body></html>\n")
            .arg(d.number, sim.host(d.viewer), viewer, d.docid,
                 QString::fromLatin1(QUrl::toPercentEncoding(QString::fromStdString(req.target)))));
}

// The viewer page: the document id and key the image requests must carry, and the count of
// all page images, the certificates of correction behind the document's own pages.
void viewer_page(const Documents& docs, const httplib::Request& req, httplib::Response& res) {
    const auto it = docs.find(QString::fromStdString(req.get_param_value("Docid")));
    if (it == docs.end()) {
        html(res, QStringLiteral("<html><body>Document not available</body></html>"));
        return;
    }
    const Document& d = it->second;
    html(res, QStringLiteral("<html><head><title>Patent Images</title></head><body>\n"
                             "<form name=pages><input type=hidden name=docid value=\"%1\">\n"
                             "<input type=hidden name=IDKey value=\"%2\">\n"
                             "<embed src=\"/.DImg?Docid=%1&PageNum=1&IDKey=%2&ImgFormat=tif\" "
                             "width=680 height=880 type=image/tiff>\n"
                             "<!-- NumPages=%3 - page images of %4 -->\n</form></body></html>\n")
                  .arg(d.docid, d.key)
                  .arg(d.pages + d.corrections)
                  .arg(d.number));
}

void page_image(Simulator& sim, const Documents& docs, const httplib::Request& req,
                httplib::Response& res) {
    const std::string docid = req.get_param_value("Docid");
    const auto it = docs.find(QString::fromStdString(docid));
    bool ok = false;
    const int n = QString::fromStdString(req.get_param_value("PageNum")).toInt(&ok);
    if (it == docs.end() || !ok || n < 1 || n > it->second.pages + it->second.corrections ||
        req.get_param_value("IDKey") != it->second.key.toStdString() ||
        req.get_param_value("ImgFormat") != "tif") {
        html(res, QStringLiteral("<html><body>Image not available</body></html>"));
        return;
    }
    if (sim::page_fails(sim, res, "uspto:" + docid + ":" + std::to_string(n)))
        return;
    const Document& d = it->second;
    const QString file = n <= d.pages ? d.stem + QStringLiteral(".p%1.tif").arg(n)
                                      : d.stem + QStringLiteral(".cc%1.tif").arg(n - d.pages);
    const QByteArray tif = read(file);
    res.set_content(tif.constData(), size_t(tif.size()), "image/tiff");
}

// Serves a program of this machine under the name the clients ask for.
void program(Simulator& sim, const std::string& path, const QString& name) {
    const QString file = QStandardPaths::findExecutable(name);
    if (file.isEmpty())
        return;
    for (const char* role : {"CompanyWebHost", "CompanyMirrorHost"}) {
        sim.route(QLatin1String(role), path,
                  [file](const httplib::Request&, httplib::Response& res) {
                      const QByteArray bytes = read(file);
                      res.set_content(bytes.constData(), size_t(bytes.size()),
                                      "application/octet-stream");
                  });
    }
}

} // namespace

void add_uspto_roles(Simulator& sim) {
    const QString folder = sim.samples() + QStringLiteral("/uspto");
    uspto_ensure_samples(folder);
    // The company's lookup server holds the patent with certificates too, so that a demo order
    // of it gets the certificate pages appended.
    const QString lookup = sim.samples() + QStringLiteral("/lookup/US5123456.pdf");
    if (!QFile::exists(lookup) && QDir().mkpath(sim.samples() + QStringLiteral("/lookup")))
        QFile::copy(folder + QStringLiteral("/US5123456.pdf"), lookup);
    const auto docs = std::make_shared<const Documents>(load_documents(folder));

    for (const auto& [docid, d] : *docs) {
        const QString pdf = d.stem + QStringLiteral(".pdf");
        sim.route(is_application(docid) ? QStringLiteral("UsptoPdfApplicationHost")
                                        : QStringLiteral("UsptoPdfPatentHost"),
                  office_path(docid).toStdString(),
                  [pdf](const httplib::Request&, httplib::Response& res) {
                      const QByteArray bytes = read(pdf);
                      res.set_content(bytes.constData(), size_t(bytes.size()), "application/pdf");
                  });
    }

    const std::string search = "/netacgi/nph-Parser";
    Simulator* s = &sim;
    sim.route(QStringLiteral("UsptoPatentTextHost"), search,
              [s, docs](const httplib::Request& req, httplib::Response& res) {
                  full_text(*s, *docs, false, req, res);
              });
    sim.route(QStringLiteral("UsptoApplicationTextHost"), search,
              [s, docs](const httplib::Request& req, httplib::Response& res) {
                  full_text(*s, *docs, true, req, res);
              });

    for (const char* role :
         {"UsptoPatentViewerHost1", "UsptoPatentViewerHost2", "UsptoPatentViewerHost3",
          "UsptoApplicationViewerHost1", "UsptoApplicationViewerHost2"}) {
        const bool applications = QLatin1String(role).startsWith(QLatin1String("UsptoApplication"));
        sim.route(QLatin1String(role), applications ? "/.aiw" : "/.piw",
                  [docs](const httplib::Request& req, httplib::Response& res) {
                      viewer_page(*docs, req, res);
                  });
        sim.route(QLatin1String(role), "/.DImg",
                  [s, docs](const httplib::Request& req, httplib::Response& res) {
                      page_image(*s, *docs, req, res);
                  });
    }

    program(sim, "/uspto.lib", QStringLiteral("tiff2pdf"));
    program(sim, "/cnpto.lib", QStringLiteral("tiffcp"));
}
