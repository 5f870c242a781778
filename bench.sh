#!/usr/bin/env bash
# Measures how fast Torvik is, against the plain procedures that say what it computes, and prints
# the tables of docs/performance.md.
#
#   ./bench.sh          the short form: some five minutes
#   ./bench.sh --all    all sizes: an hour or more, nearly all of it the plain procedures'
#   ./bench.sh solve    the solver instead, in units of a run of Torvik; a number behind it: lists
#                       of each kind, 60 if left out
#
# Further options go to Google Benchmark: --benchmark_filter=run measures the whole runs only,
# --benchmark_filter=stage/ranking the ranking.
#
# Installs what it needs where it is missing. The exit status is 1 if any result of the two differs.
set -euo pipefail
cd "$(dirname "$0")"
. scripts/install.sh

need "The benchmark of Torvik" g++=g++ make=make cmake=cmake \
    libgtest-dev=/usr/include/gtest/gtest.h nlohmann-json3-dev=/usr/include/nlohmann/json.hpp \
    libbenchmark-dev=/usr/include/benchmark/benchmark.h libcli11-dev=/usr/include/CLI/CLI.hpp \
    gemmi-dev=/usr/include/gemmi/math.hpp tao-pegtl-dev=/usr/include/tao/pegtl.hpp \
    libmsgpack-cxx-dev=/usr/include/msgpack.hpp

program=torvik_bench
if [ "${1:-}" = solve ]; then
    program=torvik_solvebench
    shift
fi
build() {
    cmake --preset bench && cmake --build build/bench --target "$program" -j "$(nproc)"
}
echo "Building the benchmark ..." >&2
quietly build
exec "build/bench/bench/$program" "$@"
