#include "retrieval/get_patent.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "order/report_log.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "retrieval/espace.h"
#include "retrieval/pages.h"
#include "retrieval/retrieval_util.h"

#include <QFile>
#include <QStringList>

bool& availability_check_enabled() {
    static bool enabled = false;
    return enabled;
}

namespace {

const QString kDesktopTitle = QStringLiteral("Bright Quill - Desktop edition");
const QString kButtonMarker = QStringLiteral("<INPUT TYPE=\"BUTTON\" VALUE=\"");
// A page count not known yet.
constexpr int kUnknownCount = 77800;

bool succeeded(const QString& espacenetResult) {
    return espacenetResult.size() > 3;
}

// One run of the chain for one number.
class Chain {
public:
    Chain(RunContext& ctx, QString& number, const QString& reference)
        : ctx_(ctx), number_(number), reference_(reference) {}

    void run();

private:
    enum class Outcome { Leave, Close, NotFound };

    QString file_of(const QString& number) const {
        return p_.pdf_folder + number + QStringLiteral(".pdf");
    }
    bool has_file(const QString& number) const { return file_exists(file_of(number)); }
    bool fp() const { return ctx_.host.frontPageOnly(); }
    QString with_kind_codes(const QString& number) const;
    void company_cache(const QString& lookup, const QString& key);
    void closing();
    // Step 16 from where the page-wise branch joins it, with the result word as it stands.
    void not_found_tail();
    Outcome page_wise(const QString& page);
    void set_status(const QString& text) { ctx_.host.setStatus(text); }

