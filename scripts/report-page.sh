#!/usr/bin/env bash
# Builds the page that torvik-tools report fills with a crystal.
#
#   scripts/report-page.sh FILE     leaves it as FILE
#
# Needs Node.js 18 or newer and npm. The libraries are taken from npm, as the lock file of web/ has
# them, and kept in build/web for the next time.
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -eq 1 ] || { sed -n '4p' "$0" >&2; exit 1; }
output=$(realpath -m "$1")
command -v npm >/dev/null && [ "$(node -p 'process.versions.node.split(".")[0] >= 18')" = true ] || {
    echo "The page of the report needs Node.js 18 or newer, and npm." >&2
    exit 1
}

place=build/web
mkdir -p "$place"
exec 9>"$place/lock" # builds may run at the same time
flock 9
wanted=$(cat web/package.json web/package-lock.json | sha256sum)
if [ "$(cat "$place/installed" 2>/dev/null)" != "$wanted" ]; then
    rm -f "$place/installed"
    cp web/package.json web/package-lock.json web/.npmrc "$place"
    # No script of a package is run. Without a network it is known soon.
    (cd "$place" && npm ci --ignore-scripts --prefer-offline --fetch-retries=1 \
        --fetch-retry-mintimeout=1000 --fetch-retry-maxtimeout=2000 --loglevel=error >&2)
    echo "$wanted" >"$place/installed"
fi
cp -R web/index.html web/style.css web/build.mjs web/src "$place"
node "$place/build.mjs" "$output"
