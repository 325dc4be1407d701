#include "offices/cn_translation.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "retrieval/kit.h"

#include <QDate>
#include <QFileInfo>
#include <QLocale>
#include <QSaveFile>

namespace {

constexpr int kRequestTimeout = 300;
// A page that fails to arrive is asked again until this many attempts were made.
constexpr int kAttempts = 5;
// No document has this many translation pages: a site that keeps turning pages is cut off.
constexpr int kMaxPages = 2000;

const QString kProxyKeys = QStringLiteral("?a1=kqa71xvm&a2=tmfoRQle84");
const QString kClaimsMarker =
    QStringLiteral("<td height=\"20\" colspan=\"4\" bgcolor=\"#C8D6EE\">Claim(s):</td>");

// The text behind the first marker (skip characters on from the marker's start) up to the
// next end. Nothing when the marker or the end is missing.
std::optional<QString> cut(const QString& text, const QString& marker, qsizetype skip,
                           const QString& end = QStringLiteral("\"")) {
    const qsizetype at = text.indexOf(marker);
    if (at < 0)
        return std::nullopt;
    const qsizetype stop = text.indexOf(end, at + skip);
    if (stop < 0)
        return std::nullopt;
    return text.mid(at + skip, stop - at - skip);
}

// The value of a form field: behind the first marker, the first value="..." that follows.
std::optional<QString> field_value(const QString& page, const QString& marker) {
    const qsizetype at = page.indexOf(marker);
    if (at < 0)
        return std::nullopt;
    return cut(page.mid(at + marker.size()), QStringLiteral("value="), 7);
}

// The link in front of a caption: the first double-quoted value of the last "<a " before
// the caption's first letter, without its last character.
QString link_before(const QString& page, const QString& caption) {
    const qsizetype at = page.indexOf(caption);
    if (at < 0)
        return {};
    const QString piece = page.left(at + 1);
    const qsizetype tag = piece.lastIndexOf(QStringLiteral("<a "));
    if (tag < 0)
        return {};
    const QString link = cut(piece.mid(tag), QStringLiteral("\""), 1).value_or(QString());
    return link.left(link.size() - 1);
}

struct Part {
    QChar letter;       // takes the place of the text link's last character
    const char* status; // plain_number + this + the page number
    const char* open;
    const char* close;
    bool paragraphs;  // claim texts become paragraphs
    bool retryStatus; // every failed page shows the retry counter
    const char* failWord;
};
const Part kClaims{.letter = QLatin1Char('C'),
                   .status = " Claims translating page: ",
                   .open = "<claims>",
                   .close = "</claims>",
                   .paragraphs = true,
                   .retryStatus = false,
                   .failWord = "Translation failed"};
const Part kDescription{.letter = QLatin1Char('D'),
                        .status = " Description translating page: ",
                        .open = "<description>",
                        .close = "</description>",
                        .paragraphs = false,
                        .retryStatus = true,
                        .failWord = "Translation failed."};

// What the pages of one translation hand on to the next: the form values and the frame,
// which survives from the claims into the description.
struct FormState {
    QString viewState;
    QString eventValidation;
    QString frameSource;
};

class Translation {
public:
    Translation(RunContext& ctx, const Preamble& p, QString plain, QString textLink)
        : ctx_(ctx), proxy_(role_url(p.prefix, QStringLiteral("CompanyLookupHost"),
                                     QStringLiteral("/mtcnproxy.asp")) +
                            kProxyKeys),
          plain_(std::move(plain)), textLink_(std::move(textLink)) {
        // The form is posted to the text's page; its frames lie in the page's folder.
        pageAddress_ = textLink_.left(textLink_.indexOf(QLatin1Char('?'))); // all without "?"
        pageFolder_ = pageAddress_.left(pageAddress_.lastIndexOf(QLatin1Char('/')) + 1);
    }

