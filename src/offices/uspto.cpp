#include "offices/uspto.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/registry.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "offices/uspto_forms.h"
#include "order/report_log.h"
#include "pdf/page_count.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"

#include <QFile>

#include <optional>

namespace {

constexpr int kRequestTimeout = 600;
// The page count before the viewer page has told it; it also stands for "not told".
constexpr int kNoPageCount = 28000;
// A certificate page gets this many retries after its first attempt.
constexpr int kPageRetries = 8;

// --- uspto_download -----------------------------------------------------------------------

// Fetches the document into file and probes it. False when the web control gave no answer:
// then nothing was written.
bool fetch_whole_document(RunContext& ctx, const QString& url, const QString& file,
                          const QString& number, QString& result) {
    const std::optional<QByteArray> body = ctx.Inet1.OpenURL(url);
    if (!body)
        return false;
    write_file(file, *body);

    // The only test of the download: can the first page be copied out of it?
    const QString scratch = file + QStringLiteral("test.pdf");
    const int32_t handle = PDocNew(0, 0, scratch);
    const int16_t valid = PDocMerge(handle, file, 1, 1);
    PDocRelease(handle);
    delete_file(scratch);
    if (valid == 0) {
        delete_file(file);
        ctx.inf(number + QStringLiteral(" Error in download"));
        result = number + QStringLiteral(" Error in download");
    }
    return true;
}

// --- uspto_cartificate --------------------------------------------------------------------

// The converter program, fetched from the company's web host and then its mirror when it is
// not there yet. A failed fetch still writes the file, empty, and that file then counts as
// present for good.
QString uspto_lib(RunContext& ctx, const QString& prefix) {
    const QString path = application_folder() + QStringLiteral("uspto.lib");
    for (const char* role : {"CompanyWebHost", "CompanyMirrorHost"}) {
        if (file_exists(path))
            break;
        ctx.inf(QStringLiteral("Downloading the USPTO update please wait!!!"));
        QByteArray bytes;
        if (const auto answer =
                ctx.Inet1.OpenURL(QStringLiteral("http://") + prefix +
                                  host_role(QLatin1String(role)) + QStringLiteral("/uspto.lib")))
            bytes = *answer;
        write_file(path, bytes);
        // Even a file that could be written only in part is the program from now on.
        if (file_exists(path))
            QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    return path;
}

// One TIFF page to a one-page PDF: through the converter program when it exists, else with
// the built-in writer.
void convert_page(RunContext& ctx, const QString& pdf, const QString& tif, const QString& lib) {
    if (file_exists(lib))
        tif2pdf(ctx.host, pdf, tif, lib);
    else
        tif_to_pdf(ctx.host, pdf, tif);
}

// The viewer host that the full-text page links to. Nothing is tried against anything: the
// page names the host in its own link, and the last row that matches wins.
QString viewer_host(const QString& page) {
    struct Row {
        const char* role;
        const char* behind;
    };
    static const Row rows[] = {
        {"UsptoPatentViewerHost2", "/.piw?"},         {"UsptoPatentViewerHost3", "/.piw?"},
        {"UsptoApplicationViewerHost1", "/.aiw?"},    {"UsptoApplicationViewerHost2", "/.aiw?"},
        {"UsptoApplicationViewerHost1", ":80/.aiw?"}, {"UsptoApplicationViewerHost2", ":80/.aiw?"},
    };
    QString host = host_role(QStringLiteral("UsptoPatentViewerHost1"));
    for (const Row& row : rows) {
        const QString candidate = host_role(QLatin1String(row.role));
        if (page.contains(candidate + QLatin1String(row.behind)))
            host = candidate;
    }
    return host;
}

// The link behind the viewer marker, up to its closing ">". ".aiw?" wins when both stand in
// the page.
QString viewer_link(const QString& page) {
    const QString marker =
        page.contains(QStringLiteral(".aiw?")) ? QStringLiteral(".aiw?") : QStringLiteral(".piw?");
    const QString link = page.mid(page.indexOf(marker), 500);
    const qsizetype end = link.indexOf(QLatin1Char('>'));
    return end < 0 ? QString() : vb_trim(link.left(end));
}

// The text behind a 13-character marker such as `docid value="`, up to the next double
// quote within 50 characters; without a closing quote there is no value. The marker is not
// required: without it the text is read from character 13 of the page.
QString marked_value(const QString& page, const QString& marker) {
    const qsizetype at = page.indexOf(marker); // -1 reads from character 13, as said above
    const QString window = Mid(page, int(at + 1) + int(marker.size()), 50);
    const qsizetype quote = window.indexOf(QLatin1Char('"'));
    return quote < 0 ? QString() : window.left(quote);
}

// The viewer's page count: the text behind "NumPages=", within 20 characters, up to the
// next "-", read as a whole number that fits the counter. Anything else is no count.
std::optional<int> viewer_page_count(const QString& page) {
    const qsizetype at = page.indexOf(QStringLiteral("NumPages="));
    if (at < 0)
        return std::nullopt;
    const QString window = page.mid(at + 9, 20);
    const qsizetype dash = window.indexOf(QLatin1Char('-'));
    if (dash < 0)
        return std::nullopt;
    bool ok = false;
    const int count = vb_trim(window.left(dash)).toInt(&ok);
    if (!ok || count > 32767)
        return std::nullopt;
    return count;
}

QString page_file(const QString& tempdir, const QString& number, qint64 n, const char* ending) {
    return tempdir + number + QLatin1Char('_') + QString::number(n) + QLatin1String(ending);
}

} // namespace

void uspto_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p =
        fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (USPTO)"));
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
    const UsptoPdfAddress address = uspto_pdf_address(number);
    const QString url = QStringLiteral("http://") + p.prefix +
                        host_role(address.application ? QStringLiteral("UsptoPdfApplicationHost")
                                                      : QStringLiteral("UsptoPdfPatentHost")) +
                        address.path;

