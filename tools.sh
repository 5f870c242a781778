#!/usr/bin/env bash
# Builds torvik-tools, and Torvik for it to run, and calls it.
#
#   ./tools.sh COMMAND ...     ./tools.sh --help tells of the commands
#
# Installs what it needs where it is missing.
set -euo pipefail
root=$(cd "$(dirname "$0")" && pwd)
. "$root/scripts/install.sh"

need "torvik-tools" g++=c++ make=make cmake=cmake libcli11-dev=/usr/include/CLI/CLI.hpp \
    gemmi-dev=/usr/include/gemmi/math.hpp tao-pegtl-dev=/usr/include/tao/pegtl.hpp \
    nlohmann-json3-dev=/usr/include/nlohmann/json.hpp libmsgpack-cxx-dev=/usr/include/msgpack.hpp

build() (
    cd "$root" && cmake --preset tools && cmake --build --preset tools -j "$(nproc)"
)
[ -x "$root/build/torvik-tools" ] || echo "Building torvik-tools: two minutes the first time ..." >&2
quietly build
exec "$root/build/torvik-tools" "$@"
