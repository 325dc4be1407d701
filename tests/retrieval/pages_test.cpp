#include "foundation/general.h"
#include "loopback_server.h"
#include "office_fixture.h"
#include "retrieval/pages.h"
#include "settings_fixture.h"

#include <QFile>
#include <QTimer>

#include <ctime>
#include <map>
#include <set>

namespace {

using Answer = LoopbackServer::Answer;

// A page server: "/page?PG=n" answers page n of a document of `pages` pages, each labelled
// "P<n>"; pages beyond it are an error page. failures[n] tries of page n fail first. It
// notes the order of the requests and how many were in flight at most.
class PageServer {
public:
    enum class Fault { Html, Empty, Dropped, CutOff };

    explicit PageServer(int pages) {
        for (int n = 1; n <= pages; ++n)
            pages_[n] = onePagePdf(QString("P%1").arg(n)).toStdString();
        server.on("/page", [this](const LoopbackServer::Request& r) {
            const int n = std::stoi(r.query.count("PG") ? r.query.at("PG") : "0");
            std::unique_lock<std::mutex> lock(mutex_);
            order.push_back(n);
            auto page = pages_.find(n);
            if (page == pages_.end())
                return Answer::text("<HTML><BODY>No such page</BODY></HTML>");
            if (failures[n] > 0) {
                --failures[n];
                const std::string& pdf = page->second;
                return fault == Fault::Html     ? Answer::text("<HTML><BODY>Busy</BODY></HTML>")
                       : fault == Fault::Empty  ? Answer::bytes("")
                       : fault == Fault::CutOff ? Answer::bytes(pdf.substr(0, pdf.size() / 2))
                                                : Answer::drop();
            }
            maxInFlight = std::max(maxInFlight, ++inFlight);
            lock.unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
            lock.lock();
            --inFlight;
            return Answer::bytes(page->second);
        });
    }
    QString base() const { return server.url("/page?ID=X&PG="); }
    std::vector<int> requested() {
        std::lock_guard<std::mutex> lock(mutex_);
        return order;
    }

