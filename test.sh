#!/usr/bin/env bash
# Builds Torvik and runs all its tests.
#
#   ./test.sh [LABEL]       all tests, or those of one label: unit, property, golden, structure,
#                           static, truth, faults
#
# Installs what the tests need where it is missing. Ends with the summary; the exit status is zero
# only if all tests passed.
set -euo pipefail
cd "$(dirname "$0")"
. scripts/install.sh

if [ $# -gt 1 ]; then
    echo "Please give one label at most: ./test.sh [unit|property|golden|structure|static|truth|faults]" >&2
    exit 1
fi
need "The tests of Torvik" g++=g++ make=make cmake=cmake clang=clang++ clang-format=clang-format \
    libgtest-dev=/usr/include/gtest/gtest.h nlohmann-json3-dev=/usr/include/nlohmann/json.hpp \
    python3=python3 binutils=objdump clang-tidy=clang-tidy cppcheck=cppcheck

build() {
    cmake --preset tests && cmake --build --preset tests -j "$(nproc)"
}
echo "Building Torvik and its tests ..."
quietly build

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
