#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

struct RunContext;

// An English machine translation of a Chinese document ("MTCN1318662C") as one UTF-8 HTML
// file named after the number in the PDF folder: the bibliographic rows of the search
// site's record, then the translated claims and description, page by page through the
// company's proxy script. Ready to be called like every retriever; no route leads to it.
void cn_translation_download(RunContext& ctx, QString& number, const QString& reference);

// A text for a query string: its characters as bytes of the system's code page (Latin-1;
// a character beyond it becomes "?"), letters and digits kept, a blank "+", every other
// byte "%" and two upper-case hexadecimal digits; "-", "_", "." and "~" too.
QString CN_UrlEncode(const QString& urlText);
// UTF-8 bytes as text. A byte-order mark at the start is dropped; a broken sequence
// becomes U+FFFD and the rest is still read.
QString CN_ConvertUtf8BytesToString(const QByteArray& data);

// The readers of the translation pages and the addresses asked, apart from the fetching.

// The parts of a number: plain without every "MT", the kind part (empty or the last one or
// two characters, by which of the last two are digits) and the search number, plain
// without its kind and without every "CN".
struct CnNumber {
    QString plain;
    QString search;
    QString kind;
};
CnNumber cn_split_number(const QString& number);

// The search address behind "/Search/": by "PN" when the kind holds a "C", else by "PUN".
QString cn_search_path(const CnNumber& n);
// The record link of a search answer: from the first "EnViewVOL" up to the next double
// quote. Nothing when the answer has none.
std::optional<QString> read_cn_record_link(const QString& answer);
// The detail page's address behind "/Search/", rebuilt from the record page's first form:
// its action, "?", and "name=value&" for each of its input lines.
QString read_cn_detail_address(const QString& recordPage);
// The bibliographic rows of the detail page, from "Application Number:" up to two
// characters beyond the "Claim(s):" cell. Empty when either is missing.
QString read_cn_biblio(const QString& detail);

// The links of the translated texts on the detail page, each without its last character
// (a "C" or a "D" takes its place). The granted text's link is used for a kind with "C".
struct CnTextLinks {
    QString publication;
    QString granted;
};
CnTextLinks read_cn_text_links(const QString& detail);
QString cn_text_link(const CnTextLinks& links, const QString& kind);

// The values of a translation page that the next-page post needs. A value whose marker is
// missing is not there: the caller keeps the one it had.
struct CnTranslationPage {
    bool arrived = false; // the page holds "__VIEWSTATE"
    std::optional<QString> viewState;
    std::optional<QString> eventValidation;
    std::optional<QString> frameSource; // with every "../" removed
};
CnTranslationPage read_cn_translation_page(const QString& page);
// The form fields of the next-page post, each value encoded.
QString cn_next_page_args(const QString& viewState, const QString& eventValidation);