    // One text, page by page, appended to collected. Sets word when a page would not come.
    void run(const Part& part, QString& collected, QString& word) {
        QString last = proxy_ + QStringLiteral("&m=GET&a=") + CN_UrlEncode(textLink_ + part.letter);
        QString page = fetch(last);
        int n = 1;
        int retry = 1;
        for (;;) {
            ctx_.infCN(plain_ + QLatin1String(part.status) + QString::number(n));
            const QString previous = form_.frameSource;
            const CnTranslationPage read = read_cn_translation_page(page);
            if (read.arrived) {
                retry = 1;
                form_.viewState = read.viewState.value_or(form_.viewState);
                form_.eventValidation = read.eventValidation.value_or(form_.eventValidation);
                form_.frameSource = read.frameSource.value_or(form_.frameSource);
                // The last page posted back shows its own frame again.
                if (form_.frameSource == previous)
                    return;
                if (n > kMaxPages || !append_text(part, collected))
                    return fail(part, word);
                last = proxy_ + QStringLiteral("&m=POST&a=") + CN_UrlEncode(pageAddress_) +
                       QStringLiteral("&args=") +
                       CN_UrlEncode(cn_next_page_args(form_.viewState, form_.eventValidation));
                page = fetch(last);
                ++n;
            } else {
                if (part.retryStatus)
                    ctx_.infCN(plain_ + QStringLiteral(" Translation retry: ") +
                               QString::number(retry));
                if (retry >= kAttempts)
                    return fail(part, word);
                page = fetch(last);
                ++retry;
            }
        }
    }

private:
    // The answer as text. A request without answer is a page that did not arrive, like an
    // error page: it is asked again, where keeping the page before would end the text early.
    QString fetch(const QString& url) {
        const std::optional<QByteArray> answer = ctx_.Inet1.OpenURL(url);
        return answer ? CN_ConvertUtf8BytesToString(*answer) : QString();
    }

    // The text of the frame on the current page. False when it never came: a page lost
    // without a word would leave a gap in the translation.
    bool append_text(const Part& part, QString& collected) {
        const QString url = proxy_ + QStringLiteral("&m=GET&a=") + pageFolder_ + form_.frameSource;
        QString text;
        for (int i = 0; i < kAttempts && text.isEmpty(); ++i)
            text = fetch(url);
        if (text.isEmpty())
            return false;
        const QString open = QLatin1String(part.open);
        collected += cut(text, open, open.size(), QLatin1String(part.close)).value_or(QString());
        if (part.paragraphs) {
            collected.replace(QStringLiteral("<claim-text>"), QStringLiteral("<p>"));
            collected.replace(QStringLiteral("</claim-text>"), QStringLiteral("</p>"));
        }
        return true;
    }

    void fail(const Part& part, QString& word) {
        ctx_.infCN(plain_ + QStringLiteral(" Translation failed."));
        word = QLatin1String(part.failWord);
    }

