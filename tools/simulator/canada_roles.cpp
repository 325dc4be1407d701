// CIPO's Canadian Patents Database as the retriever meets it: a summary page per patent
// that links the document's section PDFs (cover page, abstract, description, claims,
// drawings, as far as the office has them), and the section files, named after the patent
// number, a token of the office's own and the section.
#include "sample_store.h"
#include "simulator.h"

#include <QFileInfo>

#include <httplib.h>

namespace {

const QString kCipo = QStringLiteral("cipo");

// The sections in the order the summary page lists them, with their pages in the samples.
struct Section {
    const char* name;
    const char* caption;
};
constexpr Section kSections[] = {
    {"coverpage", "Cover page image"}, {"abstract", "Abstract"},
    {"description", "Description"},    {"claims", "Claims"},
    {"drawings", "Drawings"},
};

// What became of the files a summary page links.
enum class Files {
    Held,
    Gone,    // none is there any more
    Damaged, // the abstract comes as an error page, the claims cut short
};

struct Patent {
    const char* number; // as the office writes it: digits only
    const char* token;
    int pages[5]; // per section of kSections; 0: not linked
    Files files;
};
constexpr Patent kPatents[] = {
    {"2172863", "19970918", {1, 1, 3, 2, 2}, Files::Held},
    // No cover page: the office shows the page, but the document is incomplete.
    {"2000001", "20000105", {0, 1, 2, 1, 0}, Files::Held},
    {"2000002", "20010315", {1, 1, 0, 1, 0}, Files::Damaged},
    {"2300000", "20040302", {1, 1, 1, 1, 1}, Files::Gone},
};

const Patent* find_patent(const QString& number) {
    for (const Patent& p : kPatents)
        if (number == QLatin1String(p.number))
            return &p;
    return nullptr;
}

QString section_file(const QString& samples, const Patent& p, const char* section) {
    return samples + QLatin1Char('/') + kCipo + QLatin1Char('/') + QLatin1String(p.number) +
           QLatin1Char('_') + QLatin1String(section) + QStringLiteral(".pdf");
}

void not_found(httplib::Response& res) {
    res.status = 404;
    res.set_content("<html><head><title>Not found</title></head><body>The requested patent "
                    "could not be found in the database.</body></html>",
                    "text/html");
}

// /cipo/cpd/en/patent/<number>/summary.html
void summary(const httplib::Request& req, httplib::Response& res) {
    const QStringList parts = QString::fromStdString(req.path).split(QLatin1Char('/'));
    const Patent* p = parts.size() == 7 && parts[6] == QLatin1String("summary.html")
                          ? find_patent(parts[5])
                          : nullptr;
    if (!p)
        return not_found(res);
    const QString number = QLatin1String(p->number);
    QString page = QStringLiteral("<html><head><title>Canadian Patent %1 - Summary</title></head>"
                                  "<body>\n<h1>(11) CA %1</h1>\n<table>\n")
                       .arg(number);
    for (int s = 0; s < 5; ++s) {
        if (p->pages[s] == 0)
            continue;
        page += QStringLiteral("<tr><td>%1</td><td><a href=\"page/%2_%3_%4.pdf\">%5 pages</a>"
                               "</td></tr>\n")
                    .arg(QLatin1String(kSections[s].caption), number, QLatin1String(p->token),
                         QLatin1String(kSections[s].name))
                    .arg(p->pages[s]);
    }
    page += QStringLiteral("</table></body></html>\n");
    sim::answer_text(res, page);
}

// /opic-cipo/cpd/en/patent/<number>/page/<number>_<token>_<section>.pdf
void section(const Simulator& sim, const httplib::Request& req, httplib::Response& res) {
    const QStringList parts = QString::fromStdString(req.path).split(QLatin1Char('/'));
    const Patent* p =
        parts.size() == 8 && parts[6] == QLatin1String("page") ? find_patent(parts[5]) : nullptr;
    for (int s = 0; p && p->files != Files::Gone && s < 5; ++s) {
        const QString name = QStringLiteral("%1_%2_%3.pdf")
                                 .arg(QLatin1String(p->number), QLatin1String(p->token),
                                      QLatin1String(kSections[s].name));
        if (p->pages[s] == 0 || parts[7] != name)
            continue;
        const QLatin1String section(kSections[s].name);
        if (p->files == Files::Damaged && section == QLatin1String("abstract"))
            return sim::answer_html_error(res);
        sim::answer_file(res, section_file(sim.samples(), *p, kSections[s].name));
        if (p->files == Files::Damaged && section == QLatin1String("claims"))
            res.body.resize(200);
        return;
    }
    not_found(res);
}

} // namespace

void add_canada_roles(Simulator& sim) {
    // Each section a PDF of its own, titled "CA<number> <section>".
    for (const Patent& p : kPatents) {
        for (int s = 0; s < 5 && p.files != Files::Gone; ++s) {
            const QString file = section_file(sim.samples(), p, kSections[s].name);
            if (p.pages[s] > 0 && !QFileInfo::exists(file))
                make_sample_pdf(file,
                                QStringLiteral("CA") + QLatin1String(p.number) + QLatin1Char(' ') +
                                    QLatin1String(kSections[s].name),
                                p.pages[s]);
        }
    }
    sim.route(QStringLiteral("CipoHost"), "/cipo/cpd/en/patent/*",
              [](const httplib::Request& req, httplib::Response& res) { summary(req, res); });
    sim.route(
        QStringLiteral("CipoHost"), "/opic-cipo/cpd/en/patent/*",
        [&sim](const httplib::Request& req, httplib::Response& res) { section(sim, req, res); });
}
