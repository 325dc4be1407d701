#include "retrieval/pages.h"

#include "foundation/general.h"
#include "foundation/run_context.h"
#include "pdf/pdf_library.h"
#include "retrieval/retrieval_util.h"

#include <algorithm>

namespace {

// The largest answer a page slot takes; a longer page is cut.
constexpr qint64 kPageChunk = 10602048;
constexpr int kPageTries = 10;

QString job_file(const QString& tempPrefix, qint64 page) {
    return tempPrefix + QString::number(page) + QStringLiteral(".pdf");
}

QString page_url(const QString& baseUrl, qint64 page, const QString& stamp) {
    return baseUrl + QString::number(page) + QStringLiteral("&PROXY=") + stamp;
}

// The end of both loops. lastTried is the highest page that was asked for: no job file of
// this run lies above it, so a huge page count costs nothing here.
void finish_pages(RunContext& ctx, const QString& tempPrefix, const QString& outputFile,
                  qint64 lastTried) {
    PageLoopState& s = ctx.pages;
    const qint64 last = std::min<qint64>(s.page_total, lastTried);
    if (s.pages_failed) {
        delete_file(outputFile);
        for (qint64 page = 1; page <= last; ++page)
            delete_file(job_file(tempPrefix, page));
        return;
    }
    // An output file of an earlier attempt goes first, so that only this run's pages stand.
    delete_file(outputFile);
    const int32_t handle = PDocNew(0, 0, outputFile);
    for (qint64 page = 1; page <= last; ++page) {
        const QString file = job_file(tempPrefix, page);
        if (!file_exists(file))
            continue;
        PDocMerge(handle, file, 1, 1);
        delete_file(file);
    }
    PDocRelease(handle);
}

void start_loop(RunContext& ctx, int pageCount, const QString& name) {
    PageLoopState& s = ctx.pages;
    s.page_total = pageCount;
    s.page_name = name;
    s.pages_failed = false;
    s.pages_done = 0;
}

} // namespace

void pp_indexc(RunContext& ctx, int Index) {
    PageLoopState& s = ctx.pages;
    if (Index <= 0 || Index >= PageLoopState::kSlots)
        return;
    WebControl& slot = ctx.Inet2(Index);
    const qint64 page = qint64(Index) + s.batch_first - 1;
    const QString file = job_file(s.slot_file[size_t(Index)], page);
    write_file(file, slot.GetChunk(kPageChunk));

    if (checkpdf(file)) {
        ++s.pages_done;
        const qint64 percent =
            s.page_total > 0 ? qint64(s.pages_done) * 100 / qint64(s.page_total) : 0;
        ctx.inf(QStringLiteral("Downloading ") + s.page_name + QStringLiteral(" page ") +
                QString::number(s.pages_done) + QStringLiteral(" out of ") +
                QString::number(s.page_total) + QStringLiteral(" pages  ") +
                QString::number(percent) + QStringLiteral("% "));
        ctx.doEvents();
        s.slot_done[size_t(Index)] = true;
        return;
    }

    delete_file(file);
    ++s.slot_retries[size_t(Index)];
    if (s.slot_retries[size_t(Index)] >= kPageTries) {
        s.slot_done[size_t(Index)] = true;
        ctx.inf(s.page_name + QStringLiteral(" Page:") + QString::number(page) +
                QStringLiteral(" failed"));
        s.pages_failed = true;
        return;
    }
    ctx.inf(s.page_name + QStringLiteral(" Page:") + QString::number(page) +
            QStringLiteral(" retry ") + QString::number(s.slot_retries[size_t(Index)]));
    // The same address again, time stamp and all, at once.
    slot.Execute(slot.URL, QStringLiteral("GET"));
}