    RunContext& ctx_;
    QString proxy_;
    QString plain_;
    QString textLink_;
    QString pageAddress_;
    QString pageFolder_;
    FormState form_;
};

QString translation_page(const QString& plain, const QString& biblio, const QString& claims,
                         const QString& description) {
    const QString date = QLocale::system().toString(QDate::currentDate(), QLocale::LongFormat);
    return QStringLiteral("<html><head><title>") + plain +
           QStringLiteral("</title></head><body><span style=\"font-family:verdana,arial,"
                          "helvetica;font-size: 11pt\"><br>") +
           plain + QStringLiteral(" Machine translation downloaded using Brightquill (") + date +
           QStringLiteral(")</span><br>&nbsp;<br><table width=\"96%\" style=\"font-family:"
                          "verdana,arial,helvetica;font-size: 9pt\"><tr>") +
           biblio + QStringLiteral("</tr><tr><td height=\"20\" colspan=\"4\" bgcolor=\"FFFFFF\">") +
           claims + QStringLiteral("</td></tr>") +
           QStringLiteral("<tr><td height=\"20\" colspan=\"4\" bgcolor=\"#C8D6EE\">Description:"
                          "</td></tr>") +
           QStringLiteral("<tr><td height=\"20\" colspan=\"4\" bgcolor=\"FFFFFF\">") + description +
           QStringLiteral("</td></tr></table></body></html>");
}

// Writes the page as UTF-8 with a byte-order mark, only where nothing stands yet, and
// under its name only complete.
bool save_page(const QString& path, const QString& page) {
    if (QFileInfo::exists(path))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray bytes = QByteArray("\xEF\xBB\xBF") + page.toUtf8();
    return file.write(bytes) == bytes.size() && file.commit();
}

// Search, record, detail page, both texts and the file. Returns the failure word, "" when
// all went well.
QString translate(RunContext& ctx, const Preamble& p, const CnNumber& n, const QString& file) {
    const QString base =
        role_url(p.prefix, QStringLiteral("CnpatSearchHost"), QStringLiteral("/Search/"));
    ctx.infCN(QStringLiteral("Searching for: ") + n.search);
    const std::optional<QString> link =
        read_cn_record_link(fetch_text(ctx.Inet1, base + cn_search_path(n)));
    if (!link) {
        ctx.infCN(n.plain + QStringLiteral(" Patent Not Found."));
        return QStringLiteral("Patent Not Found");
    }
    ctx.infCN(n.plain + QStringLiteral(" Patent Found."));
    ctx.infCN(n.plain + QStringLiteral(" Getting biblo info..."));
    const QString record = fetch_text(ctx.Inet1, base + *link);
    const QString detail =
        CN_ConvertUtf8BytesToString(fetch_bytes(ctx.Inet1, base + read_cn_detail_address(record)));

    Translation translation(ctx, p, n.plain, cn_text_link(read_cn_text_links(detail), n.kind));
    QString word;
    QString claims;
    QString description;
    ctx.infCN(n.plain + QStringLiteral(" Getting claims..."));
    // A failed claims text does not stop the description; a description failure wins.
    translation.run(kClaims, claims, word);
    ctx.infCN(n.plain + QStringLiteral(" Getting description..."));
    translation.run(kDescription, description, word);

    ctx.infCN(n.plain + QStringLiteral(" Saving file..."));
    // What arrived is kept even when a text failed; the log tells the failure.
    if (!save_page(file, translation_page(n.plain, read_cn_biblio(detail), claims, description))) {
        ctx.infCN(n.plain + QStringLiteral(" Error saving file, check ADODB Stream."));
        return QStringLiteral("Error saving file");
    }
    ctx.infCN(n.plain + QStringLiteral(" Done"));
    return word;
}

} // namespace

