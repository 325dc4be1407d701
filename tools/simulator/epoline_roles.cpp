// The EPO's online file inspection: the dossier page of a European application, asked for by
// application number ("dosnum") or publication number ("pubnum"), which lists the public
// documents of the file, each with a tick box whose script call carries its page count; and
// the PDF book of the documents ticked, asked for by either number as "dosnum".
#include "sample_store.h"
#include "simulator.h"

#include <httplib.h>
#include <qpdf/qpdf-c.h>

#include <QFile>
#include <QStringList>

#include <memory>
#include <vector>

namespace {

const QString kEpoline = QStringLiteral("epoline");

struct Document {
    const char* title;
    int pages;
};

struct Dossier {
    QString application; // "EP19990402065", "WO1998US04141"
    QString publication; // "EP1000009"
    std::vector<Document> documents;
};
using Dossiers = std::vector<Dossier>;

const Dossier* find_dossier(const Dossiers& dossiers, const std::string& application,
                            const std::string& publication) {
    for (const Dossier& d : dossiers) {
        if ((!application.empty() && d.application.toStdString() == application) ||
            (!publication.empty() && d.publication.toStdString() == publication))
            return &d;
    }
    return nullptr;
}

// The file of one document of a dossier, numbered from 1 in the order of the page.
QString document_file(const QString& samples, const Dossier& d, size_t i) {
    return samples + QLatin1Char('/') + kEpoline + QLatin1Char('/') + d.application +
           QLatin1Char('-') + QString::number(i + 1) + QStringLiteral(".pdf");
}

// The documents' pages joined into one PDF, in their order; empty when it can't be made.
// (qpdf's C interface, as the sample store uses it.)
QByteArray join_documents(const QStringList& files) {
    qpdf_data out = qpdf_init();
    qpdf_silence_errors(out);
    std::vector<qpdf_data> documents;
    bool ok = !(qpdf_empty_pdf(out) & QPDF_ERRORS);
    for (const QString& file : files) {
        qpdf_data in = qpdf_init();
        qpdf_silence_errors(in);
        documents.push_back(in);
        ok = ok && !(qpdf_read(in, QFile::encodeName(file).constData(), nullptr) & QPDF_ERRORS);
        const int pages = ok ? qpdf_get_num_pages(in) : 0;
        for (int i = 0; ok && i < pages; ++i)
            ok =
                !(qpdf_add_page(out, in, qpdf_get_page_n(in, size_t(i)), QPDF_FALSE) & QPDF_ERRORS);
    }
    QByteArray book;
    if (ok && !(qpdf_init_write_memory(out) & QPDF_ERRORS) && !(qpdf_write(out) & QPDF_ERRORS))
        book = QByteArray(reinterpret_cast<const char*>(qpdf_get_buffer(out)),
                          qsizetype(qpdf_get_buffer_length(out)));
    qpdf_cleanup(&out);
    for (qpdf_data& in : documents)
        qpdf_cleanup(&in);
    return book;
}

QString dossier_page(const Dossier& d) {
    QString html =
        QStringLiteral("<html><head><title>European Patent Register - All documents</title>\n"
                       "<script type=\"text/javascript\" src=\"/js/dossier.js\"></script></head>\n"
                       "<body><h2>Application number %1, publication number %2</h2>\n"
                       "<form name=\"documents\" action=\"/download/ShowPdfBook\">\n<table>\n")
            .arg(d.application, d.publication);
    for (size_t i = 0; i < d.documents.size(); ++i) {
        html += QStringLiteral("<tr><td><input type=\"checkbox\" name=\"doc%1\" "
                               "onclick=\"updateTotalDownloadSize(this.checked,%2)\"></td>"
                               "<td>%3</td><td>%2 pages</td></tr>\n")
                    .arg(i + 1)
                    .arg(d.documents[i].pages)
                    .arg(QString::fromLatin1(d.documents[i].title));
    }
    if (d.documents.empty())
        html += QStringLiteral("<tr><td>No documents are open to inspection.</td></tr>\n");
    return html + QStringLiteral("</table></form></body></html>\n");
}

} // namespace

void add_epoline_roles(Simulator& sim) {
    const auto dossiers = std::make_shared<const Dossiers>(Dossiers{
        {QStringLiteral("EP19990402065"),
         QStringLiteral("EP1000009"),
         {{"Request for grant of a European patent", 2}, {"Description", 3}, {"Claims", 1}}},
        {QStringLiteral("WO1998US04141"),
         QStringLiteral("EP1066666"),
         {{"International search report", 2}, {"Decision to grant", 1}}},
        {QStringLiteral("EP20030001234"), QStringLiteral("EP1333333"), {}},
    });
    for (const Dossier& d : *dossiers)
        for (size_t i = 0; i < d.documents.size(); ++i)
            sim::ensure_sample(sim.samples(), kEpoline,
                               d.application + QLatin1Char('-') + QString::number(i + 1),
                               d.documents[i].pages);

    sim.route(QStringLiteral("EpolineHost"), "/view/GetDossier",
              [dossiers](const httplib::Request& req, httplib::Response& res) {
                  const Dossier* d = find_dossier(*dossiers, req.get_param_value("dosnum"),
                                                  req.get_param_value("pubnum"));
                  if (!d)
                      return sim::answer_text(
                          res, QStringLiteral("<html><body><h2>European Patent Register</h2>"
                                              "<p>No file matches the number you entered.</p>"
                                              "</body></html>"));
                  sim::answer_text(res, dossier_page(*d));
              });

    // The book holds the documents whose boxes are ticked: the selection's first place is the
    // page's own box for all documents, the documents follow in the order of the page, and
    // places beyond them are ignored.
    sim.route(QStringLiteral("EpolineHost"), "/download/ShowPdfBook",
              [&sim, dossiers](const httplib::Request& req, httplib::Response& res) {
                  const std::string number = req.get_param_value("dosnum");
                  const Dossier* d = find_dossier(*dossiers, number, number);
                  const std::string sels = req.get_param_value("sels");
                  QStringList ticked;
                  for (size_t i = 0; d && i < d->documents.size(); ++i)
                      if (i + 1 < sels.size() && sels[i + 1] == '1')
                          ticked << document_file(sim.samples(), *d, i);
                  const QByteArray book = ticked.isEmpty() ? QByteArray() : join_documents(ticked);
                  if (book.isEmpty())
                      return sim::answer_text(res, QStringLiteral("No documents selected."));
                  res.set_content(book.constData(), size_t(book.size()), "application/pdf");
              });
}
