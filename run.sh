#!/usr/bin/env bash
# Builds Torvik and runs it on an input file.
#
#   ./run.sh [FILE.idx]     by default on the first of the examples
#
# Needs a C++20 compiler and CMake, and installs them where they are missing.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/install.sh"

if [ $# -gt 1 ] || [[ ${1:-} = -* ]]; then
    echo "Please give one input file, or none for an example: ./run.sh [FILE.idx]" >&2
    exit 1
fi
need "Torvik" g++=c++ make=make cmake=cmake

build() (
    cd "$root" && cmake --preset default && cmake --build --preset default -j "$(nproc)"
)
[ -x "$root/build/Torvik" ] || echo "Building Torvik: a minute the first time ..."
quietly build

examples=("$root"/examples/*.idx)
input=${1:-${examples[0]}}
start=$(mktemp)
trap 'rm -f "$start"' EXIT
"$root/build/Torvik" "$input"

# Show the header and the first solution of the results, if this run wrote any.
results=${input%.idx}_idx.res
if [ "$results" -nt "$start" ]; then
    sed -n '/Solution nr   2 /q; p' "$results" | sed '$d'
    echo " All solutions are in $results"
elif [ ! "${input%.idx}_periodogram.res" -nt "$start" ]; then
    echo "No results were written." >&2
    exit 1
fi
