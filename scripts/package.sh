#!/usr/bin/env bash
# Makes the packages of Torvik, and tries them.
#
#   scripts/package.sh            makes them, in build/packages: for Debian; for any Linux on x86-64 and
#                                 on 64-bit Arm; for Windows
#   scripts/package.sh --check    makes them, then runs each where it is meant to run, on all examples
#                                 and kept cases: all have to write the same bytes; and compares the
#                                 answers of the solver on these processors. Takes minutes
#
# Installs what it needs where it is missing. The Debian package is for the release of this machine.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install.sh
packages=$PWD/build/packages

usage() {
    sed -n '4,8p' "$0" >&2
    exit 1
}

# Gives what is made of a build, without the letters that depend on the version.
made() {
    find "$packages" -maxdepth 1 -name "torvik*$1"
}

# Builds a preset and packs it.
package() {
    local preset=$1 folder=$2 kind=$3
    cmake --preset "$preset" && cmake --build --preset "$preset" -j "$(nproc)" || return 1
    if [ "$folder" != build ] && [ -d build/manual ]; then
        mkdir -p "$folder/manual"
        find build/manual -maxdepth 1 -name 'Torvik.*' -exec cp {} "$folder/manual" \;
    fi
    (cd "$folder" && cpack -G "$kind" -B "$packages") || return 1
    rm -rf "$packages/_CPack_Packages"
}

manual() {
    if cmake --build build --target help | grep -qw manual; then
        cmake --build build --target manual
    else
        echo "There is no target for the manual: it is left out."
    fi
}

makeall() {
    rm -rf "$packages"
    mkdir -p "$packages"
    echo "Building the packages ..."
    quietly cmake --preset default
    quietly manual
    quietly package default build DEB
    quietly package static build/static TGZ
    quietly package aarch64 build/aarch64 TGZ
    quietly package windows build/windows ZIP
    find "$packages" -maxdepth 1 -type f | sort
}

# Blots out what differs from run to run, and the line ends of Windows, in all files of a folder.
mask() {
    find "$1" -type f -exec sed -E -i -e 's/\r$//' -e 's/^ Date : .*/ Date/' \
        -e 's/^ (System time|CPU time   ) : .*/ \1/' {} +
}

# Runs a command on every example and every kept case, each in a folder of its own within a folder,
# and leaves there what each run printed and wrote.
runall() {
    local folder=$1 example case name
    shift
    rm -rf "$folder"
    for example in examples/*.idx; do
        name=$(basename "$example")
        mkdir -p "$folder/$name"
        cp "$example" "$folder/$name"
        (cd "$folder/$name" && "$@" "$name" </dev/null >stdout 2>/dev/null) || return 1
    done
    for case in "$PWD"/tests/golden/*/why.txt; do
        case=$(dirname "$case")
        name=$(basename "$case")
        mkdir -p "$folder/$name"
        [ ! -d "$case/input" ] || cp -R "$case/input/." "$folder/$name"
        mapfile -t arguments <"$case/arguments"
        local typed=/dev/null
        [ ! -f "$case/stdin" ] || typed=$case/stdin
        (cd "$folder/$name" && "$@" "${arguments[@]}" <"$typed" >stdout 2>/dev/null) || return 1
    done
    mask "$folder"
}

# Runs a command on all, and compares with what the program built here writes.
compare() {
    local what=$1 folder=$2
    shift 2
    if runall "$folder" "$@" && diff -r "$work/here" "$folder" >"$work/differences"; then
        echo "The same bytes: $what"
    else
        echo "NOT the same bytes: $what; see $folder and $work/differences"
        head -n 5 "$work/differences"
        failed=1
    fi
}

# Runs a program with another folder as its root; the working folder lies in it.
inroot() {
    python3 -c '
import os, sys
root, program = sys.argv[1:3]
folder = os.path.relpath(os.getcwd(), root)
os.chroot(root)
os.chdir("/" + folder)
os.execv(program, [program] + sys.argv[3:])' "$@"
}

# In a new system that has nothing but what every Debian has.
checkdebian() {
    local root=$work/debian mirror
    mirror=$(apt-get indextargets --format '$(SITE)' "Created-By: Packages" "Codename: $codename" |
        head -n 1)
    quietly debootstrap --variant=minbase "$codename" "$root" "$mirror"
    cp "$(made .deb)" "$root/torvik.deb"
    quietly chroot "$root" dpkg -i /torvik.deb
    compare "the Debian package in a new $codename" "$root/cases" inroot "$root" /usr/bin/Torvik
    quietly chroot "$root" dpkg --purge torvik
    [ ! -e "$root/usr/bin/Torvik" ] || { echo "dpkg has left the program behind"; failed=1; }
}