    if (!url.contains(QStringLiteral("ttp:/"))) {
        p.result = QStringLiteral("Error at the USPTO image server");
        ctx.inf(number + QStringLiteral(" Error at the USPTO image server"));
    } else {
        ctx.inf(number + QStringLiteral(" Starting download"));
        bool answered = true;
        if (file_exists(file)) {
            // Whatever lies under the name counts as the document, unchecked.
            ctx.inf(number + QStringLiteral(" (USPTO) Retrieved from cache"));
        } else {
            ctx.inf(number + QStringLiteral(" Starting download"));
            answered = fetch_whole_document(ctx, url, file, number, p.result);
        }
        // No answer at all goes straight to the result word below, with nothing written. The
        // page count then creates the file empty and the order logs it as downloaded; the
        // next order of the number takes that file from the cache. This is kept on purpose.
        if (answered) {
            if (!ctx.state.order_cancelled)
                ctx.inf(number + QStringLiteral(" Done"));
            if (!p.result.isEmpty())
                ctx.inf(number + QStringLiteral(" - ") + p.result);
        }
    }

    if (p.result.isEmpty())
        p.result = QStringLiteral("Downloaded (") + pdfnumpages(file) + QStringLiteral(" )");
    if (ctx.state.order_cancelled) {
        ctx.inf(QStringLiteral("Job cancelled"));
    } else {
        QString ref = reference;
        writelog(ctx, number, ref, p.result);
    }
    ctx.host.setTitle(QStringLiteral("Bright Quill - Desktop edition"));
}