    RunContext& ctx_;
    QString& number_;
    const QString& reference_;
    Preamble p_;
    QString server_;
    QString result_;
    bool isB1_ = false, isB2_ = false, isA3_ = false, isA4_ = false, isA9_ = false;
};

QString Chain::with_kind_codes(const QString& number) const {
    QString n = number;
    if (isB1_)
        n += QStringLiteral("B1");
    if (isB2_)
        n += QStringLiteral("B2");
    if (isA3_)
        n += QStringLiteral("A3");
    if (isA4_)
        n += QStringLiteral("A4");
    if (isA9_)
        n += QStringLiteral("A9");
    return n;
}

// The company's ready-made cache. Its address takes no proxy prefix. The answer is the
// address of a PDF; an answer of 3001 bytes or less is an error page and is dropped.
void Chain::company_cache(const QString& lookup, const QString& key) {
    const QString answer =
        fetch_text(ctx_.Inet1, QStringLiteral("http://") +
                                   host_role(QStringLiteral("CompanyWebHost")) +
                                   QStringLiteral("/lookup/cache.asp?PN=") + lookup)
            .toLower();
    if (!answer.contains(QLatin1String("ttp://")) || !answer.contains(key + QStringLiteral(".pdf")))
        return;
    set_status(number_ + QStringLiteral(" Downloading from Tarnwell"));
    const QByteArray bytes = fetch_bytes(ctx_.Inet1, answer.trimmed());
    if (bytes.size() - 1 > 3000)
        save_bytes(file_of(number_), bytes);
}

void Chain::closing() {
    if (fp()) {
        if (result_.isEmpty())
            result_ = QStringLiteral("Downloaded (Front page)");
    } else if (result_.isEmpty()) {
        result_ =
            QStringLiteral("Downloaded (") + pdfnumpages(file_of(number_)) + QStringLiteral(" )");
    }
    if (ctx_.state.order_cancelled)
        set_status(QStringLiteral("Job cancelled"));
    else
        writelog_copy(ctx_, fp() ? QStringLiteral("FP_") + number_ : number_, reference_, result_);
    ctx_.host.setTitle(kDesktopTitle);
}

void Chain::not_found_tail() {
    set_status(result_);
    number_ = with_kind_codes(number_);
    if (has_file(number_))
        return;
    ctx_.retrievers.depatis_download(ctx_, number_, reference_, false);
    if (has_file(number_))
        return;
    set_status(number_ + QStringLiteral(" - ") + result_);
    closing();
}

void Chain::run() {
    ctx_.state.bookmark_info.clear();
    p_ = fetch_preamble(ctx_, number_, reference_, 300, QString(), false);
    server_ = p_.prefix.isEmpty() ? p_.server : p_.prefix + p_.server;
    result_.clear();

    // The company cache, and long US numbers (published applications) a second time in
    // their short form: the first six and the last six characters, without the zero that
    // follows the year. Either way the file takes the long number's name.
    if (!has_file(number_))
        company_cache(number_, Right(vb_trim(number_).toLower(), 6));
    if (number_.startsWith(QLatin1String("US")) && number_.size() > 12 && !has_file(number_)) {
        const QString shortForm = Left(number_, 6) + Right(number_, 6);
        company_cache(shortForm, vb_trim(shortForm).toLower());
    }

    if (has_file(number_)) {
        set_status(number_ + QStringLiteral(" Retrieved from cache"));
        ctx_.host.setTitle(QStringLiteral("Brightquill"));
        writelog_copy(ctx_, number_, reference_,
                      QStringLiteral("Retrieved from cache (") + pdfnumpages(file_of(number_)) +
                          QStringLiteral(" )"));
        ctx_.doEvents(3);
        return;
    }

    if (number_.startsWith(QLatin1String("WO"))) {
        ctx_.retrievers.wipo_download(ctx_, number_, reference_);
        if (has_file(number_))
            return closing();
    }

    ctx_.state.bookmark_info.clear();
    if (number_.startsWith(QLatin1String("FR")) && number_.contains(QLatin1Char('B')) &&
        succeeded(fr_espace_download(ctx_, number_, file_of(number_), p_.temp_prefix)))
        return closing();

    // The front page alone goes under the number's own name here; the end of the order
    // makes the "FP_" file from it.
    if (fp() && number_.startsWith(QLatin1String("EP")) &&
        succeeded(espace_frontpage_download(ctx_, number_, file_of(number_), p_.temp_prefix)))
        return closing();

    ctx_.state.bookmark_info.clear();
    const QString target =
        fp() ? p_.pdf_folder + QStringLiteral("FP_") + number_ + QStringLiteral(".pdf")
             : file_of(number_);
    if (succeeded(espace_bns_download(ctx_, number_, target, p_.temp_prefix)))
        return closing();

    // The kind code that was asked for comes off the number; each test sees the result of
    // the one before. A lone "B" stays on numbers other than EP and WO.
    if (number_.endsWith(QLatin1Char('B')) &&
        (number_.startsWith(QLatin1String("EP")) || number_.startsWith(QLatin1String("WO")))) {
        number_.chop(1);
        isB1_ = true;
    }
    struct Code {
        const char* code;
        bool* flag;
    };
    for (const Code& c : {Code{"B1", &isB1_}, Code{"B2", &isB2_}, Code{"A3", &isA3_},
                          Code{"A4", &isA4_}, Code{"A9", &isA9_}}) {
        if (number_.endsWith(QLatin1String(c.code))) {
            number_.chop(2);
            *c.flag = true;
        }
    }

    set_status(number_ + QStringLiteral(" Checking if patent exists"));

    if (ctx_.host.useNewEspacenet()) {
        if (!isB1_ && !isB2_ && !isA3_ && !isA4_ && !isA9_ && !fp()) {
            ctx_.state.bookmark_info.clear();
            if (succeeded(espace_site_download(ctx_, number_, file_of(number_), p_.temp_prefix)))
                return closing();
        }
        WriteRegistry(settings_key, QStringLiteral("NEWESPACE"), QStringLiteral("1"));
    } else {
        WriteRegistry(settings_key, QStringLiteral("NEWESPACE"), QStringLiteral("0"));
    }
    ctx_.doEvents(4);

    // The availability check on the national server.
    {
        const bool on = availability_check_enabled();
        const int keep = ctx_.Inet1.RequestTimeout;
        ctx_.Inet1.RequestTimeout = 30;
        QString copy = wo_years(number_, 9);
        if (copy.startsWith(QLatin1String("EP")))
            copy = QStringLiteral("EP") + Right(QStringLiteral("0000000") + copy.mid(2), 7);
        ctx_.Inet1.URL = QStringLiteral("http://") + server_ +
                         QStringLiteral("/espacenet/abstract?CY=ep&LG=en&DB=EPD&PN=") + copy +
                         QStringLiteral("&PNP=") + copy + time_stamp();
        const QString abstract = on ? fetch_text(ctx_.Inet1, ctx_.Inet1.URL) : QString();
        ctx_.Inet1.RequestTimeout = keep;
        if (abstract.isEmpty())
            result_ = QStringLiteral("Timeout @ the EPO server");
        if (!abstract.contains(QLatin1String("Requested Patent:")))
            result_ = QStringLiteral("Not found");

        set_status(number_ + QStringLiteral(" Checking if patent exists (Espacenet retry)"));
        ctx_.doEvents(4);

        QString id;
        if (number_.startsWith(QLatin1String("JP")) && !number_.contains(QLatin1Char('A')))
            id = number_ + QStringLiteral("A++I+");
        else
            id = Left(number_, 2) + QStringLiteral("+++") + number_.mid(2) + QStringLiteral("++I+");
        ctx_.Inet1.URL = QStringLiteral("http://") + server_ +
                         QStringLiteral("/espacenet/bnsviewnav?CY=ep&LG=en&DB=EPD&PN=") + number_ +
                         QStringLiteral("&ID=") + id + QStringLiteral("&RETR=OKE&PG=1");
        // Switched off, the navigation page is a fixed error text.
        const QString navigation = on ? fetch_text(ctx_.Inet1, ctx_.Inet1.URL)
                                      : QStringLiteral("Error Message' Inet1.OpenURL(Inet1.URL)");
        if (!navigation.contains(QLatin1String("Error Message")) &&
            navigation.contains(QLatin1String("/espacenet/bnsviewer"))) {
            // Viewer links show that the document is there, whatever the abstract said.
            result_.clear();
            switch (page_wise(navigation)) {
            case Outcome::Leave:
                return;
            case Outcome::Close:
                return closing();
            case Outcome::NotFound:
                return not_found_tail();
            }
        }
    }

    // WO again, with an A3 that was asked for put back. A document found here leaves no
    // log line; that has always been so.
    if (number_.startsWith(QLatin1String("WO"))) {
        if (isA3_ && !number_.contains(QLatin1String("A3")))
            number_ += QStringLiteral("A3");
        ctx_.retrievers.wipo_download(ctx_, number_, reference_);
        if (has_file(number_))
            return;
    }

    if (!number_.startsWith(QLatin1String("US"))) {
        if (number_.startsWith(QLatin1String("WO"))) {
            ctx_.retrievers.wipo_download(ctx_, number_, reference_);
            if (has_file(number_))
                return;
        }
        if (number_.startsWith(QLatin1String("JP"))) {
            QString copy = with_kind_codes(number_);
            ctx_.retrievers.jpo_download(ctx_, copy, reference_);
            if (has_file(copy))
                return;
        }
        QString copy = with_kind_codes(number_);
        if (has_file(copy))
            return;
        ctx_.retrievers.depatis_download(ctx_, copy, reference_, false);
        if (has_file(copy))
            return;
    }

    // The national offices end the chain, with or without a document; they log.
    const Retrievers& r = ctx_.retrievers;
    const std::pair<const char*, const Retriever*> offices[] = {
        {"CA", &r.canada_download}, {"US", &r.uspto_download}, {"AU", &r.australia_download},
        {"KR", &r.kipris_download}, {"RU", &r.rupto_download}, {"ES", &r.spain_download}};
    for (const auto& [country, retriever] : offices) {
        if (number_.startsWith(QLatin1String(country))) {
            (*retriever)(ctx_, number_, reference_);
            return;
        }
    }

    result_ += QStringLiteral(" (Patent not found)");
    not_found_tail();
}

Chain::Outcome Chain::page_wise(const QString& page) {
    // The viewer links, up to the next double quote each; the list holds 20.
    QStringList links;
    const QString viewer = QStringLiteral("/espacenet/bnsviewer");
    for (qsizetype at = page.indexOf(viewer); at >= 0;) {
        const qsizetype quote = page.indexOf(QLatin1Char('"'), at);
        const QString link = quote >= 0 ? page.mid(at, quote - at) : page.mid(at);
        if (links.size() < 20)
            links << link;
        at = page.indexOf(viewer, at + link.size());
    }

    // The first link by default; a link of the kind that was asked for takes its place,
    // and of several the last one wins.
    QString link = links.first();
    for (const QString& l : links) {
        if (l.contains(QLatin1String("B2+I+")) && isB2_)
            link = l;
        if (l.contains(QLatin1String("B1+I+")) && isB1_)
            link = l;
        if (l.contains(QLatin1String("A3+I+")) && isA3_)
            link = l;
        if (l.contains(QLatin1String("A4+I+")) && isA4_)
            link = l;
        if (l.contains(QLatin1String("A9+I+")) && isA9_)
            link = l;
    }
    auto toA3 = [](QString s) {
        s.replace(QStringLiteral("A0+I+"), QStringLiteral("A3+I+"));
        s.replace(QStringLiteral("A1+I+"), QStringLiteral("A3+I+"));
        s.replace(QStringLiteral("A2+I+"), QStringLiteral("A3+I+"));
        return s;
    };
    if (link == links.first() && !link.contains(QLatin1String("B++I"))) {
        if (isB1_)
            result_ += QStringLiteral(" (B1 not found)");
        if (isB2_)
            result_ += QStringLiteral(" (B2 not found)");
        if (isA3_) {
            QString copy = toA3(link);
            copy.replace(viewer, QStringLiteral("http://") + server_ +
                                     QStringLiteral("/espacenet/bnsviewnav"));
            copy += QStringLiteral("&PG=1") + time_stamp();
            set_status(number_ + QStringLiteral(" Checking if patent exists (A3 Searching again)"));
            ctx_.doEvents(4);
            if (fetch_text(ctx_.Inet1, copy).contains(QLatin1String("A3+I+"))) {
                link = toA3(link);
            } else {
                if (number_.startsWith(QLatin1String("WO"))) {
                    number_ += QStringLiteral("A3");
                    ctx_.retrievers.wipo_download(ctx_, number_, reference_);
                    if (has_file(number_))
                        return Outcome::Leave;
                }
                result_ += QStringLiteral(" (A3 not found)");
            }
        }
        if (isA4_)
            result_ += QStringLiteral(" (A4 not found)");
        if (isA9_)
            result_ += QStringLiteral(" (A9 not found)");
    }
    link.replace(viewer,
                 QStringLiteral("http://") + server_ + QStringLiteral("/espacenet/bns.pdf"));

    if (!result_.isEmpty())
        return Outcome::NotFound;
    number_ = with_kind_codes(number_);
    // The front page goes under an "FP_" name of its own; the log line then carries the
    // prefix twice, as it always has in this branch.
    if (fp())
        number_ = QStringLiteral("FP_") + number_;

    const QString file = file_of(number_);
    auto closingStatus = [this] {
        if (!result_.isEmpty())
            set_status(number_ + QStringLiteral(" - ") + result_);
        return Outcome::Close;
    };
    if (file_exists(file)) {
        set_status(number_ + QStringLiteral(" Retrieved from cache"));
        result_ = QStringLiteral("Retrieved from cache");
        return closingStatus();
    }

    // Page one of the viewer: its section buttons give the bookmarks, TOTPG= the count.
    int count = kUnknownCount;
    QString pageOne = link;
    pageOne.replace(QStringLiteral("/espacenet/bns.pdf"), QStringLiteral("/espacenet/bnsviewnav"));
    pageOne += QStringLiteral("&PG=1") + time_stamp();
    QString navigation;
    if (!ctx_.state.order_cancelled)
        navigation = fetch_text(ctx_.Inet1, pageOne);

    auto totalPages = [](const QString& text, int& into) {
        const qsizetype at = text.indexOf(QLatin1String("TOTPG="));
        if (text.isEmpty() || at < 0)
            return;
        QString n = text.mid(at + 6, 20);
        const qsizetype amp = n.indexOf(QLatin1Char('&'));
        if (amp >= 0)
            n = n.left(amp);
        into = vb_val(vb_trim(n));
    };

    QString bookmarks;
    for (qsizetype at = navigation.indexOf(kButtonMarker); at >= 0;
         at = navigation.indexOf(kButtonMarker, at + kButtonMarker.size())) {
        QString entry = navigation.mid(at + kButtonMarker.size());
        const qsizetype retr = entry.indexOf(QLatin1String("&RETR="));
        if (retr >= 0)
            entry = entry.left(retr);
        const qsizetype pg = entry.indexOf(QLatin1String("&PG="));
        const int pageNumber = pg >= 0 ? vb_val(entry.mid(pg + 4)) : 0;
        QString title = entry;
        const qsizetype quote = title.indexOf(QLatin1Char('"'));
        if (quote >= 0)
            title = title.left(quote);
        title.replace(QLatin1Char(','), QLatin1Char(' '));
        title.replace(QStringLiteral(":"), QStringLiteral(" - "));
        title.replace(QLatin1Char(')'), QLatin1Char(' '));
        title.replace(QLatin1Char('('), QLatin1Char(' '));
        if (pageNumber > 0)
            bookmarks +=
                QString::number(pageNumber) + QStringLiteral(":") + title + QStringLiteral(",");
    }
    if (bookmarks.endsWith(QLatin1Char(',')))
        bookmarks.chop(1);
    totalPages(navigation, count);

    if (fp()) {
        count = 1;
        bookmarks.clear();
    }
    set_status(number_ + QStringLiteral(" Starting download"));
    ctx_.doEvents(2);

    // With no count known, DEPATISnet gets a try; the page loop below still settles it.
    if (count == 0)
        count = kUnknownCount;
    if (count == kUnknownCount)
        ctx_.retrievers.depatis_download(ctx_, number_, reference_, false);
    pages_download(ctx_, count, link + QStringLiteral("&PG="), p_.temp_prefix, file, number_);

    if (!file_exists(file)) {
        result_ = number_ + QStringLiteral(" Error downloading the document!!!");
        ctx_.inf(result_);
        return closingStatus();
    }

    // Appends a PDF behind the document, moved aside under number + "TEMP.pdf" meanwhile.
    auto append = [&](const QString& extra) {
        const QString temp = p_.pdf_folder + number_ + QStringLiteral("TEMP.pdf");
        delete_file(temp);
        if (!QFile::rename(file, temp)) {
            delete_file(extra);
            return false;
        }
        const int32_t handle = PDocNew(0, 0, file);
        PDocMerge(handle, temp, 1, -1);
        PDocMerge(handle, extra, 1, -1);
        PDocRelease(handle);
        delete_file(temp);
        delete_file(extra);
        return true;
    };

    if (!fp()) {
        if (ctx_.state.force_uspto == QLatin1String("1") &&
            number_.startsWith(QLatin1String("US")) && !number_.startsWith(QLatin1String("US20"))) {
            const QString certificate =
                vb_trim(ctx_.retrievers.uspto_cartificate(ctx_, number_, count));
            if (!certificate.isEmpty() && append(certificate)) {
                bookmarks += QStringLiteral(",") + QString::number(qint64(count) + 1) +
                             QStringLiteral(":Correction");
            }
        }
        // Corrected search-report pages of WO and EP documents.
        if (number_.startsWith(QLatin1String("WO")) || number_.startsWith(QLatin1String("EP"))) {
            QString corrected = pageOne;
            corrected.replace(QStringLiteral("+I+"), QStringLiteral("+IA"));
            fetch_text(ctx_.Inet1, corrected);
            QString answer;
            if (!ctx_.state.order_cancelled)
                answer = fetch_text(ctx_.Inet1, corrected);
            if (answer.contains(kButtonMarker) && answer.contains(QLatin1String("TOTPG="))) {
                int correctedCount = 0;
                totalPages(answer, correctedCount);
                QString correctedLink = link;
                correctedLink.replace(QStringLiteral("+I+"), QStringLiteral("+IA"));
                const QString correctedFile = p_.pdf_folder + number_ + QStringLiteral("_cor.pdf");
                pages_download(ctx_, correctedCount, correctedLink + QStringLiteral("&PG="),
                               p_.temp_prefix, correctedFile, number_);
                if (file_exists(correctedFile) && append(correctedFile)) {
                    bookmarks += QStringLiteral(",") + QString::number(qint64(count) + 1) +
                                 QStringLiteral(":Corrected version");
                }
            }
        }
    }

    if (bookmarks.contains(QLatin1Char(':')) &&
        setting_on(QStringLiteral("ADDBOOKMARKS"), QStringLiteral("0")))
        AddBookmark(ctx_.host, file, number_, bookmarks);
    ctx_.inf(number_ + QStringLiteral(" downloaded (") + pdfnumpages(file) + QStringLiteral(")"));
    // The success status " Done" is never shown: the branch's test for it never held.
    return closingStatus();
}

} // namespace

void get_patent(RunContext& ctx, QString& number, const QString& reference) {
    Chain(ctx, number, reference).run();
}
