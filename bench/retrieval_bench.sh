#!/usr/bin/env bash
# The page download's benchmarks against the office simulator with 50 ms of latency on every
# answer: pages_parallel against its latency bound and against pages_serial, and the peak
# memory of a 500-page document. Exits non-zero when a target is missed.
# $1 is the benchmark build folder.
set -euo pipefail
build="${1:?usage: retrieval_bench.sh <build folder>}"
bin="$build/retrieval_bench"
[ -x "$bin" ] || { echo "retrieval_bench.sh: $bin is missing" >&2; exit 1; }
# The sample documents (40 and 500 pages) are made once and kept in the build folder.
work="$(cd "$build" && pwd)/retrieval_bench_work"
mkdir -p "$work"
status=0
"$bin" run "$work" || status=$?
echo
echo "Work done for each page (Google Benchmark):"
"$bin" micro --benchmark_min_time=0.2 2>/dev/null | grep -E '^(BM_|-|Benchmark)' || true
exit "$status"
