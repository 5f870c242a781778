#!/usr/bin/env bash
# Runs Torvik on an input file, or solves a measurement; builds what it needs.
#
#   ./run.sh [FILE.idx]         runs Torvik, by default on the first of the examples
#   ./run.sh FILE [OPTION ...]  finds the lattice of any other measurement: the same as
#                               ./tools.sh solve FILE [OPTION ...]
#
# Needs a C++20 compiler and CMake, and installs them where they are missing.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/install.sh"

# A name may lack the ending of an input file: Torvik adds it.
if [ $# -gt 0 ] && [[ $1 != -* && ${1,,} != *.idx && ! -e $1.idx ]]; then
    exec "$root/tools.sh" solve "$@"
fi
if [ $# -gt 1 ] || [[ ${1:-} = -* ]]; then
    echo "Please give one input file, or none for an example: ./run.sh [FILE]" >&2
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
