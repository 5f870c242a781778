#!/usr/bin/env bash
# Builds Torvik and runs all its tests.
#
#   ./test.sh [--long] [LABEL]      all tests, or those of one label: unit, property, golden, install,
#                                   equivalence, structure, static, truth, faults, fuzz, mutate, manual, solver,
#                                   tools, workflow; with --long, many more cases in those that try random ones
#   ./test.sh --sanitize [PRESET]   the tests under AddressSanitizer, UndefinedBehaviorSanitizer and
#                                   valgrind; or under one of them: asan, ubsan, valgrind
#
# --sanitize leaves out static, which only reads sources; valgrind runs unit, property and fuzz: the
# others would run the same code for half an hour more, or hang on the program being fast.
#
# Installs what the tests need where it is missing. Ends with the summary; the exit status is zero
# only if all tests passed.
set -euo pipefail
cd "$(dirname "$0")"
. scripts/install.sh

usage() {
    sed -n '4,8s/^# \{0,3\}//p' "$0" >&2
    exit 1
}

presets=
case ${1:-} in
    --long) export TORVIK_LONG=1; shift ;;
    --sanitize)
        presets=${2:-asan ubsan valgrind}
        [[ $# -le 2 && $presets =~ ^(asan ubsan valgrind|asan|ubsan|valgrind)$ ]] || usage
        set -- ;;
esac
labels='unit|property|golden|install|equivalence|structure|static|truth|faults|fuzz|mutate|manual|solver|tools|workflow'
[[ $# -le 1 && ${1:-unit} =~ ^($labels)$ ]] || usage
need "The tests of Torvik" g++=g++ make=make cmake=cmake clang=clang++ clang-format=clang-format \
    libgtest-dev=/usr/include/gtest/gtest.h nlohmann-json3-dev=/usr/include/nlohmann/json.hpp \
    libcli11-dev=/usr/include/CLI/CLI.hpp gemmi-dev=/usr/include/gemmi/math.hpp \
    tao-pegtl-dev=/usr/include/tao/pegtl.hpp libmsgpack-cxx-dev=/usr/include/msgpack.hpp \
    libbenchmark-dev=/usr/include/benchmark/benchmark.h python3=python3 binutils=objdump \
    python3-clang=/usr/lib/python3/dist-packages/clang \
    clang-tidy=clang-tidy cppcheck=cppcheck pandoc=pandoc weasyprint=weasyprint \
    poppler-utils=pdftotext \
    nodejs=node npm=npm chromium=chromium snakemake=snakemake \
    python3-gemmi=/usr/lib/python3/dist-packages/gemmi-examples slurm-wlm=/usr/sbin/slurmctld munge=/usr/sbin/munged

build() {
    cmake --preset "$1" && cmake --build --preset "$1" -j "$(nproc)"
}

# Runs whole executables under valgrind, since it takes long to start. The programs that tests start
# are watched too.
undervalgrind() {
    find build/valgrind/tests -type f -executable -name 'torvik_tests_*' |
        grep -E '_(unit_[a-z]*|property|fuzz)$' |
        GTEST_BRIEF=1 xargs -P "$(nproc)" -n 1 valgrind -q --vgdb=no --trace-children=yes \
            --trace-children-skip='*/sh,*/python*' --error-exitcode=99 --log-file="$reports/%p"
}

# Runs the tests of a build with checks. What any process reports, also one that a test has started,
# is a failure.
sanitize() {
    local reports=$PWD/build/$1/reports status=0
    rm -rf "$reports"
    mkdir "$reports"
    export ASAN_OPTIONS=log_path=$reports/asan
    export UBSAN_OPTIONS=print_stacktrace=1:log_path=$reports/ubsan
    if [ "$1" = valgrind ]; then
        undervalgrind || status=1
    else
        ctest --preset "$1" --no-tests=error -LE static -j "$(nproc)" || status=1
    fi
    if [ -n "$(find "$reports" -type f -size +0)" ]; then
        cat "$reports"/*
        status=1
    fi
    return $status
}

if [ -n "$presets" ]; then
    need "The check of memory" valgrind=valgrind
    for preset in $presets; do
        echo "Building the tests and running them under $preset ..."
        quietly build "$preset"
        quietly sanitize "$preset"
    done
    echo "Nothing was found."
    exit 0
fi

echo "Building Torvik and its tests: some minutes the first time ..."
quietly build tests

log=build/tests/ctest.log
echo "Running the tests ..."
status=0
ctest --preset tests --no-tests=error ${1:+-L "$1"} -j "$(nproc)" >"$log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then
    grep -vE '^ *[0-9]+/[0-9]+ Test .* Passed|^ *Start ' "$log"
else
    sed -n '/tests passed/,$p' "$log"
fi
exit "$status"