void pages_parallel(RunContext& ctx, int& pageCount, const QString& baseUrl, int batchSize,
                    const QString& tempPrefix, const QString& outputFile, const QString& name) {
    PageLoopState& s = ctx.pages;
    start_loop(ctx, pageCount, name);
    const int batch = std::clamp(batchSize, 1, PageLoopState::kSlots - 1);
    qint64 lastTried = 0;

    for (qint64 first = 1; first <= s.page_total && !s.pages_failed; first += batch) {
        s.batch_first = int(first);
        for (int slot = 1; slot <= batch; ++slot) {
            const size_t i = size_t(slot);
            const qint64 page = qint64(slot) + first - 1;
            if (page > s.page_total) {
                s.slot_done[i] = true;
                s.slot_file[i].clear();
                s.slot_retries[i] = 0;
                continue;
            }
            s.slot_done[i] = false;
            s.slot_file[i] = tempPrefix;
            s.slot_retries[i] = 0;
            lastTried = page;
            // A slot keeps its web control, and with it its connection, from one batch to
            // the next; all are unloaded when the run ends.
            ctx.LoadInet2(slot);
            WebControl& inet = ctx.Inet2(slot);
            inet.URL = page_url(baseUrl, page, timer_text());
            inet.AccessType = ctx.Inet1.AccessType;
            inet.Proxy = ctx.Inet1.Proxy;
            inet.RequestTimeout = ctx.Inet1.RequestTimeout;
            inet.RemotePort = 80;
            inet.Protocol = 4;
            inet.Execute(inet.URL, QStringLiteral("GET"));
            ctx.doEvents();
        }

        // Wait for the batch. Only the requests' own time-out limits the wait. A pass that
        // found nothing finished sleeps until some request ends; a pass that handled a
        // slot looks again at once, since its status updates ran the event loop.
        for (;;) {
            if (s.pages_failed) {
                for (int slot = 1; slot <= batch; ++slot)
                    if (!s.slot_done[size_t(slot)])
                        ctx.UnloadInet2(slot);
                break;
            }
            bool finished = true;
            bool handled = false;
            for (int slot = 1; slot <= batch; ++slot) {
                if (!s.slot_done[size_t(slot)] && !ctx.Inet2(slot).StillExecuting()) {
                    pp_indexc(ctx, slot);
                    handled = true;
                }
                if (!s.slot_done[size_t(slot)])
                    finished = false;
            }
            if (finished)
                break;
            if (handled)
                ctx.doEvents();
            else
                ctx.waitForWebEvents();
        }
    }
    for (int slot = 1; slot <= batch; ++slot)
        ctx.UnloadInet2(slot);
    finish_pages(ctx, tempPrefix, outputFile, lastTried);
}

void pages_serial(RunContext& ctx, int& pageCount, const QString& baseUrl, int batchSize,
                  const QString& tempPrefix, const QString& outputFile, const QString& name) {
    Q_UNUSED(batchSize);
    PageLoopState& s = ctx.pages;
    start_loop(ctx, pageCount, name);
    qint64 lastTried = 0;

    for (qint64 page = 1; page <= s.page_total && !s.pages_failed; ++page) {
        s.batch_first = int(page);
        lastTried = page;
        int retries = 0;
        ctx.Inet1.URL = page_url(baseUrl, page, timer_text());
        const QString file = job_file(tempPrefix, page);
        for (;;) {
            // Emptied first: a failed request must not hand on the page before it.
            const QByteArray bytes = fetch_bytes(ctx.Inet1, ctx.Inet1.URL);
            write_file(file, bytes);
            if (checkpdf(file)) {
                ctx.inf(QStringLiteral("Downloading ") + name + QStringLiteral(" page ") +
                        QString::number(page) + QStringLiteral(" out of ") +
                        QString::number(s.page_total) + QStringLiteral(" pages  "));
                break;
            }
            delete_file(file);
            ++retries;
            if (retries >= kPageTries) {
                ctx.inf(name + QStringLiteral(" Page:") + QString::number(page) +
                        QStringLiteral(" failed"));
                s.pages_failed = true;
                break;
            }
            ctx.inf(name + QStringLiteral(" Page:") + QString::number(page) +
                    QStringLiteral(" retry ") + QString::number(retries));
        }
    }
    finish_pages(ctx, tempPrefix, outputFile, lastTried);
}

void pages_download(RunContext& ctx, int& pageCount, const QString& baseUrl,
                    const QString& tempPrefix, const QString& outputFile, const QString& name) {
    if (setting_on(QStringLiteral("PARPAGEDESKTOP"), QStringLiteral("1")))
        pages_parallel(ctx, pageCount, baseUrl, 10, tempPrefix, outputFile, name);
    else
        pages_serial(ctx, pageCount, baseUrl, 10, tempPrefix, outputFile, name);
}