    LoopbackServer server;
    std::map<int, int> failures;
    Fault fault = Fault::Html;
    int delayMs = 0;
    int inFlight = 0, maxInFlight = 0;

private:
    std::mutex mutex_;
    std::map<int, std::string> pages_;
    std::vector<int> order;
};

using Loop = void (*)(RunContext&, int&, const QString&, int, const QString&, const QString&,
                      const QString&);

class PageLoops : public OfficeTest {
protected:
    QString out() const { return pdf + "EP1.pdf"; }
    // Runs one loop, or without one the loop that the settings choose.
    void run(Loop loop, PageServer& s, int count) {
        // As in an order, where the preamble sets it: an answer lost on a loaded machine ends
        // the request instead of holding the loop for ever.
        ctx.Inet1.RequestTimeout = 30;
        if (loop)
            loop(ctx, count, s.base(), 10, tmp + "job42_", out(), "EP1");
        else
            pages_download(ctx, count, s.base(), tmp + "job42_", out(), "EP1");
        closeConnections();
    }
    static QStringList labels(int n) {
        QStringList l;
        for (int i = 1; i <= n; ++i)
            l << QString("P%1 1").arg(i);
        return l;
    }
};

// Batches of ten, each started when the one before is done, every address with its time
// stamp; the page slots are let go at the end. The serial loop makes the same file.
TEST_F(PageLoops, BatchesOfTenInOrderAndTheSerialLoopMakesTheSameFile) {
    PageServer s(23);
    run(pages_parallel, s, 23);
    EXPECT_EQ(pageLabels(out()), labels(23));
    const std::vector<int> order = s.requested();
    ASSERT_EQ(order.size(), 23u);
    for (int first : {1, 11, 21}) {
        std::set<int> batch, expected;
        for (int n = first; n < first + 10 && n <= 23; ++n) {
            batch.insert(order[size_t(n - 1)]);
            expected.insert(n);
        }
        EXPECT_EQ(batch, expected);
    }
    EXPECT_TRUE(files().isEmpty()) << files().join(' ').toStdString();
    for (int slot = 1; slot <= 10; ++slot)
        EXPECT_FALSE(ctx.Inet2.loaded(slot)) << slot;
    for (const auto& t : s.server.targets())
        EXPECT_NE(t.find("&PROXY="), std::string::npos) << t;

    const QByteArray parallel = read_file(out());
    QFile::remove(out());
    run(pages_serial, s, 23);
    EXPECT_EQ(read_file(out()), parallel);
    EXPECT_TRUE(files().isEmpty());
}

// A page is tried ten times: nine bad answers of any kind still deliver it, ten throw the
// whole document away, with the job files and an output file of an earlier attempt. The
// network layer may resend a dropped request once by itself, so closed connections are
// counted in the status texts, not at the server.
TEST_F(PageLoops, TenTriesPerPageWholeOrNothing) {
    const std::tuple<PageServer::Fault, int, int> faults[] = {
        // The fault, failures that still deliver the page, and failures that don't.
        {PageServer::Fault::Html, 9, 10},
        {PageServer::Fault::Empty, 9, 10},
        {PageServer::Fault::CutOff, 9, 10},
        {PageServer::Fault::Dropped, 3, 1000}};
    for (Loop loop : {pages_parallel, pages_serial}) {
        for (const auto& [fault, delivered, lost] : faults) {
            for (int failures : {delivered, lost}) {
                SCOPED_TRACE(std::to_string(loop == pages_serial) + " " +
                             std::to_string(int(fault)) + " " + std::to_string(failures));
                PageServer s(3);
                s.fault = fault;
                s.failures[2] = failures;
                write_file(out(), "an earlier attempt");
                host.statusHistory.clear();
                run(loop, s, 3);
                const bool dropped = fault == PageServer::Fault::Dropped;
                EXPECT_EQ(pageLabels(out()), failures == delivered ? labels(3) : QStringList());
                EXPECT_EQ(QFile::exists(out()), failures == delivered);
                if (dropped && failures == delivered) {
                    EXPECT_TRUE(host.statusHistory.contains("EP1 Page:2 retry 1"));
                }
                EXPECT_TRUE(files().isEmpty()) << files().join(' ').toStdString();
                const auto order = s.requested();
                if (!dropped) {
                    EXPECT_EQ(std::count(order.begin(), order.end(), 2), 10);
                }
                QFile::remove(out());
            }
        }
    }
}

// Counts that can't be had end at the first batch that fails: pages 4 to 10 in parallel, 4 in
// serial.
TEST_F(PageLoops, AbsurdPageCountsEndWithNothing) {
    for (int count : {0, -1, 1000000000}) {
        SCOPED_TRACE(count);
        PageServer s(3);
        run(pages_parallel, s, count);
        run(pages_serial, s, count);
        EXPECT_FALSE(QFile::exists(out()));
        EXPECT_TRUE(files().isEmpty());
        EXPECT_LE(s.requested().size(), count > 0 ? size_t(3 + 7 * 10 + 3 + 10) : 0u);
    }
}

double processSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// Ten slow pages are in flight together, and the wait for them sleeps: the processor time
// of one second in the middle of it is read by timers that the waiting loop itself runs.
// PARPAGEDESKTOP chooses the parallel loop by its first character.
TEST_F(PageLoops, TenRequestsSideBySideAndTheWaitSleeps) {
    PageServer s(10);
    s.delayMs = 1800;
    double from = -1, to = -1;
    QTimer::singleShot(400, [&] { from = processSeconds(); });
    QTimer::singleShot(1400, [&] { to = processSeconds(); });
    run(nullptr, s, 10);
    EXPECT_EQ(pageLabels(out()).size(), 10);
    EXPECT_EQ(s.maxInFlight, 10);
    ASSERT_GE(from, 0);
    ASSERT_GE(to, 0);
    EXPECT_LT(to - from, 0.03) << to - from << " s of processor time in one second of waiting";

    s.delayMs = 100;
    for (const auto& [value, parallel] : {std::pair{"10", true}, {" 1 ", true}, {"0", false}}) {
        SCOPED_TRACE(value);
        set_settings({{"PARPAGEDESKTOP", value}});
        s.maxInFlight = 0;
        QFile::remove(out());
        run(nullptr, s, 10);
        EXPECT_EQ(pageLabels(out()).size(), 10);
        EXPECT_EQ(s.maxInFlight > 1, parallel);
    }
}

} // namespace
