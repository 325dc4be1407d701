#include "offices/uspto.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "offices/uspto_forms.h"
#include "pdf/atomic_file.h"
#include "pdf/pdf_library.h"
#include "pdf/tiff_writer.h"
#include "retrieval/kit.h"

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
    // Tested under the assembly name: only a document that passes appears under its own.
    const QString part = assembly_name(file);
    write_file(part, *body);
    // The only test of the download: can the first page be copied out of it?
    if (!first_page_copies(part, file + QStringLiteral("test.pdf")) || !publish(part, file)) {
        delete_file(part);
        ctx.inf(number + QStringLiteral(" Error in download"));
        result = number + QStringLiteral(" Error in download");
    }
    return true;
}

// --- uspto_cartificate --------------------------------------------------------------------

// One TIFF page to a one-page PDF: through the converter program when it exists, else with
// the built-in writer. A converter that never ends is stopped after the request time-out.
void convert_page(RunContext& ctx, const QString& pdf, const QString& tif, const QString& lib) {
    if (file_exists(lib))
        tif2pdf(ctx.host, pdf, tif, lib, ctx.Inet1.RequestTimeout);
    else
        tif_to_pdf(ctx.host, pdf, tif);
}

QString page_file(const QString& tempdir, const QString& number, qint64 n, const char* ending) {
    return tempdir + number + QLatin1Char('_') + QString::number(n) + QLatin1String(ending);
}

// Where the viewer's page images are, once the viewer page has been read.
struct Viewer {
    QString base; // "http://" + prefix + host + "/"
    QString docid;
    QString key;
    int pages = kNoPageCount;
    QString progress; // " out of " + pages + " pages", when the viewer told its count
};

// The full-text search and the viewer page it links to. Nothing when either failed; the
// status line then tells why.
std::optional<Viewer> find_viewer(RunContext& ctx, const QString& prefix, const QString& number) {
    const UsptoTextQuery query = uspto_text_query(number);
    ctx.inf(number + QStringLiteral(" (USPTO) Checking if Certificate of correction exists"));
    QString page = fetch_text(ctx.Inet1, role_url(prefix,
                                                  query.application
                                                      ? QStringLiteral("UsptoApplicationTextHost")
                                                      : QStringLiteral("UsptoPatentTextHost"),
                                                  query.pathAndQuery));
    QString message;
    if (page.isEmpty()) {
        message = QStringLiteral("Timeout @ the USPTO server");
        page = message;
    }
    if (!page.contains(QStringLiteral(".piw?")) && !page.contains(QStringLiteral(".aiw?"))) {
        ctx.inf(message + QStringLiteral(" (Certificate of correction not found)"));
        return std::nullopt;
    }

    Viewer v;
    v.base = QStringLiteral("http://") + prefix + uspto_viewer_host(page) + QLatin1Char('/');
    const QString viewerPage = fetch_text(ctx.Inet1, v.base + uspto_viewer_link(page));
    if (!viewerPage.isEmpty()) {
        const UsptoViewer read = read_uspto_viewer(viewerPage);
        v.docid = read.docid;
        v.key = read.key;
        if (read.counted) {
            v.pages = read.pages.value_or(kNoPageCount);
            v.progress =
                QStringLiteral(" out of ") + QString::number(v.pages) + QStringLiteral(" pages");
        }
    }
    if (v.pages == kNoPageCount || v.pages == 0) {
        ctx.inf(number +
                QStringLiteral(" Certificate of correction Error at the USPTO image server"));
        return std::nullopt;
    }
    return v;
}

// One certificate page as a TIFF in the temp folder: nine attempts, without a wait between
// them. Only a little-endian TIFF that the converter turns into a readable page passes.
// False when the page could not be had; the status line then tells why.
bool fetch_certificate_page(RunContext& ctx, const Viewer& v, const QString& tempdir,
                            const QString& number, qint64 n, const QString& lib) {
    const QString tif = page_file(tempdir, number, n, ".tif");
    for (int retry = 0;;) {
        QString status = number + QStringLiteral(" Certificate of correction downloading page ") +
                         QString::number(n) + v.progress;
        if (retry > 0)
            status += QStringLiteral(" (Retry: ") + QString::number(retry) + QLatin1Char(')');
        ctx.inf(status);

        const auto image =
            ctx.Inet1.OpenURL(v.base + QStringLiteral(".DImg?Docid=") + v.docid +
                              QStringLiteral("&PageNum=") + QString::number(n) +
                              QStringLiteral("&IDKey=") + v.key + QStringLiteral("&ImgFormat=tif"));
        if (!image) {
            if (++retry > kPageRetries) {
                ctx.inf(number + QStringLiteral(" Error in download"));
                return false;
            }
            continue;
        }
        write_file(tif, *image);
        QByteArray buffer = read_file(tif);

        const QString test = tif + QStringLiteral(".pdf");
        convert_page(ctx, test, tif, lib);
        if (!first_page_copies(test, test + QStringLiteral("test.pdf")))
            buffer = "^^^";
        delete_file(test);

        if (buffer.startsWith("II*") && buffer.size() >= 150)
            return true;
        delete_file(tif);
        if (++retry > kPageRetries) {
            ctx.inf(number + QStringLiteral(" Certificate of correction Error in download"));
            return false;
        }
    }
}

