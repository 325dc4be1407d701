#include "retrieval/pages.h"

#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "pdf/pdf_library.h"
#include "retrieval/kit.h"

#include <algorithm>
#include <array>

namespace {

// The largest answer a page slot takes; a longer page is cut.
constexpr qint64 kPageChunk = 10602048;
constexpr int kPageTries = 10;
constexpr int kSlots = WebSlots::kSlots; // slot 0 is never used: batches of up to 100

QString job_file(const QString& tempPrefix, qint64 page) {
    return tempPrefix + QString::number(page) + QStringLiteral(".pdf");
}

QString page_url(const QString& baseUrl, qint64 page, const QString& stamp) {
    return baseUrl + QString::number(page) + QStringLiteral("&PROXY=") + stamp;
}

// The run state of one page loop: what pages_parallel and pp_indexc share.
struct PageLoop {
    PageLoop(RunContext& c, int pageCount, const QString& name)
        : ctx(c), page_total(pageCount), page_name(name) {}

    void pp_indexc(int Index);
    // The end of both loops. lastTried is the highest page that was asked for: no job file
    // of this run lies above it, so a huge page count costs nothing here.
    void finish(const QString& tempPrefix, const QString& outputFile, qint64 lastTried) const;

    RunContext& ctx;
    int page_total;
    QString page_name;
    bool pages_failed = false;
    int pages_done = 0;
    int batch_first = 0;
    std::array<bool, kSlots> slot_done{};
    std::array<QString, kSlots> slot_file{};
    std::array<int, kSlots> slot_retries{};
};

void PageLoop::finish(const QString& tempPrefix, const QString& outputFile,
                      qint64 lastTried) const {
    const qint64 last = std::min<qint64>(page_total, lastTried);
    if (pages_failed) {
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

// Deals with one slot whose request has ended: keeps the page, or asks again, or gives up.
void PageLoop::pp_indexc(int Index) {
    WebControl& slot = ctx.Inet2[Index];
    const qint64 page = qint64(Index) + batch_first - 1;
    const QString file = job_file(slot_file[size_t(Index)], page);
    write_file(file, slot.GetChunk(kPageChunk));

    if (checkpdf(file)) {
        ++pages_done;
        ctx.host.setPageProgress(pages_done, page_total);
        const qint64 percent = page_total > 0 ? qint64(pages_done) * 100 / qint64(page_total) : 0;
        ctx.inf(QStringLiteral("Downloading ") + page_name + QStringLiteral(" page ") +
                QString::number(pages_done) + QStringLiteral(" out of ") +
                QString::number(page_total) + QStringLiteral(" pages  ") +
                QString::number(percent) + QStringLiteral("% "));
        ctx.doEvents();
        slot_done[size_t(Index)] = true;
        return;
    }

    delete_file(file);
    ++slot_retries[size_t(Index)];
    if (slot_retries[size_t(Index)] >= kPageTries) {
        slot_done[size_t(Index)] = true;
        ctx.inf(page_name + QStringLiteral(" Page:") + QString::number(page) +
                QStringLiteral(" failed"));
        pages_failed = true;
        return;
    }
    ctx.inf(page_name + QStringLiteral(" Page:") + QString::number(page) +
            QStringLiteral(" retry ") + QString::number(slot_retries[size_t(Index)]));
    // The same address again, time stamp and all, at once.
    slot.Execute(slot.URL, QStringLiteral("GET"));
}

} // namespace

void pages_parallel(RunContext& ctx, int& pageCount, const QString& baseUrl, int batchSize,
                    const QString& tempPrefix, const QString& outputFile, const QString& name) {
    PageLoop s(ctx, pageCount, name);
    const int batch = std::clamp(batchSize, 1, kSlots - 1);
    qint64 lastTried = 0;

    for (qint64 first = 1; first <= s.page_total && !s.pages_failed; first += batch) {
        s.batch_first = int(first);
        for (int slot = 1; slot <= batch; ++slot) {
            const size_t i = size_t(slot);
            const qint64 page = qint64(slot) + first - 1;
            s.slot_retries[i] = 0;
            if (page > s.page_total) {
                s.slot_done[i] = true;
                s.slot_file[i].clear();
                continue;
            }
            s.slot_done[i] = false;
            s.slot_file[i] = tempPrefix;
            lastTried = page;
            // A slot keeps its web control, and with it its connection, from one batch to
            // the next; all are unloaded when the run ends.
            WebControl& inet = ctx.Inet2[slot];
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
                        ctx.Inet2.unload(slot);
                break;
            }
            bool finished = true;
            bool handled = false;
            for (int slot = 1; slot <= batch; ++slot) {
                if (!s.slot_done[size_t(slot)] && !ctx.Inet2[slot].StillExecuting()) {
                    s.pp_indexc(slot);
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
                WebSlots::wait_for_any();
        }
    }
    for (int slot = 1; slot <= batch; ++slot)
        ctx.Inet2.unload(slot);
    s.finish(tempPrefix, outputFile, lastTried);
}

void pages_serial(RunContext& ctx, int& pageCount, const QString& baseUrl, int batchSize,
                  const QString& tempPrefix, const QString& outputFile, const QString& name) {
    Q_UNUSED(batchSize);
    PageLoop s(ctx, pageCount, name);
    qint64 lastTried = 0;

    for (qint64 page = 1; page <= s.page_total && !s.pages_failed; ++page) {
        s.batch_first = int(page);
        lastTried = page;
        int retries = 0;
        ctx.Inet1.URL = page_url(baseUrl, page, timer_text());
        const QString file = job_file(tempPrefix, page);
        for (;;) {
            // Emptied first: a failed request must not hand on the page before it.
            write_file(file, fetch_bytes(ctx.Inet1, ctx.Inet1.URL));
            if (checkpdf(file)) {
                ctx.host.setPageProgress(int(page), s.page_total);
                ctx.inf(QStringLiteral("Downloading ") + name + QStringLiteral(" page ") +
                        QString::number(page) + QStringLiteral(" out of ") +
                        QString::number(s.page_total) + QStringLiteral(" pages  "));
                break;
            }
            delete_file(file);
            if (++retries >= kPageTries) {
                ctx.inf(name + QStringLiteral(" Page:") + QString::number(page) +
                        QStringLiteral(" failed"));
                s.pages_failed = true;
                break;
            }
            ctx.inf(name + QStringLiteral(" Page:") + QString::number(page) +
                    QStringLiteral(" retry ") + QString::number(retries));
        }
    }
    s.finish(tempPrefix, outputFile, lastTried);
}

void pages_download(RunContext& ctx, int& pageCount, const QString& baseUrl,
                    const QString& tempPrefix, const QString& outputFile, const QString& name) {
    if (setting_on(QStringLiteral("PARPAGEDESKTOP"), QStringLiteral("1")))
        pages_parallel(ctx, pageCount, baseUrl, 10, tempPrefix, outputFile, name);
    else
        pages_serial(ctx, pageCount, baseUrl, 10, tempPrefix, outputFile, name);
}
