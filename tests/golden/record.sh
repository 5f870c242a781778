#!/usr/bin/env bash
# Records anew what a golden case is expected to write.
#
#   tests/golden/record.sh CASE [PROGRAM]     by default with build/Torvik
#
# Runs the program on a copy of CASE/input, as golden_test.cpp does, and rewrites CASE/expected:
# the files that the run leaves, and "stdout". Dates, timing figures and the drawing of the banner
# are masked. A recorded output proves nothing by itself: read it before it is kept.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
case=$here/$(basename "${1:?which case?}")
program=$(realpath "${2:-$here/../../build/Torvik}")
[ -f "$case/why.txt" ] || { echo "$case is no golden case" >&2; exit 1; }

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/run" "$folder/left"
[ -d "$case/input" ] && cp -R "$case/input/." "$folder/run/"
if [ -f "$case/stdin" ]; then cp "$case/stdin" "$folder/stdin"; else echo > "$folder/stdin"; fi
mapfile -t arguments < "$case/arguments"

status=0
(cd "$folder/run" && "$program" "${arguments[@]}" < "$folder/stdin" > "$folder/left/stdout" \
    2> /dev/null) || status=$?
[ "$status" = 0 ] || { echo "exit status $status" >&2; exit 1; }
(cd "$folder/run" && find . -type f) | while IFS= read -r file; do
    [ -e "$case/input/$file" ] && continue
    mkdir -p "$folder/left/$(dirname "$file")"
    cp "$folder/run/$file" "$folder/left/$file"
done

# The masks of masked() in tests/support/runs.cpp.
digit='[0-9]'
find "$folder/left" -type f -exec sed -E -i \
    -e "s/^ Date : $digit{4}\\.$digit$digit\\.$digit$digit {20}Time : $digit$digit:$digit$digit:$digit$digit\\.$digit{3}\$/ Date : <date>/" \
    -e 's/^ (System time|CPU time   ) :               [ 0-9.*-]{8} seconds$/ \1 : <8 columns> seconds/' \
    -e 's/^ (System time|CPU time   ) :               [ 0-9.*-]{13} seconds$/ \1 : <13 columns> seconds/' {} +
# The drawing of the banner is free.
if sed -n 17p "$folder/left/stdout" | grep -q 'v\.1\.0$'; then
    sed -i '12,16s/.*/<logo>/' "$folder/left/stdout"
fi

rm -rf "$case/expected"
cp -R "$folder/left" "$case/expected"
