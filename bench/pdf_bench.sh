#!/usr/bin/env bash
# The PDF toolkit's benchmarks: joining against pdfunite, tif_to_pdf against tiff2pdf and
# AddBookmark against plain reading and writing, printed as ratios measured in this run.
# Exits non-zero when a target is missed. $1 is the benchmark build folder.
set -euo pipefail
build="${1:?usage: pdf_bench.sh <build folder>}"
bin="$build/pdf_bench"
[ -x "$bin" ] || { echo "pdf_bench.sh: $bin is missing" >&2; exit 1; }
for tool in pdfunite tiff2pdf tiffcp; do
    command -v "$tool" >/dev/null || { echo "pdf_bench.sh: $tool is needed" >&2; exit 1; }
done
# The inputs (100 generated pages, 500 files to join, joined 2,000- and 4,000-page PDFs)
# are made once and kept in the build folder.
work="$(cd "$build" && pwd)/pdf_bench_inputs"
status=0
"$bin" run "$work" || status=$?
echo
echo "Single operations (Google Benchmark):"
"$bin" micro "$work" --benchmark_min_time=0.2 2>/dev/null | grep -E '^(BM_|-|Benchmark)' || true
exit "$status"