QString uspto_cartificate(RunContext& ctx, const QString& cartificate_PN,
                          int cartificate_LastPage) {
    const Preamble p = preamble_settings(ctx, kRequestTimeout);
    const QString lib = uspto_lib(ctx, p.prefix);

    QString number = cartificate_PN.toUpper();
    number.remove(QLatin1Char('-'));
    const UsptoTextQuery query = uspto_text_query(number);
    const QString textHost =
        host_role(query.application ? QStringLiteral("UsptoApplicationTextHost")
                                    : QStringLiteral("UsptoPatentTextHost"));

    ctx.inf(number + QStringLiteral(" (USPTO) Checking if Certificate of correction exists"));
    QString page;
    if (const auto answer =
            ctx.Inet1.OpenURL(QStringLiteral("http://") + p.prefix + textHost + query.pathAndQuery))
        page = latin1(*answer);
    QString message;
    if (page.isEmpty()) {
        message = QStringLiteral("Timeout @ the USPTO server");
        page = message;
    }
    if (!page.contains(QStringLiteral(".piw?")) && !page.contains(QStringLiteral(".aiw?"))) {
        message += QStringLiteral(" (Certificate of correction not found)");
        ctx.inf(message);
        return {};
    }

    const QString base =
        QStringLiteral("http://") + p.prefix + viewer_host(page) + QLatin1Char('/');
    const QString viewerAddress = base + viewer_link(page);

    int pageCount = kNoPageCount;
    QString progress;
    QString viewerPage;
    if (const auto answer = ctx.Inet1.OpenURL(viewerAddress))
        viewerPage = latin1(*answer);
    QString docid;
    QString key;
    if (!viewerPage.isEmpty()) {
        docid = marked_value(viewerPage, QStringLiteral("docid value=\""));
        key = marked_value(viewerPage, QStringLiteral("IDKey value=\""));
        if (viewerPage.contains(QStringLiteral("NumPages="))) {
            if (const auto count = viewer_page_count(viewerPage))
                pageCount = *count;
            progress =
                QStringLiteral(" out of ") + QString::number(pageCount) + QStringLiteral(" pages");
        }
    }
    if (pageCount == kNoPageCount || pageCount == 0) {
        ctx.inf(number +
                QStringLiteral(" Certificate of correction Error at the USPTO image server"));
        return {};
    }
    // The ordinary outcome: a patent without certificate has no pages beyond its own.
    if (cartificate_LastPage >= pageCount) {
        ctx.inf(number + QStringLiteral(" Certificate of correction not found"));
        return {};
    }
    ctx.inf(number + QStringLiteral(" Certificate of correction starting download"));

    // Each page has nine attempts, without a wait between them. Only a little-endian TIFF
    // that the converter turns into a readable page passes.
    for (qint64 n = qint64{cartificate_LastPage} + 1; n <= pageCount; ++n) {
        const QString tif = page_file(p.tempdir, number, n, ".tif");
        for (int retry = 0;;) {
            QString status = number +
                             QStringLiteral(" Certificate of correction downloading page ") +
                             QString::number(n) + progress;
            if (retry > 0)
                status += QStringLiteral(" (Retry: ") + QString::number(retry) + QLatin1Char(')');
            ctx.inf(status);

            const auto image = ctx.Inet1.OpenURL(base + QStringLiteral(".DImg?Docid=") + docid +
                                                 QStringLiteral("&PageNum=") + QString::number(n) +
                                                 QStringLiteral("&IDKey=") + key +
                                                 QStringLiteral("&ImgFormat=tif"));
            if (!image) {
                if (++retry > kPageRetries) {
                    // The pages fetched so far stay where they are.
                    ctx.inf(number + QStringLiteral(" Error in download"));
                    return {};
                }
                continue;
            }
            write_file(tif, *image);
            ctx.page_buffer = read_file(tif);

            const QString test = tif + QStringLiteral(".pdf");
            convert_page(ctx, test, tif, lib);
            const QString scratch = test + QStringLiteral("test.pdf");
            const int32_t handle = PDocNew(0, 0, scratch);
            const int16_t readable = PDocMerge(handle, test, 1, 1);
            PDocRelease(handle);
            delete_file(scratch);
            if (readable == 0)
                ctx.page_buffer = "^^^";
            delete_file(test);

            if (ctx.page_buffer.startsWith("II*") && ctx.page_buffer.size() >= 150)
                break;
            delete_file(tif);
            if (++retry > kPageRetries) {
                ctx.inf(number + QStringLiteral(" Certificate of correction Error in download"));
                return {};
            }
        }
    }

    // Every good page is converted a second time here; the test above has to stay inside the
    // retry loop, so that cost is accepted.
    const qint64 last = qint64{pageCount} + 1;
    for (qint64 n = 1; n <= last; ++n) {
        const QString tif = page_file(p.tempdir, number, n, ".tif");
        if (file_exists(tif))
            convert_page(ctx, page_file(p.tempdir, number, n, ".pdf"), tif, lib);
    }
    const QString result =
        p.pdfdir + timer_text() + QStringLiteral("CC") + number + QStringLiteral(".pdf");
    merge_Espace_pdf(result, p.tempdir + number + QLatin1Char('_'), pageCount, 0, number);
    for (qint64 n = 1; n <= last; ++n) {
        delete_file(page_file(p.tempdir, number, n, ".tif"));
        delete_file(page_file(p.tempdir, number, n, ".pdf"));
    }
    delete_file(p.tempdir + number + QStringLiteral(".pdf"));

    ctx.inf(number + QStringLiteral(" Certificate of correction (USPTO) Done"));
    return result;
}
