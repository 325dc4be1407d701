#include "foundation/general.h"
#include "office_fixture.h"
#include "retrieval/pages.h"
#include "settings_fixture.h"

#include <QFile>
#include <QTimer>

#include <chrono>
#include <ctime>
#include <set>

namespace {

using Loop = void (*)(RunContext&, int&, const QString&, int, const QString&, const QString&,
                      const QString&);
using Clock = std::chrono::steady_clock;

// The page loops against the lookup server's page script, which hands out each page of a
// sample document as a one-page PDF ("<id> <page>") and an error page past its end.
class PageLoops : public OfficeTest {
protected:
    QString out() const { return pdf + "EP1.pdf"; }
    // A document of the lookup server; its page address up to the page number.
    QString document(const QString& id, int pages) {
        make_sample_pdf(samples + "/lookup/" + id + ".pdf", id, pages, 500);
        return "http://" + sim->host("CompanyLookupHost") + "/bns.asp?ID=" + id + "&PG=";
    }
    // Runs one loop, or without one the loop that the settings choose.
    void run(Loop loop, const QString& base, int count) {
        // As in an order, where the preamble sets it: an answer lost on a loaded machine ends
        // the request instead of holding the loop for ever.
        ctx.Inet1.RequestTimeout = 30;
        if (loop)
            loop(ctx, count, base, 10, tmp + "job42_", out(), "EP1");
        else
            pages_download(ctx, count, base, tmp + "job42_", out(), "EP1");
        closeConnections();
    }
    // The pages of a document that were asked for, in the order the requests arrived.
    std::vector<int> requested(const std::string& id) const {
        std::vector<int> pages;
        for (const std::string& t : sim->requests("CompanyLookupHost"))
            if (t.find("ID=" + id + "&PG=") != std::string::npos)
                pages.push_back(std::stoi(t.substr(t.find("&PG=") + 4)));
        return pages;
    }
};

// Batches of ten, each started when the one before is done, every address with its time
// stamp; the page slots are let go at the end. The serial loop makes the same file.
TEST_F(PageLoops, BatchesOfTenInOrderAndTheSerialLoopMakesTheSameFile) {
    startSimulator();
    const QString base = document("EP1000023", 23);
    run(pages_parallel, base, 23);
    const QStringList labels = pageLabels(out());
    ASSERT_EQ(labels.size(), 23);
    for (int n = 1; n <= 23; ++n)
        EXPECT_EQ(labels[n - 1], QString("EP1000023 %1").arg(n));
    const std::vector<int> order = requested("EP1000023");
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
    for (const auto& t : sim->requests("CompanyLookupHost"))
        EXPECT_NE(t.find("&PROXY="), std::string::npos) << t;

    const QByteArray parallel = read_file(out());
    QFile::remove(out());
    run(pages_serial, base, 23);
    EXPECT_EQ(read_file(out()), parallel);
    EXPECT_TRUE(files().isEmpty());
}

// A page is tried ten times: nine bad answers still deliver it, ten throw the whole document
// away, with the job files and an output file of an earlier attempt. The network layer may
// resend a dropped request once by itself, so closed connections are counted in the status
// texts, not at the server. Counts that can't be had end at the first batch that fails:
// pages 4 to 10 in parallel, 4 in serial.
TEST_F(PageLoops, WholeOrNothing) {
    startSimulator();
    int documents = 0;
    for (Loop loop : {pages_parallel, pages_serial}) {
        for (const auto& [drop, delivered, lost] : {std::tuple{false, 9, 10}, {true, 3, 1000}}) {
            for (int failures : {delivered, lost}) {
                SCOPED_TRACE(testing::Message() << (loop == pages_serial) << drop << failures);
                sim->options().pageFailures = failures;
                sim->options().dropPages = drop;
                // A document of its own: the server counts the failures of each page.
                const std::string id = "EP20000" + std::to_string(++documents);
                const QString base = document(QString::fromStdString(id), 3);
                write_file(out(), "an earlier attempt");
                host.statusHistory.clear();
                run(loop, base, 3);
                const bool whole = failures == delivered;
                EXPECT_EQ(pageLabels(out()).size(), whole ? 3 : 0);
                EXPECT_EQ(QFile::exists(out()), whole);
                if (drop && whole) {
                    EXPECT_TRUE(host.statusHistory.contains("EP1 Page:1 retry 1"));
                }
                if (!drop) { // the page asked most often was asked ten times
                    const auto order = requested(id);
                    int most = 0;
                    for (int page = 1; page <= 3; ++page)
                        most = std::max<int>(most, std::count(order.begin(), order.end(), page));
                    EXPECT_EQ(most, 10);
                }
                EXPECT_TRUE(files().isEmpty()) << files().join(' ').toStdString();
                QFile::remove(out());
            }
        }
    }
    sim->options().pageFailures = 0;
    const QString base = document("EP1000003", 3);
    for (int count : {0, -1, 1000000000}) {
        SCOPED_TRACE(count);
        const size_t before = requested("EP1000003").size();
        run(pages_parallel, base, count);
        run(pages_serial, base, count);
        EXPECT_FALSE(QFile::exists(out()));
        EXPECT_TRUE(files().isEmpty());
        EXPECT_LE(requested("EP1000003").size() - before,
                  count > 0 ? size_t(3 + 7 * 10 + 3 + 10) : 0u);
    }
}

double processSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// PARPAGEDESKTOP chooses the parallel loop by its first character. Ten slow pages are in
// flight together (all ten arrive before the first is answered), and the wait for them
// sleeps: the processor time of one second in the middle of it is read by timers that the
// waiting loop itself runs.
TEST_F(PageLoops, TenRequestsSideBySideAndTheWaitSleeps) {
    startSimulator();
    const QString base = document("EP1000010", 10);
    std::vector<Clock::time_point> arrivals;
    std::mutex mutex;
    sim->set_observer([&](const QString&, const std::string&) {
        std::lock_guard<std::mutex> lock(mutex);
        arrivals.push_back(Clock::now());
    });
    // How long the arrivals of one run took from the first to the last.
    auto spread = [&](int latencyMs, const QString& setting) {
        sim->options().latencyMs = latencyMs;
        set_settings({{"PARPAGEDESKTOP", setting}});
        arrivals.clear();
        QFile::remove(out());
        run(nullptr, base, 10);
        EXPECT_EQ(pageLabels(out()).size(), 10);
        std::lock_guard<std::mutex> lock(mutex);
        return arrivals.size() == 10 ? arrivals.back() - arrivals.front() : Clock::duration::max();
    };
    // Serial, the arrivals are at least nine answers apart.
    for (const auto& [value, parallel] : {std::pair{"0", false}, {"10", true}, {" 1 ", true}}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(spread(150, value) < std::chrono::milliseconds(750), parallel);
    }
    double from = -1, to = -1;
    QTimer::singleShot(400, [&] { from = processSeconds(); });
    QTimer::singleShot(1400, [&] { to = processSeconds(); });
    EXPECT_LT(spread(1800, "1"), std::chrono::milliseconds(1800));
    ASSERT_GE(from, 0);
    ASSERT_GE(to, 0);
    EXPECT_LT(to - from, 0.03) << to - from << " s of processor time in one second of waiting";
}

} // namespace
