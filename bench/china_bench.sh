#!/usr/bin/env bash
# The Chinese retriever's benchmark against the office simulator with 50 ms of latency on
# every answer: a 20-page document of TIFF pages against its page fetches and converter runs
# measured alone. Exits non-zero when the target is missed.
# $1 is the benchmark build folder.
set -euo pipefail
build="${1:?usage: china_bench.sh <build folder>}"
bin="$build/china_bench"
[ -x "$bin" ] || { echo "china_bench.sh: $bin is missing" >&2; exit 1; }
work="$(cd "$build" && pwd)/china_bench_work"
mkdir -p "$work"
echo
"$bin" run "$work"