# In a root that holds the program and nothing else.
checkstatic() {
    mkdir -p "$work/empty"
    tar -xzf "$(made linux-x86_64.tar.gz)" -C "$work/empty" --strip-components=1
    compare "the program for any Linux, in a root without libraries" "$work/empty/cases" \
        inroot "$work/empty" /bin/Torvik
}

checkwindows() {
    python3 -m zipfile -e "$(made windows-x86_64.zip)" "$work/windows"
    local program wine=/usr/lib/wine/wine64
    program=$(find "$work/windows" -name Torvik.exe)
    export WINEPREFIX=$work/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml='
    "$wine" wineboot -i >/dev/null 2>&1 || true
    compare "the program for Windows, under wine" "$work/wincases" "$wine" "$program"
}

checkarm() {
    mkdir -p "$work/arm"
    tar -xzf "$(made linux-aarch64.tar.gz)" -C "$work/arm" --strip-components=1
    compare "the program for 64-bit Arm, under qemu" "$work/armcases" \
        qemu-aarch64 "$work/arm/bin/Torvik"
}

# The program chooses by the processor how it calculates.
checkprocessors() {
    compare "on a processor without AVX" "$work/nehalem" qemu-x86_64 -cpu Nehalem "$PWD/build/Torvik"
    compare "on a processor with AVX2" "$work/haswell" qemu-x86_64 -cpu Haswell "$PWD/build/Torvik"
}

# Builds the program that prints hashes of the solver's answers.
buildanswers() {
    local program=$1 compiler=$2
    shift 2
    "$compiler" -O2 -std=c++20 -ffp-contract=off -I. -Isolver/include "$@" \
        solver/*/*.cpp tests/solver/builds/answers.cpp -o "$program"
}

# Runs a command that prints these hashes, and compares with what the program built here prints.
compareanswers() {
    local what=$1 printed
    shift
    if printed=$("$@") && [ "$printed" = "$answers" ]; then
        echo "The same answers of the solver: $what"
    else
        echo "NOT the same answers of the solver: $what"
        diff <(echo "$answers") <(echo "$printed") | head -n 5 || true
        failed=1
    fi
}

checksolver() {
    local answers
    # A cross compiler must not find the other headers of this machine.
    mkdir -p "$work/headers"
    ln -s /usr/include/gemmi "$work/headers/gemmi"
    quietly buildanswers "$work/answers" g++
    quietly buildanswers "$work/armanswers" aarch64-linux-gnu-g++ -isystem "$work/headers" -static
    answers=$("$work/answers")
    compareanswers "on 64-bit Arm, under qemu" qemu-aarch64 "$work/armanswers"
    compareanswers "on a processor without AVX" qemu-x86_64 -cpu Nehalem "$work/answers"
    compareanswers "on a processor with AVX2" qemu-x86_64 -cpu Haswell "$work/answers"
}

checkall() {
    work=$(mktemp -d) failed=0
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    echo "Running them ..."
    runall "$work/here" "$PWD/build/Torvik"
    if [ "$(id -u)" -eq 0 ]; then
        checkdebian
        checkstatic
    else
        echo "Left out, since only root can make new roots: the Debian package, the static program"
    fi
    checkwindows
    checkarm
    checkprocessors
    checksolver
    [ "$failed" -ne 0 ] || rm -rf "$work"
    return "$failed"
}

[[ $# -eq 0 || ($# -eq 1 && $1 = --check) ]] || usage
need "The packages of Torvik" g++=g++ make=make cmake=cmake dpkg-dev=dpkg-shlibdeps \
    g++-mingw-w64-x86-64-posix=x86_64-w64-mingw32-g++-posix g++-aarch64-linux-gnu=aarch64-linux-gnu-g++
makeall
if [ "${1:-}" = --check ]; then
    need "The check of the packages" debootstrap=debootstrap wine64=/usr/lib/wine/wine64 \
        qemu-user=qemu-aarch64 python3=python3 gemmi-dev=/usr/include/gemmi/math.hpp
    checkall
fi
