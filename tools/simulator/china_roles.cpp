// SIPO as the Chinese retriever meets it: the search, whose page tells a document's image
// directory and page count in script assignments, the page-count request that must echo
// those values, and the company's relay that serves each page of the directory as a
// single-strip Group 4 TIFF in little-endian order.

#include "sample_store.h"
#include "simulator.h"
#include "uspto_samples.h"

#include <QDir>
#include <QFile>

#include <httplib.h>

#include <mutex>

using sim::qparam;

namespace {

struct Document {
    const char* publication; // what the search by publication (key "b") finds
    const char* application; // what the search by application (key "c") finds
    const char* dirno;       // the image directory, as the search page writes it
    const char* libname;     // the database the document lies in
    int pages;               // the page images in the directory
    const char* told;        // the count of the search page
    const char* pagenum;     // the count of the page-count answer; none when null
};

const Document kDocuments[] = {
    {"1145230", "97100001", "20040616 1145230 ", "fmzl_ft", 5, "5", "5"},
    // The search page undercounts; the page-count request tells the truth.
    {"1155001", "1130774", "19960918  1130774", "fmzl_ft", 7, "4", "7"},
    {"1200020", "98100020", "20020710 1200020", "fmzl_ft", 20, "20", "20"},
    // A utility model of one page, whose page-count answer tells nothing.
    {"2000001", "99200001", "20000112 2000001", "syxx_ft", 1, "1", nullptr},
};

QString plain(const char* text) {
    return QString::fromLatin1(text).remove(QLatin1Char(' '));
}

const Document* by_dirno(const QString& dirno) {
    for (const Document& d : kDocuments)
        if (plain(d.dirno) == dirno)
            return &d;
    return nullptr;
}

// The search: flag=1, libname=zhuanli, the keys a to q all present and exactly one of b
// (publication) and c (application) filled in.
void search(const httplib::Request& req, httplib::Response& res) {
    bool wellFormed = qparam(req, "flag") == QLatin1String("1") &&
                      qparam(req, "libname") == QLatin1String("zhuanli");
    for (char key = 'a'; key <= 'q'; ++key)
        wellFormed = wellFormed && req.has_param(std::string(1, key));
    const QString b = qparam(req, "b");
    const QString c = qparam(req, "c");
    const Document* found = nullptr;
    for (const Document& d : kDocuments)
        if (wellFormed && (b.isEmpty() != c.isEmpty()) &&
            (b == QLatin1String(d.publication) || c == QLatin1String(d.application)))
            found = &d;
    if (!found)
        return sim::answer_text(res, QStringLiteral("<html><head><script language=\"javascript\">"
                                                    "var seg1 = new Array(); var seg3 = new "
                                                    "Array();</script></head><body>No record "
                                                    "matches the query</body></html>"));
    sim::answer_text(res,
                     QStringLiteral("<html><head><script language=\"javascript\">\n"
                                    "var seg1 = new Array(); var seg3 = new Array();\n"
                                    "var ccm_fileno = new Array();\n"
                                    "seg1[0]='%1';\nseg3[0]=' %2';\nccm_fileno[0]='CN%3';\n"
                                    "var ccm_express=\"CN%4\";\nvar ccm_libname=\"%5\";\n"
                                    "</script></head><body>CN%4</body></html>\n")
                         .arg(QLatin1String(found->dirno), QLatin1String(found->told),
                              QLatin1String(found->application), QLatin1String(found->publication),
                              QLatin1String(found->libname)));
}

// The page count: only a request that echoes the search page's values, the directory with
// its two trailing blanks, is told the count.
void page_count(const httplib::Request& req, httplib::Response& res) {
    const QString dirno = qparam(req, "dirno");
    const Document* d = dirno.endsWith(QLatin1String("  ")) ? by_dirno(dirno.chopped(2)) : nullptr;
    const bool echoed =
        d && qparam(req, "fileno") == QLatin1String("CN") + QLatin1String(d->application) &&
        qparam(req, "express") == QLatin1String("CN") + QLatin1String(d->publication) &&
        qparam(req, "libname") == QLatin1String(d->libname) &&
        qparam(req, "pagenum") == QLatin1String(d->told);
    if (!echoed || !d->pagenum)
        return sim::answer_text(res, QStringLiteral("<html><body>Full text is not "
                                                    "available</body></html>"));
    sim::answer_text(res, QStringLiteral("<html><head><script>var ccm_pagenum=%1;\n"
                                         "var ccm_pageno=1;</script></head></html>")
                              .arg(QLatin1String(d->pagenum)));
}

// A page image, made once and kept among the samples.
QByteArray page_image(const QString& samples, int page) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    const QString folder = samples + QStringLiteral("/sipo");
    const QString path = folder + QStringLiteral("/page%1.tif").arg(page);
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    const QByteArray tiff = uspto_sample_tiff(page, false);
    QDir().mkpath(folder);
    if (!tiff.isEmpty() && file.open(QIODevice::WriteOnly))
        file.write(tiff);
    return tiff;
}

// The relay: "PN=/" + the first five characters of the directory + "/" + the directory +
// "." + the page, counted from 1.
void relay(Simulator& sim, const httplib::Request& req, httplib::Response& res) {
    const QStringList parts = qparam(req, "PN").split(QLatin1Char('/'));
    const QString file = parts.size() == 3 ? parts[2] : QString();
    const QString dirno = file.section(QLatin1Char('.'), 0, 0);
    bool ok = false;
    const int page = file.section(QLatin1Char('.'), 1).toInt(&ok);
    const Document* d = by_dirno(dirno);
    if (!d || !parts[0].isEmpty() || parts[1] != dirno.left(5) || !ok || page < 1 ||
        page > d->pages)
        return sim::answer_html_error(res);
    if (sim::page_fails(sim, res, "sipo:" + dirno.toStdString() + ":" + std::to_string(page)))
        return;
    const QByteArray tiff = page_image(sim.samples(), page);
    res.set_content(tiff.constData(), size_t(tiff.size()), "image/tiff");
}

} // namespace

void add_china_roles(Simulator& sim) {
    sim.route(QStringLiteral("SipoPatentHost"), "/cgi-bin/forsearch/client/for_search", search);
    sim.route(QStringLiteral("SipoPatentHost"), "/cgi-bin/forsearch/client/gettext", page_count);
    sim.route(
        QStringLiteral("CompanyServicesHost"), "/cn2tif/cnt.asp",
        [&sim](const httplib::Request& req, httplib::Response& res) { relay(sim, req, res); });
}
