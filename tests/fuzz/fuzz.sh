#!/usr/bin/env bash
# Builds a fuzzer and runs it, beginning with the kept inputs.
#
#   tests/fuzz/fuzz.sh KIND [SECONDS]             default: 60 seconds
#   tests/fuzz/fuzz.sh KIND EXECUTIONSx           for example 1000000x
#   tests/fuzz/fuzz.sh coverage                   lines of the program that the kept inputs reach
#
# KIND is reader or run, of the program; or a format that torvik-tools imports: idx, text, angles, p4p,
# gve, peaks (.integrate as well), xds, dials; or results, lepage, known (cells), truth (.truth.json),
# cif, survey (the cells of which are surveyed as well).
#
# The last lines say how often each outcome came. New inputs gather in build/fuzz/new. What the
# program must not do stops the fuzzer and leaves its input in build/fuzz/found: mend it, and copy
# the input to tests/fuzz/corpus, where it is replayed by ./test.sh. To take new inputs over that
# reach more: build/fuzz/tests/fuzz/torvik_fuzz_run -set_cover_merge=1 KEPT NEW, folders from / on.
set -euo pipefail
cd "$(dirname "$0")/../.."
. scripts/install.sh

kind=${1:-}
amount=${2:-60}
here=$PWD/tests/fuzz
work=$PWD/build/fuzz
formats='idx|text|angles|p4p|gve|peaks|xds|dials|results|lepage|known|truth|cif|survey'
if [[ ! $kind =~ ^(reader|run|coverage|$formats)$ || ! $amount =~ ^[0-9]+x?$ ]]; then
    sed -n '4,10p' "$0" >&2
    exit 1
fi
fuzzer=$kind
kept=$here/corpus/$kind
words=$here/idx.dict
longest=800
if [[ $kind =~ ^($formats)$ ]]; then
    fuzzer=import
    kept=$here/corpus/import/$kind
    words=$here/import.dict
    export TORVIK_FUZZ_FORMAT=$kind
fi
[ "$kind" != results ] || longest=3000 # one solution takes 1200 bytes
need "The fuzzer" g++=g++ make=make cmake=cmake clang=clang++ gcovr=gcovr \
    libgtest-dev=/usr/include/gtest/gtest.h nlohmann-json3-dev=/usr/include/nlohmann/json.hpp \
    libcli11-dev=/usr/include/CLI/CLI.hpp gemmi-dev=/usr/include/gemmi/math.hpp \
    libmsgpack-cxx-dev=/usr/include/msgpack.hpp

# Replays the kept inputs in a build with counters of lines.
coverage() {
    local build=build/fuzz/coverage
    quietly cmake -S . -B $build -DCMAKE_BUILD_TYPE=Debug -DTORVIK_TESTS=ON -DTORVIK_COVERAGE=ON
    quietly cmake --build $build -j "$(nproc)" --target torvik_tests_fuzz
    for kind in Read Ends; do
        find $build -name '*.gcda' -delete
        quietly $build/tests/fuzz/torvik_tests_fuzz --gtest_filter="HostileInput.*$kind*"
        gcovr --root . --filter src/ --exclude-unreachable-branches $build
    done
}

build() {
    cmake --preset fuzz && cmake --build --preset fuzz -j "$(nproc)"
}

if [ "$kind" = coverage ]; then
    coverage
    exit 0
fi
echo "Building the fuzzer ..."
quietly build
mkdir -p "$work/new/$kind" "$work/found"
case $amount in
    *x) limit=-runs=${amount%x} ;;
    *) limit=-max_total_time=$amount ;;
esac
ASAN_OPTIONS=quarantine_size_mb=16 exec "$work/tests/fuzz/torvik_fuzz_$fuzzer" "$limit" \
    -dict="$words" -max_len="$longest" -timeout=120 -print_final_stats=1 \
    -artifact_prefix="$work/found/" "$work/new/$kind" "$kept"
