// The Chinese full-text site's English pages and the company's proxy script in front of its
// translation server. The site: a search whose result links to a record page, whose form
// leads to the detail page (UTF-8) with the bibliographic table and the links of the
// translated texts. The translation server: a paged form per text, turned by posting its
// view state back, with the text of each page in a frame. The proxy fetches an address for
// the client, by GET or by POST, and answers unchanged.

#include "sample_store.h"
#include "simulator.h"

#include <QCryptographicHash>
#include <QUrl>
#include <QUrlQuery>

#include <httplib.h>

using sim::qparam;

namespace {

const QString kTranslationHost = QStringLiteral("mt.cnpat.invalid");

struct Document {
    const char* number; // the publication, "CN1623014"
    bool granted;       // a granted text exists, and the search by "PN" finds the document
    int claimsPages;    // per text
    int descriptionPages;
};

const Document kDocuments[] = {
    {"CN1623014", false, 2, 3},
    {"CN1318662", true, 3, 2},
};

const Document* find(const QString& number) {
    for (const Document& d : kDocuments)
        if (number == QLatin1String(d.number))
            return &d;
    return nullptr;
}

void answer_utf8(httplib::Response& res, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    res.set_content(bytes.constData(), size_t(bytes.size()), "text/html; charset=utf-8");
}

QString key_of(const QString& number) {
    return QString::fromLatin1(
        QCryptographicHash::hash(number.toLatin1(), QCryptographicHash::Sha1).toHex().left(16));
}

// ---- the search site --------------------------------------------------------------------

// "PN <STARTS> 1318662" finds granted documents, "PUN <STARTS> 1623014" any publication.
void search(const httplib::Request& req, httplib::Response& res) {
    const QStringList wd = qparam(req, "wd").split(QLatin1Char(' '));
    const Document* d = wd.size() == 3 && wd[1] == QLatin1String("<STARTS>")
                            ? find(QStringLiteral("CN") + wd[2])
                            : nullptr;
    if (qparam(req, "jsk") != QLatin1String("search_en") || !d ||
        (wd[0] != QLatin1String("PUN") && !(wd[0] == QLatin1String("PN") && d->granted)))
        return answer_utf8(res, QStringLiteral("<html><body><p>0 records found</p></body></html>"));
    answer_utf8(res, QStringLiteral("<html><body><p>1 record found</p><table><tr><td>"
                                    "<a href=\"EnViewVOL.aspx?id=%1&db=EN\" target=\"_blank\">%1"
                                    "</a></td></tr></table></body></html>")
                         .arg(QLatin1String(d->number)));
}

// The record page: its first form, in a block of its own, leads to the detail page.
void record(const httplib::Request& req, httplib::Response& res) {
    const Document* d = find(qparam(req, "id"));
    if (!d || qparam(req, "db") != QLatin1String("EN"))
        return answer_utf8(res, QStringLiteral("<html><body>No record</body></html>"));
    answer_utf8(res, QStringLiteral("<html><body>\r\n<div name=\"fristdiv\" >\r\n"
                                    "<form name=\"detail\" method=\"post\" "
                                    "action=\"/Search/EnViewDetail.aspx\" target=\"_self\">\r\n"
                                    "<input type=\"hidden\" name=\"id\" value=\"%1\">\r\n"
                                    "<input type=\"hidden\" name=\"db\" value=\"EN\">\r\n"
                                    "<input type=\"hidden\" name=\"key\" value=\"%2\">\r\n"
                                    "</form>\r\n</div>\r\n<div>%1</div></body></html>")
                         .arg(QLatin1String(d->number), key_of(QLatin1String(d->number))));
}

QString text_address(const Document& d, char text) {
    return QStringLiteral("http://%1/Translate/TransMain.aspx?pn=%2&text=%3&part=X")
        .arg(kTranslationHost, QLatin1String(d.number), QChar::fromLatin1(text));
}

// The detail page, UTF-8: the bibliographic table up to the claims row, and the links of
// the translated texts (their last character is a placeholder for the part).
void detail(const httplib::Request& req, httplib::Response& res) {
    const Document* d = find(qparam(req, "id"));
    if (!d || qparam(req, "db") != QLatin1String("EN") ||
        qparam(req, "key") != key_of(QLatin1String(d->number)))
        return answer_utf8(res, QStringLiteral("<html><body>Session expired</body></html>"));
    QString links = QStringLiteral("<a href=\"%1\" target=\"_blank\">Publication Text</a>")
                        .arg(text_address(*d, 'P'));
    if (d->granted)
        links += QStringLiteral(" | <a href=\"%1\" class=\"t\">Granted Text</a>")
                     .arg(text_address(*d, 'G'));
    answer_utf8(
        res,
        QStringLiteral(
            "<html><body><table>\r\n<tr><td width=\"176\" height=\"20\" bgcolor=\"#C8D6EE\">"
            "Application Number:</td><td>%1.X</td></tr>\r\n<tr><td width=\"176\" height=\"20\" "
            "bgcolor=\"#C8D6EE\">Applicant:</td><td>\u5317\u4eac\u5149\u534e\u79d1\u6280 "
            "(Beijing Guanghua Technology)</td></tr>\r\n<tr><td height=\"20\" colspan=\"4\" "
            "bgcolor=\"#C8D6EE\">Claim(s):</td>\r\n<td>%2</td></tr></table>\r\n%3\r\n"
            "</body></html>")
            .arg(QLatin1String(d->number).mid(2), QLatin1String(d->number), links));
}

// ---- the translation server behind the proxy ----------------------------------------------

// Where a reader of one text stands: number, text (P or G), part (C or D), page.
struct Place {
    QString number;
    QString text;
    QString part;
    int page = 0;
    QString state() const {
        return number + QLatin1Char('|') + text + QLatin1Char('|') + part + QLatin1Char('|') +
               QString::number(page);
    }
};

int pages_of(const Document& d, const QString& part) {
    return part == QLatin1String("C") ? d.claimsPages : d.descriptionPages;
}

// The view state carries the place; its base64 holds "+", "/" and "=", which survive only
// when the client encodes them.
QString view_state(const Place& p) {
    return QString::fromLatin1(("\xFB\xFF" + p.state().toUtf8()).toBase64());
}
QString validation(const Place& p) {
    return QString::fromLatin1(
        QCryptographicHash::hash(p.state().toUtf8(), QCryptographicHash::Md5).toBase64());
}

std::optional<Place> from_view_state(const QString& value) {
    const QByteArray raw = QByteArray::fromBase64(value.toLatin1());
    const QStringList f = QString::fromUtf8(raw.mid(2)).split(QLatin1Char('|'));
    if (!raw.startsWith("\xFB\xFF") || f.size() != 4)
        return std::nullopt;
    return Place{f[0], f[1], f[2], f[3].toInt()};
}

QString form_page(const Place& p) {
    return QStringLiteral(
               "<html><body><form name=\"form1\" method=\"post\" action=\"TransMain.aspx\" "
               "id=\"form1\">\n<input type=\"hidden\" name=\"__VIEWSTATE\" id=\"__VIEWSTATE\" "
               "value=\"%1\" />\n<input type=\"hidden\" name=\"__EVENTVALIDATION\" "
               "id=\"__EVENTVALIDATION\" value=\"%2\" />\n<iframe id=\"ifrText\" "
               "src=\"../Text/%3-%4-%5-%6.htm\" width=\"100%\">"
               "</iframe>\n<a id=\"lnkNextPage\" href=\"javascript:__doPostBack('lnkNextPage',"
               "'')\">Next page</a></form></body></html>")
        .arg(view_state(p), validation(p), p.number, p.text, p.part)
        .arg(p.page);
}

// The text of one page, in the part's own element.
QString text_page(const Place& p) {
    const QString who = QStringLiteral("%1 %2 page %3").arg(p.number, p.text).arg(p.page);
    if (p.part == QLatin1String("C"))
        return QStringLiteral("<html><body><claims><claim-text>Claim of %1 at 20\u00b0C."
                              "</claim-text></claims></body></html>")
            .arg(who);
    return QStringLiteral("<html><body><description><p>Description of %1 \u2013 "
                          "\u5149.</p></description></body></html>")
        .arg(who);
}

// What the translation server answers to an address (and a posted body), "" for nothing.
// Pages that the options tell to fail fail here, before the page is shown.
void translation_server(Simulator& sim, const QString& method, const QString& address,
                        const QString& body, httplib::Response& res) {
    const QUrl url(address);
    const QUrlQuery query(url);
    auto item = [&query](const char* key) { return query.queryItemValue(QLatin1String(key)); };
    std::optional<Place> place;
    const QString file = url.path().section(QLatin1Char('/'), -1);
    const QStringList text = file.chopped(qMin<qsizetype>(4, file.size())).split(QLatin1Char('-'));
    if (url.host() != kTranslationHost || !url.path().startsWith(QLatin1String("/Translate/")))
        place = std::nullopt;
    else if (method == QLatin1String("GET") && file == QLatin1String("TransMain.aspx"))
        place = Place{item("pn"), item("text"), item("part"), 1};
    else if (method == QLatin1String("GET") && file.endsWith(QLatin1String(".htm")) &&
             text.size() == 4)
        place = Place{text[0], text[1], text[2], text[3].toInt()};
    else if (file == QLatin1String("TransMain.aspx")) {
        // The body as a form: the client sent its values encoded, and they are decoded here.
        const QUrlQuery form(QString(body).replace(QLatin1Char('+'), QLatin1Char(' ')));
        auto value = [&form](const char* key) {
            return form.queryItemValue(QLatin1String(key), QUrl::FullyDecoded);
        };
        place = from_view_state(value("__VIEWSTATE"));
        if (!place || value("__EVENTTARGET") != QLatin1String("lnkNextPage") ||
            value("__EVENTVALIDATION") != validation(*place))
            place = std::nullopt;
    }
    const Document* d = place ? find(place->number) : nullptr;
    if (!d ||
        (place->text != QLatin1String("P") && !(place->text == QLatin1String("G") && d->granted)) ||
        (place->part != QLatin1String("C") && place->part != QLatin1String("D")))
        return answer_utf8(res, QStringLiteral("<html><body>Server error</body></html>"));
    if (file.endsWith(QLatin1String(".htm"))) {
        if (place->page < 1 || place->page > pages_of(*d, place->part))
            return answer_utf8(res, QStringLiteral("<html><body>No such page</body></html>"));
        return answer_utf8(res, text_page(*place));
    }
    if (file != QLatin1String("TransMain.aspx"))
        return answer_utf8(res, QStringLiteral("<html><body>Not found</body></html>"));
    // Past the last page the form shows the last page again.
    if (method == QLatin1String("POST"))
        place->page = qMin(place->page + 1, pages_of(*d, place->part));
    if (sim::page_fails(sim, res, "mt:" + place->state().toStdString()))
        return;
    answer_utf8(res, form_page(*place));
}

// The proxy: a1 and a2 are the shared access values, m the method it is to use, a the
// address, args the body of a POST. The address is everything behind "a=" up to "&args=":
// the client sends a frame's address as it stands, unencoded.
void proxy(Simulator& sim, const httplib::Request& req, httplib::Response& res) {
    const std::string& target = req.target;
    const size_t at = target.find("&a=");
    if (req.method != "GET" || qparam(req, "a1") != QLatin1String("kqa71xvm") ||
        qparam(req, "a2") != QLatin1String("tmfoRQle84") || at == std::string::npos) {
        res.status = 403;
        return answer_utf8(res, QStringLiteral("<html><body>Access denied</body></html>"));
    }
    const QString method = qparam(req, "m");
    QString rest = QString::fromStdString(target.substr(at + 3));
    QString args;
    if (method == QLatin1String("POST")) {
        args = rest.section(QStringLiteral("&args="), 1);
        rest = rest.section(QStringLiteral("&args="), 0, 0);
    }
    auto decode = [](QString s) {
        return QUrl::fromPercentEncoding(s.replace(QLatin1Char('+'), QLatin1Char(' ')).toLatin1());
    };
    translation_server(sim, method, decode(rest), decode(args), res);
}

} // namespace

void add_cn_translation_roles(Simulator& sim) {
    sim.route(QStringLiteral("CnpatSearchHost"), "/Search/ENCommonSearch", search);
    sim.route(QStringLiteral("CnpatSearchHost"), "/Search/EnViewVOL.aspx", record);
    sim.route(QStringLiteral("CnpatSearchHost"), "/Search/EnViewDetail.aspx", detail);
    sim.route(
        QStringLiteral("CompanyLookupHost"), "/mtcnproxy.asp",
        [&sim](const httplib::Request& req, httplib::Response& res) { proxy(sim, req, res); });
}