// Every good page converted a second time and joined; the test above has to stay inside the
// retry loop, so that cost is accepted.
QString assemble_certificate(RunContext& ctx, const Preamble& p, const QString& number,
                             int pageCount, const QString& lib) {
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
    return result;
}

} // namespace

QString uspto_viewer_host(const QString& page) {
    struct Row {
        const char* role;
        const char* behind;
    };
    static const Row rows[] = {
        {"UsptoPatentViewerHost2", "/.piw?"},         {"UsptoPatentViewerHost3", "/.piw?"},
        {"UsptoApplicationViewerHost1", "/.aiw?"},    {"UsptoApplicationViewerHost2", "/.aiw?"},
        {"UsptoApplicationViewerHost1", ":80/.aiw?"}, {"UsptoApplicationViewerHost2", ":80/.aiw?"},
    };
    QString host = role_host(QStringLiteral("UsptoPatentViewerHost1"));
    for (const Row& row : rows) {
        const QString candidate = role_host(QLatin1String(row.role));
        if (page.contains(candidate + QLatin1String(row.behind)))
            host = candidate;
    }
    return host;
}

QString uspto_viewer_link(const QString& page) {
    const QString marker =
        page.contains(QStringLiteral(".aiw?")) ? QStringLiteral(".aiw?") : QStringLiteral(".piw?");
    const QString link = page.mid(page.indexOf(marker), 500);
    const qsizetype end = link.indexOf(QLatin1Char('>'));
    return end < 0 ? QString() : vb_trim(link.left(end));
}

UsptoViewer read_uspto_viewer(const QString& page) {
    // The text behind a 13-character marker such as `docid value="`, up to the next double
    // quote within 50 characters; without a closing quote there is no value. The marker is
    // not required: without it the text is read from character 13 of the page.
    auto marked = [&page](const QString& marker) {
        const qsizetype at = page.indexOf(marker);
        const QString window = Mid(page, int(at + 1) + int(marker.size()), 50);
        const qsizetype quote = window.indexOf(QLatin1Char('"'));
        return quote < 0 ? QString() : window.left(quote);
    };
    UsptoViewer v{marked(QStringLiteral("docid value=\"")),
                  marked(QStringLiteral("IDKey value=\"")), false, std::nullopt};
    const qsizetype at = page.indexOf(QStringLiteral("NumPages="));
    if (at < 0)
        return v;
    v.counted = true;
    // A whole number up to the next "-" within 20 characters, one that fits the counter.
    const QString window = page.mid(at + 9, 20);
    const qsizetype dash = window.indexOf(QLatin1Char('-'));
    bool ok = false;
    const int count = dash < 0 ? 0 : vb_trim(window.left(dash)).toInt(&ok);
    if (ok && count <= 32767)
        v.pages = count;
    return v;
}

void uspto_download(RunContext& ctx, QString& number, const QString& reference) {
    Preamble p =
        fetch_preamble(ctx, number, reference, kRequestTimeout, QStringLiteral(" (USPTO)"));
    const QString file = p.pdf_folder + number + QStringLiteral(".pdf");
    const UsptoPdfAddress address = uspto_pdf_address(number);
    const QString url = role_url(p.prefix,
                                 address.application ? QStringLiteral("UsptoPdfApplicationHost")
                                                     : QStringLiteral("UsptoPdfPatentHost"),
                                 address.path);

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
        p.result = downloaded_word(file);
    close_retriever(ctx, number, reference, p.result);
}

QString uspto_cartificate(RunContext& ctx, const QString& cartificate_PN,
                          int cartificate_LastPage) {
    const Preamble p = preamble_settings(ctx, kRequestTimeout);
    const QString lib =
        ensure_converter(ctx, p.prefix, QStringLiteral("uspto.lib"),
                         QStringLiteral("Downloading the USPTO update please wait!!!"));

    QString number = cartificate_PN.toUpper();
    number.remove(QLatin1Char('-'));
    const std::optional<Viewer> viewer = find_viewer(ctx, p.prefix, number);
    if (!viewer)
        return {};
    // The ordinary outcome: a patent without certificate has no pages beyond its own.
    if (cartificate_LastPage >= viewer->pages) {
        ctx.inf(number + QStringLiteral(" Certificate of correction not found"));
        return {};
    }
    ctx.inf(number + QStringLiteral(" Certificate of correction starting download"));
    // A page that can't be had ends the call; the pages fetched so far stay where they are.
    for (qint64 n = qint64{cartificate_LastPage} + 1; n <= viewer->pages; ++n) {
        if (!fetch_certificate_page(ctx, *viewer, p.tempdir, number, n, lib))
            return {};
        ctx.host.setPageProgress(int(n), viewer->pages);
    }
    const QString result = assemble_certificate(ctx, p, number, viewer->pages, lib);
    ctx.inf(number + QStringLiteral(" Certificate of correction (USPTO) Done"));
    return result;
}
