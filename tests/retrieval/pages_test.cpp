#include "foundation/general.h"
#include "loopback_server.h"
#include "office_fixture.h"
#include "retrieval/pages.h"
#include "settings_fixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <ctime>
#include <map>
#include <set>

namespace {

using Answer = LoopbackServer::Answer;

// A page server: "/page?PG=n" answers page n of a document of `pages` pages, each labelled
// "P<n>"; pages beyond it are an error page. failures[n] tries of page n fail first.
class PageServer {
public:
    enum class Fault { Html, Empty, Dropped, CutOff };

    explicit PageServer(int pages) {
        for (int n = 1; n <= pages; ++n)
            pages_[n] = onePagePdf(QStringLiteral("P%1").arg(n)).toStdString();
        server.on("/page", [this](const LoopbackServer::Request& r) {
            const int n = std::stoi(r.query.count("PG") ? r.query.at("PG") : "0");
            std::lock_guard<std::mutex> lock(mutex_);
            order.push_back(n);
            auto page = pages_.find(n);
            if (page == pages_.end())
                return Answer::text("<HTML><BODY>No such page</BODY></HTML>");
            if (failures[n] > 0) {
                --failures[n];
                switch (fault) {
                case Fault::Html:
                    return Answer::text("<HTML><BODY>Server busy</BODY></HTML>");
                case Fault::Empty:
                    return Answer::bytes("");
                case Fault::Dropped:
                    return Answer::drop();
                case Fault::CutOff:
                    return Answer::bytes(page->second.substr(0, page->second.size() / 2));
                }
            }
            Answer a = Answer::bytes(page->second);
            a.delayMs = delayMs;
            return a;
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

private:
    std::mutex mutex_;
    std::map<int, std::string> pages_;
    std::vector<int> order;
};

using Loop = void (*)(RunContext&, int&, const QString&, int, const QString&, const QString&,
                      const QString&);

class PageLoops : public OfficeTest {
protected:
    QString out() const { return pdf + QStringLiteral("EP1.pdf"); }
    QString prefix() const { return tmp + QStringLiteral("job42_"); }
    // Runs one loop, or without one the loop that the settings choose.
    void run(Loop loop, PageServer& s, int count) {
        if (loop)
            loop(ctx, count, s.base(), 10, prefix(), out(), QStringLiteral("EP1"));
        else
            pages_download(ctx, count, s.base(), prefix(), out(), QStringLiteral("EP1"));
        closeConnections();
    }
    static QStringList labels(int n) {
        QStringList l;
        for (int i = 1; i <= n; ++i)
            l << QStringLiteral("P%1 1").arg(i);
        return l;
    }
};

TEST_F(PageLoops, BatchesOfTenInOrderAndTheSerialLoopMakesTheSameFile) {
    PageServer s(23);
    run(pages_parallel, s, 23);

    EXPECT_EQ(pageLabels(out()), labels(23));
    const std::vector<int> order = s.requested();
    ASSERT_EQ(order.size(), 23u);
    // Batches start at pages 1, 11 and 21, and a batch starts only when the last is done.
    for (int first : {1, 11, 21}) {
        std::set<int> batch;
        for (int n = first; n < first + 10 && n <= 23; ++n)
            batch.insert(n);
        EXPECT_EQ(
            std::set<int>(order.begin() + first - 1, order.begin() + first - 1 + int(batch.size())),
            batch);
    }
    EXPECT_EQ(host.status(), QStringLiteral("Downloading EP1 page 23 out of 23 pages  100% "));
    EXPECT_TRUE(host.statusHistory.contains(
        QStringLiteral("Downloading EP1 page 5 out of 23 pages  21% ")));
    EXPECT_TRUE(files().isEmpty()) << files().join(' ').toStdString();
    for (int slot = 1; slot <= 10; ++slot)
        EXPECT_FALSE(ctx.Inet2.loaded(slot)) << slot;
    for (const auto& t : s.server.targets())
        EXPECT_NE(t.find("&PROXY="), std::string::npos) << t;

    const QByteArray parallel = read_file(out());
    QFile::remove(out());
    run(pages_serial, s, 23);
    EXPECT_EQ(read_file(out()), parallel);
    EXPECT_EQ(host.status(), QStringLiteral("Downloading EP1 page 23 out of 23 pages  "));
    EXPECT_TRUE(files().isEmpty());
}

// A page is tried ten times: nine bad answers of any kind still deliver it, ten throw the
// whole document away, with the job files and an output file of an earlier attempt. The
// network layer may resend a dropped request once by itself, so closed connections are
// counted in the status texts, not at the server.
TEST_F(PageLoops, TenTriesPerPageWholeOrNothing) {
    struct Case {
        const char* name;
        PageServer::Fault fault;
        int delivered, lost; // failures that still deliver the page, and that don't
    } faults[] = {{"html", PageServer::Fault::Html, 9, 10},
                  {"empty", PageServer::Fault::Empty, 9, 10},
                  {"cut off", PageServer::Fault::CutOff, 9, 10},
                  {"closed", PageServer::Fault::Dropped, 3, 1000}};
    const std::pair<const char*, Loop> loops[] = {{"parallel", pages_parallel},
                                                  {"serial", pages_serial}};
    for (const auto& [loopName, loop] : loops) {
        for (const Case& c : faults) {
            for (int failures : {c.delivered, c.lost}) {
                SCOPED_TRACE(std::string(loopName) + " " + c.name + " " + std::to_string(failures));
                PageServer s(3);
                s.fault = c.fault;
                s.failures[2] = failures;
                write_file(out(), "an earlier attempt");
                host.statusHistory.clear();
                run(loop, s, 3);
                const bool dropped = c.fault == PageServer::Fault::Dropped;
                if (failures == c.delivered) {
                    EXPECT_EQ(pageLabels(out()), labels(3));
                    EXPECT_TRUE(host.statusHistory.contains(
                        QStringLiteral("EP1 Page:2 retry %1").arg(dropped ? 1 : 9)));
                } else {
                    EXPECT_FALSE(QFile::exists(out()));
                    EXPECT_TRUE(host.statusHistory.contains(QStringLiteral("EP1 Page:2 failed")));
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

TEST_F(PageLoops, AbsurdPageCountsEndQuicklyWithNothing) {
    for (int count : {0, -1, 1000000000}) {
        SCOPED_TRACE(count);
        PageServer s(3);
        QElapsedTimer t;
        t.start();
        run(pages_parallel, s, count);
        run(pages_serial, s, count);
        EXPECT_LT(t.elapsed(), 20000);
        EXPECT_FALSE(QFile::exists(out()));
        EXPECT_TRUE(files().isEmpty());
        // The first batch that can't be had ends it: pages 4 to 10 in parallel, 4 in serial.
        EXPECT_LE(s.requested().size(), count > 0 ? size_t(3 + 7 * 10 + 3 + 10) : 0u);
    }
}

double processSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// The processor time of one second in the middle of the wait, while all ten requests are
// in flight, is read by timers that the waiting loop itself runs.
TEST_F(PageLoops, WaitingForSlowPagesSleeps) {
    PageServer s(10);
    s.delayMs = 1800;
    double from = -1, to = -1;
    QTimer::singleShot(400, [&] { from = processSeconds(); });
    QTimer::singleShot(1400, [&] { to = processSeconds(); });
    QElapsedTimer wall;
    wall.start();
    run(pages_parallel, s, 10);
    EXPECT_EQ(pageLabels(out()).size(), 10);
    EXPECT_LT(wall.elapsed(), 5000) << "the ten requests did not run side by side";
    ASSERT_GE(from, 0);
    ASSERT_GE(to, 0);
    EXPECT_LT(to - from, 0.03) << to - from << " s of processor time in one second of waiting";
}

TEST_F(PageLoops, ParPageDesktopChoosesTheLoopByItsFirstCharacter) {
    const std::pair<const char*, bool> cases[] = {
        {"1", true}, {"10", true}, {" 1 ", true}, {"0", false}, {"", false}};
    for (const auto& [value, parallel] : cases) {
        SCOPED_TRACE(value);
        set_settings({{QStringLiteral("PARPAGEDESKTOP"), QString::fromLatin1(value)}});
        PageServer s(2);
        run(nullptr, s, 2);
        EXPECT_EQ(pageLabels(out()).size(), 2);
        EXPECT_EQ(host.status(),
                  parallel ? QStringLiteral("Downloading EP1 page 2 out of 2 pages  100% ")
                           : QStringLiteral("Downloading EP1 page 2 out of 2 pages  "));
        QFile::remove(out());
    }
}

} // namespace
