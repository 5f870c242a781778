# Sourced by run.sh and test.sh: installs what is missing, as Debian and Ubuntu packages.

# Installs the packages of the commands and files that are not there.
#   need WHY PACKAGE=PROBE...    a probe is a command, or a file if it holds a slash
# Without the right to install, prints the one line to type and ends.
need() {
    local why=$1 missing=() pair probe
    shift
    for pair in "$@"; do
        probe=${pair#*=}
        case $probe in
            */*) [ -e "$probe" ] || missing+=("${pair%%=*}") ;;
            *) command -v "$probe" >/dev/null || missing+=("${pair%%=*}") ;;
        esac
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local admin=() line="apt-get install -y ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        admin=(sudo)
        command -v sudo >/dev/null && line="sudo $line" || line="su -c '$line'"
        if ! { [[ $line = sudo* ]] && { sudo -n true 2>/dev/null || [ -t 0 ]; }; }; then
            echo "$why needs some packages. Please install them with this line, then try again:" >&2
            echo "    $line" >&2
            exit 1
        fi
    fi
    if ! command -v apt-get >/dev/null; then
        echo "$why needs these packages, or what your system calls them: ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]} ..."
    local log
    log=$(mktemp)
    if ! { "${admin[@]}" apt-get update && "${admin[@]}" env DEBIAN_FRONTEND=noninteractive \
           apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        tail -n 20 "$log" >&2
        echo "The packages could not be installed. $why needs: ${missing[*]}" >&2
        exit 1
    fi
    rm -f "$log"
}

# Runs a command and shows its output only if it fails.
quietly() {
    local log
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