QString CN_UrlEncode(const QString& urlText) {
    static const char digits[] = "0123456789ABCDEF";
    QString out;
    for (const char c : urlText.toLatin1()) {
        const auto b = static_cast<unsigned char>(c);
        if ((b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z'))
            out += QLatin1Char(c);
        else if (b == ' ')
            out += QLatin1Char('+');
        else {
            out += QLatin1Char('%');
            out += QLatin1Char(digits[b >> 4]);
            out += QLatin1Char(digits[b & 15]);
        }
    }
    return out;
}

QString CN_ConvertUtf8BytesToString(const QByteArray& data) {
    return QString::fromUtf8(data.startsWith("\xEF\xBB\xBF") ? data.mid(3) : data);
}

CnNumber cn_split_number(const QString& number) {
    CnNumber n;
    n.plain = number;
    n.plain.remove(QStringLiteral("MT"));
    // The pound sign belongs to the set. A character before the start counts as in it.
    const QString set = QChar(0xA3) + QStringLiteral("0123456789");
    auto inSet = [&n, &set](qsizetype fromEnd) {
        const qsizetype i = n.plain.size() - fromEnd;
        return i < 0 || set.contains(n.plain.at(i));
    };
    qsizetype kind = 2;
    if (inSet(1) && inSet(2))
        kind = 0;
    else if (!inSet(1) && inSet(2))
        kind = 1;
    kind = qMin(kind, n.plain.size());
    n.kind = n.plain.right(kind);
    n.search = n.plain.left(n.plain.size() - kind);
    n.search.remove(QStringLiteral("CN"));
    return n;
}

QString cn_search_path(const CnNumber& n) {
    return QStringLiteral("ENCommonSearch?wd=") +
           (n.kind.contains(QLatin1Char('C')) ? QStringLiteral("PN") : QStringLiteral("PUN")) +
           QStringLiteral("+%3CSTARTS%3E+") + n.search + QStringLiteral("&jsk=search_en");
}

std::optional<QString> read_cn_record_link(const QString& answer) {
    const qsizetype at = answer.indexOf(QStringLiteral("EnViewVOL"));
    if (at < 0)
        return std::nullopt;
    const qsizetype end = answer.indexOf(QLatin1Char('"'), at);
    return end < 0 ? QString() : answer.mid(at, end - at);
}

QString read_cn_detail_address(const QString& recordPage) {
    const QString block =
        cut(recordPage, QStringLiteral("<div name=\"fristdiv\" >"), 22, QStringLiteral("</div>"))
            .value_or(QString());
    QString address =
        cut(block, QStringLiteral("action="), 8).value_or(QString()) + QLatin1Char('?');
    for (const QString& line : block.split(QStringLiteral("\r\n"))) {
        if (!line.contains(QStringLiteral("<input")))
            continue;
        address += cut(line, QStringLiteral("name="), 6).value_or(QString()) + QLatin1Char('=') +
                   cut(line, QStringLiteral("value="), 7).value_or(QString()) + QLatin1Char('&');
    }
    return address.remove(QStringLiteral("/Search/"));
}

QString read_cn_biblio(const QString& detail) {
    const qsizetype at = detail.indexOf(QStringLiteral(
        "<td width=\"176\" height=\"20\" bgcolor=\"#C8D6EE\">Application Number:</td>"));
    const qsizetype claims = at < 0 ? -1 : detail.indexOf(kClaimsMarker, at);
    if (claims < 0)
        return {};
    return detail.mid(at, claims + kClaimsMarker.size() + 2 - at);
}

CnTextLinks read_cn_text_links(const QString& detail) {
    return {link_before(detail, QStringLiteral("Publication Text")),
            link_before(detail, QStringLiteral("Granted Text"))};
}

QString cn_text_link(const CnTextLinks& links, const QString& kind) {
    return kind.contains(QLatin1Char('C')) && !links.granted.isEmpty() ? links.granted
                                                                       : links.publication;
}

CnTranslationPage read_cn_translation_page(const QString& page) {
    CnTranslationPage t;
    t.arrived = page.contains(QStringLiteral("__VIEWSTATE"));
    t.viewState = field_value(page, QStringLiteral("__VIEWSTATE"));
    t.eventValidation = field_value(page, QStringLiteral("__EVENTVALIDATION"));
    const qsizetype frame = page.indexOf(QStringLiteral("<iframe"));
    if (frame >= 0) {
        t.frameSource = cut(page.mid(frame), QStringLiteral("src="), 5);
        if (t.frameSource)
            t.frameSource->remove(QStringLiteral("../"));
    }
    return t;
}

QString cn_next_page_args(const QString& viewState, const QString& eventValidation) {
    return QStringLiteral("&__EVENTTARGET=lnkNextPage&__EVENTARGUMENT=&__VIEWSTATE=") +
           CN_UrlEncode(viewState) + QStringLiteral("&__EVENTVALIDATION=") +
           CN_UrlEncode(eventValidation);
}

void cn_translation_download(RunContext& ctx, QString& number, const QString& reference) {
    const Preamble p = fetch_preamble(ctx, number, reference, kRequestTimeout,
                                      QStringLiteral(" (CN Translation)"));
    ctx.doEvents(4);
    ctx.host.setStatus(number + QStringLiteral(" Checking if patent exists"));
    ctx.doEvents(4);

    const CnNumber n = cn_split_number(number);
    const QString file = p.pdf_folder + number + QStringLiteral(".htm");
    QString word;
    if (file_exists(file)) {
        ctx.host.setStatus(number + QStringLiteral(" Retrieved from cache"));
        word = QStringLiteral("Translated (") + n.plain + QStringLiteral(" cached)");
    } else {
        word = translate(ctx, p, n, file);
        ctx.host.setStatus(kDesktopTitle);
        ctx.doEvents(3);
        ctx.host.setStatus(QStringLiteral(" Brightquill Desktop"));
    }
    if (word.isEmpty())
        word = QStringLiteral("Translated (") + n.plain + QStringLiteral(" )");
    // A cancel does not stop a translation; it only keeps it out of the log.
    close_retriever(ctx, number, reference, word);
}
