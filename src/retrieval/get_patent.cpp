#include "retrieval/get_patent.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/log.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "offices/office_table.h"
#include "pdf/atomic_file.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "retrieval/espace.h"
#include "retrieval/kit.h"
#include "retrieval/pages.h"
#include "retrieval/retrievers.h"

#include <QFile>

bool& availability_check_enabled() {
    static bool enabled = false;
    return enabled;
}

namespace {

const QString kButtonMarker = QStringLiteral("<INPUT TYPE=\"BUTTON\" VALUE=\"");
const QString kViewer = QStringLiteral("/espacenet/bnsviewer");
// A page count not known yet.
constexpr int kUnknownCount = 77800;

bool succeeded(const QString& espacenetResult) {
    return espacenetResult.size() > 3;
}

// The text behind "TOTPG=", cut at "&": the count it tells, or nothing.
std::optional<int> total_pages(const QString& text) {
    const qsizetype at = text.indexOf(QLatin1String("TOTPG="));
    if (text.isEmpty() || at < 0)
        return std::nullopt;
    QString n = text.mid(at + 6, 20);
    const qsizetype amp = n.indexOf(QLatin1Char('&'));
    if (amp >= 0)
        n = n.left(amp);
    return vb_val(vb_trim(n));
}

QString to_a3(QString link) {
    link.replace(QStringLiteral("A0+I+"), QStringLiteral("A3+I+"));
    link.replace(QStringLiteral("A1+I+"), QStringLiteral("A3+I+"));
    link.replace(QStringLiteral("A2+I+"), QStringLiteral("A3+I+"));
    return link;
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
    bool any_kind() const { return isB1_ || isB2_ || isA3_ || isA4_ || isA9_; }
    QString with_kind_codes(const QString& number) const;
    void set_status(const QString& text) { ctx_.host.setStatus(text); }
    void call(const char* retriever, QString& number) {
        call_retriever(ctx_, QLatin1String(retriever), number, reference_);
    }
    void depatis_try(QString& number) {
        call_retriever(ctx_, QStringLiteral("depatis_download"), number, reference_, false);
    }

    // The steps of the chain, in their order.
    void company_cache(const QString& lookup, const QString& key);
    bool already_there();
    bool espacenet_routes();
    void take_kind_code_off();
    bool espacenet_site();
    Outcome availability_check();
    bool wo_and_tries();
    bool national_office();
    void not_found_tail();
    void closing();

    // The page-wise branch behind the availability check, and its steps.
    Outcome page_wise(const QString& navigation);
    QString choose_link(const QStringList& links);
    Outcome close_with_status();
    bool append(const QString& file, const QString& extra);
    void corrections(const QString& link, const QString& pageOne, const QString& file, int count,
                     QString& bookmarks);

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

void Chain::run() {
    ctx_.state.bookmark_info.clear();
    p_ = fetch_preamble(ctx_, number_, reference_, 300, QString(), {.status = false});
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
    if (already_there())
        return;
    if (espacenet_routes())
        return closing();

    take_kind_code_off();
    set_status(number_ + QStringLiteral(" Checking if patent exists"));
    if (espacenet_site())
        return closing();
    switch (availability_check()) {
    case Outcome::Leave:
        return;
    case Outcome::Close:
        return closing();
    case Outcome::NotFound:
        return not_found_tail();
    }
}

// The company's ready-made cache. Its address takes no proxy prefix. The answer is the
// address of a PDF; an answer of 3001 bytes or less is an error page and is dropped.
void Chain::company_cache(const QString& lookup, const QString& key) {
    const QString answer =
        fetch_text(ctx_.Inet1, role_url(QString(), QStringLiteral("CompanyWebHost"),
                                        QStringLiteral("/lookup/cache.asp?PN=") + lookup))
            .toLower();
    if (!answer.contains(QLatin1String("ttp://")) || !answer.contains(key + QStringLiteral(".pdf")))
        return;
    set_status(number_ + QStringLiteral(" Downloading from Tarnwell"));
    const QByteArray bytes = fetch_bytes(ctx_.Inet1, answer.trimmed());
    if (bytes.size() - 1 > 3000)
        save_bytes(file_of(number_), bytes);
}

// A file on the disk, or one the cache just gave, ends the chain with its own log line.
bool Chain::already_there() {
    if (!has_file(number_))
        return false;
    set_status(number_ + QStringLiteral(" Retrieved from cache"));
    ctx_.host.setTitle(QStringLiteral("Brightquill"));
    writelog_copy(ctx_, number_, reference_,
                  QStringLiteral("Retrieved from cache (") + pdfnumpages(file_of(number_)) +
                      QStringLiteral(" )"));
    ctx_.doEvents(3);
    return true;
}

// The company's WO server and the company-assisted Espacenet routes.
bool Chain::espacenet_routes() {
    if (number_.startsWith(QLatin1String("WO"))) {
        call("wipo_download", number_);
        if (has_file(number_))
            return true;
    }
    ctx_.state.bookmark_info.clear();
    if (number_.startsWith(QLatin1String("FR")) && number_.contains(QLatin1Char('B')) &&
        succeeded(fr_espace_download(ctx_, number_, file_of(number_), p_.temp_prefix)))
        return true;
    // The front page alone goes under the number's own name here; the end of the order
    // makes the "FP_" file from it.
    if (fp() && number_.startsWith(QLatin1String("EP")) &&
        succeeded(espace_frontpage_download(ctx_, number_, file_of(number_), p_.temp_prefix)))
        return true;
    ctx_.state.bookmark_info.clear();
    const QString target =
        fp() ? p_.pdf_folder + QStringLiteral("FP_") + number_ + QStringLiteral(".pdf")
             : file_of(number_);
    return succeeded(espace_bns_download(ctx_, number_, target, p_.temp_prefix));
}

// The kind code that was asked for comes off the number; each test sees the result of the
// one before. A lone "B" stays on numbers other than EP and WO.
void Chain::take_kind_code_off() {
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
}

bool Chain::espacenet_site() {
    if (ctx_.host.useNewEspacenet()) {
        if (!any_kind() && !fp()) {
            ctx_.state.bookmark_info.clear();
            if (succeeded(espace_site_download(ctx_, number_, file_of(number_), p_.temp_prefix)))
                return true;
        }
        WriteRegistry(settings_key, QStringLiteral("NEWESPACE"), QStringLiteral("1"));
    } else {
        WriteRegistry(settings_key, QStringLiteral("NEWESPACE"), QStringLiteral("0"));
    }
    ctx_.doEvents(4);
    return false;
}

// The availability check on the national server. Switched off, nothing is requested, the
// result word is "Not found" and no viewer link is found; the chain goes on.
Chain::Outcome Chain::availability_check() {
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

    const QString id =
        number_.startsWith(QLatin1String("JP")) && !number_.contains(QLatin1Char('A'))
            ? number_ + QStringLiteral("A++I+")
            : Left(number_, 2) + QStringLiteral("+++") + number_.mid(2) + QStringLiteral("++I+");
    ctx_.Inet1.URL = QStringLiteral("http://") + server_ +
                     QStringLiteral("/espacenet/bnsviewnav?CY=ep&LG=en&DB=EPD&PN=") + number_ +
                     QStringLiteral("&ID=") + id + QStringLiteral("&RETR=OKE&PG=1");
    // Switched off, the navigation page is a fixed error text.
    const QString navigation = on ? fetch_text(ctx_.Inet1, ctx_.Inet1.URL)
                                  : QStringLiteral("Error Message' Inet1.OpenURL(Inet1.URL)");
    if (!navigation.contains(QLatin1String("Error Message")) && navigation.contains(kViewer)) {
        // Viewer links show that the document is there, whatever the abstract said.
        result_.clear();
        return page_wise(navigation);
    }
    if (wo_and_tries() || national_office())
        return Outcome::Leave;
    result_ += QStringLiteral(" (Patent not found)");
    return Outcome::NotFound;
}

// WO again, with an A3 that was asked for put back (a document found here leaves no log
// line; that has always been so), then the JPO and DEPATISnet as tries.
bool Chain::wo_and_tries() {
    if (number_.startsWith(QLatin1String("WO"))) {
        if (isA3_ && !number_.contains(QLatin1String("A3")))
            number_ += QStringLiteral("A3");
        call("wipo_download", number_);
        if (has_file(number_))
            return true;
    }
    if (number_.startsWith(QLatin1String("US")))
        return false;
    if (number_.startsWith(QLatin1String("WO"))) {
        call("wipo_download", number_);
        if (has_file(number_))
            return true;
    }
    if (number_.startsWith(QLatin1String("JP"))) {
        QString copy = with_kind_codes(number_);
        call("jpo_download", copy);
        if (has_file(copy))
            return true;
    }
    QString copy = with_kind_codes(number_);
    if (has_file(copy))
        return true;
    depatis_try(copy);
    return has_file(copy);
}

// The national offices end the chain, with or without a document; they log.
bool Chain::national_office() {
    for (const Office* office : chain_offices()) {
        if (number_.startsWith(QLatin1String(office->chainPrefix))) {
            call(office->retriever, number_);
            return true;
        }
    }
    return false;
}

void Chain::not_found_tail() {
    set_status(result_);
    number_ = with_kind_codes(number_);
    if (has_file(number_))
        return;
    depatis_try(number_);
    if (has_file(number_))
        return;
    set_status(number_ + QStringLiteral(" - ") + result_);
    closing();
}

void Chain::closing() {
    if (result_.isEmpty())
        result_ =
            fp() ? QStringLiteral("Downloaded (Front page)") : downloaded_word(file_of(number_));
    if (ctx_.state.order_cancelled)
        set_status(QStringLiteral("Job cancelled"));
    else
        writelog_copy(ctx_, fp() ? QStringLiteral("FP_") + number_ : number_, reference_, result_);
    ctx_.host.setTitle(kDesktopTitle);
}

// The first link by default; a link of the kind that was asked for takes its place, and of
// several the last one wins. When none fits, the kinds not found are noted in the result
// word, and an A3 is asked for again.
QString Chain::choose_link(const QStringList& links) {
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
    if (link != links.first() || link.contains(QLatin1String("B++I")))
        return link;
    if (isB1_)
        result_ += QStringLiteral(" (B1 not found)");
    if (isB2_)
        result_ += QStringLiteral(" (B2 not found)");
    if (isA3_) {
        QString copy = to_a3(link);
        copy.replace(kViewer,
                     QStringLiteral("http://") + server_ + QStringLiteral("/espacenet/bnsviewnav"));
        copy += QStringLiteral("&PG=1") + time_stamp();
        set_status(number_ + QStringLiteral(" Checking if patent exists (A3 Searching again)"));
        ctx_.doEvents(4);
        if (fetch_text(ctx_.Inet1, copy).contains(QLatin1String("A3+I+"))) {
            link = to_a3(link);
        } else {
            if (number_.startsWith(QLatin1String("WO"))) {
                number_ += QStringLiteral("A3");
                call("wipo_download", number_);
                if (has_file(number_))
                    return QString(); // found: the chain leaves
            }
            result_ += QStringLiteral(" (A3 not found)");
        }
    }
    if (isA4_)
        result_ += QStringLiteral(" (A4 not found)");
    if (isA9_)
        result_ += QStringLiteral(" (A9 not found)");
    return link;
}

Chain::Outcome Chain::close_with_status() {
    if (!result_.isEmpty())
        set_status(number_ + QStringLiteral(" - ") + result_);
    return Outcome::Close;
}

// Appends a PDF behind the document, moved aside under number + "TEMP.pdf" meanwhile.
bool Chain::append(const QString& file, const QString& extra) {
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
}

// The certificates of correction of a US patent that must come from the USPTO, and the
// corrected search-report pages of WO and EP documents.
void Chain::corrections(const QString& link, const QString& pageOne, const QString& file, int count,
                        QString& bookmarks) {
    if (ctx_.state.force_uspto == QLatin1String("1") && number_.startsWith(QLatin1String("US")) &&
        !number_.startsWith(QLatin1String("US20"))) {
        const QString certificate =
            vb_trim(retrievers(ctx_).uspto_cartificate(ctx_, number_, count));
        if (!certificate.isEmpty() && append(file, certificate))
            bookmarks += QStringLiteral(",") + QString::number(qint64(count) + 1) +
                         QStringLiteral(":Correction");
    }
    if (!number_.startsWith(QLatin1String("WO")) && !number_.startsWith(QLatin1String("EP")))
        return;
    QString corrected = pageOne;
    corrected.replace(QStringLiteral("+I+"), QStringLiteral("+IA"));
    fetch_text(ctx_.Inet1, corrected);
    QString answer;
    if (!ctx_.state.order_cancelled)
        answer = fetch_text(ctx_.Inet1, corrected);
    if (!answer.contains(kButtonMarker) || !answer.contains(QLatin1String("TOTPG=")))
        return;
    int correctedCount = total_pages(answer).value_or(0);
    QString correctedLink = link;
    correctedLink.replace(QStringLiteral("+I+"), QStringLiteral("+IA"));
    const QString correctedFile = p_.pdf_folder + number_ + QStringLiteral("_cor.pdf");
    pages_download(ctx_, correctedCount, correctedLink + QStringLiteral("&PG="), p_.temp_prefix,
                   correctedFile, number_);
    if (file_exists(correctedFile) && append(file, correctedFile))
        bookmarks += QStringLiteral(",") + QString::number(qint64(count) + 1) +
                     QStringLiteral(":Corrected version");
}

Chain::Outcome Chain::page_wise(const QString& navigation) {
    QString link = choose_link(read_viewer_links(navigation));
    if (link.isEmpty())
        return Outcome::Leave;
    link.replace(kViewer,
                 QStringLiteral("http://") + server_ + QStringLiteral("/espacenet/bns.pdf"));

    if (!result_.isEmpty())
        return Outcome::NotFound;
    number_ = with_kind_codes(number_);
    // The front page goes under an "FP_" name of its own; the log line then carries the
    // prefix twice, as it always has in this branch.
    if (fp())
        number_ = QStringLiteral("FP_") + number_;

    const QString file = file_of(number_);
    if (file_exists(file)) {
        set_status(number_ + QStringLiteral(" Retrieved from cache"));
        result_ = QStringLiteral("Retrieved from cache");
        return close_with_status();
    }

    QString pageOne = link;
    pageOne.replace(QStringLiteral("/espacenet/bns.pdf"), QStringLiteral("/espacenet/bnsviewnav"));
    pageOne += QStringLiteral("&PG=1") + time_stamp();
    QString viewer;
    if (!ctx_.state.order_cancelled)
        viewer = fetch_text(ctx_.Inet1, pageOne);
    ViewerPage page = read_viewer_page(viewer, kUnknownCount);
    if (fp()) {
        page.count = 1;
        page.bookmarks.clear();
    }
    set_status(number_ + QStringLiteral(" Starting download"));
    ctx_.doEvents(2);

    // With no count known, DEPATISnet gets a try; the page loop below still settles it.
    if (page.count == 0)
        page.count = kUnknownCount;
    if (page.count == kUnknownCount)
        depatis_try(number_);
    // Put together under the assembly name, corrections and bookmarks included.
    const QString work = assembly_name(file);
    pages_download(ctx_, page.count, link + QStringLiteral("&PG="), p_.temp_prefix, work, number_);

    if (!file_exists(work)) {
        result_ = number_ + QStringLiteral(" Error downloading the document!!!");
        ctx_.inf(result_);
        return close_with_status();
    }
    if (!fp())
        corrections(link, pageOne, work, page.count, page.bookmarks);
    if (page.bookmarks.contains(QLatin1Char(':')) &&
        setting_on(QStringLiteral("ADDBOOKMARKS"), QStringLiteral("0")))
        AddBookmark(ctx_.host, work, number_, page.bookmarks);
    publish(work, file);
    ctx_.inf(number_ + QStringLiteral(" downloaded (") + pdfnumpages(file) + QStringLiteral(")"));
    // The success status " Done" is never shown: the branch's test for it never held.
    return close_with_status();
}

} // namespace

QStringList read_viewer_links(const QString& page) {
    QStringList links;
    for (qsizetype at = page.indexOf(kViewer); at >= 0;) {
        const qsizetype quote = page.indexOf(QLatin1Char('"'), at);
        const QString link = quote >= 0 ? page.mid(at, quote - at) : page.mid(at);
        if (links.size() < 20)
            links << link;
        at = page.indexOf(kViewer, at + link.size());
    }
    return links;
}

ViewerPage read_viewer_page(const QString& page, int countIfUntold) {
    ViewerPage v;
    for (qsizetype at = page.indexOf(kButtonMarker); at >= 0;
         at = page.indexOf(kButtonMarker, at + kButtonMarker.size())) {
        QString entry = page.mid(at + kButtonMarker.size());
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
            v.bookmarks +=
                QString::number(pageNumber) + QStringLiteral(":") + title + QStringLiteral(",");
    }
    if (v.bookmarks.endsWith(QLatin1Char(',')))
        v.bookmarks.chop(1);
    v.count = total_pages(page).value_or(countIfUntold);
    return v;
}

void get_patent(RunContext& ctx, QString& number, const QString& reference) {
    Chain(ctx, number, reference).run();
}
