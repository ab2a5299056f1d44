#!/usr/bin/env bash
# Installs each package in a clean Debian, uses its contents, removes it, and checks that no file is
# left. Run as root: only root can change into another root.
#
#   clean_root.sh PACKAGES BUILD WORK    PACKAGES: folder with the packages; BUILD: build folder with
#                                        house and lumivad; WORK: folder for temporary files

set -euo pipefail
source "$(dirname "$0")/common.sh"
mkdir -p "$3"
packages=$(realpath "$1")
build=$(realpath "$2")
work=$(realpath "$3")
source=$(realpath "$(dirname "$0")/../..")
root=$work/root
multiarch=$(dpkg-architecture -q DEB_HOST_MULTIARCH)
architecture=$(dpkg --print-architecture)

# The archive is made once, which takes longer than everything else; every run unpacks it again.
unpack_clean_root() {
    [[ -f $root.tar ]] || make_clean_root
    rm -rf "$root"
    mkdir "$root"
    tar --extract --numeric-owner --file "$root.tar" --directory "$root"
    mkdir "$root/packages"
    local package
    for package in "$packages"/*_"$architecture".deb; do
        cp "$package" "$root/packages/$(dpkg-deb --field "$package" Package).deb"
    done
    apt update
}

make_clean_root() {
    # shellcheck source=/dev/null
    source /etc/os-release
    mmdebstrap --quiet --format=tar --variant=apt --skip=cleanup/apt \
        "$VERSION_CODENAME" "$root.tar.new"
    mv "$root.tar.new" "$root.tar"
}

inside() {
    chroot "$root" "$@"
}

apt() {
    DEBIAN_FRONTEND=noninteractive inside apt-get -q=2 -o Dpkg::Use-Pty=0 "$@" \
        >"$work/apt.log" 2>&1 || {
        cat "$work/apt.log"
        fail "apt-get $* failed"
    }
}

# Every file with its type, permissions, link and checksum, without the records of apt and dpkg.
list_files() {
    (cd "$root" || return
        find . \( -path ./var/cache -o -path ./var/lib/apt -o -path ./var/log \) -prune \
            -o -printf '%p %y %m %l\n'
        find . -type f -not -path './var/*' -exec md5sum {} +) | sort
}

# check PACKAGE USE: installs it with its dependencies, uses it, and removes all of it again.
check() {
    echo "-- $1"
    list_files >"$work/before"
    apt --no-install-recommends install "/packages/$1.deb"
    version=$(inside dpkg-query --show "$1" | sed 's/.*\t//; s/-.*//')
    "$2"
    apt --autoremove purge "$1"
    list_files | diff "$work/before" - || fail "$1 leaves these files"
    echo "   installed, used, removed; no file is left"
}

# installed PROGRAM: prints the path of a program that runs the installed one. The house gives its
# children their own /dev and /tmp, and they need these in the clean root too. The mounts are visible to
# the program only, even where the house has no namespaces: the root is removed at the end, and must
# not lead to the machine's own /dev and /tmp.
installed() {
    cat >"$work/$1" <<END
#!/bin/sh
exec unshare --mount sh -ec '
    mount --rbind /dev "\$0/dev"
    mount --rbind /tmp "\$0/tmp"
    exec chroot "\$0" /usr/bin/$1 "\$@"' "$root" "\$@"
END
    chmod +x "$work/$1"
    echo "$work/$1"
}

use_daemon() {
    [[ $(inside lumivad --version) == "v$version" ]] || fail "lumivad has another version"
    [[ -f $root/usr/share/doc/lumivad/operations.md ]] || fail "no table of the log's lines"
    run_scene "$build/simulator/house" "$work/house.log" \
        --daemon "$(installed lumivad)" --script "$source/simulator/tour.house"
}

use_tool() {
    [[ $(inside huectl --version) == *"$version"* ]] || fail "huectl has another version"
    run_scene "$build/simulator/house" "$work/house.log" \
        --huectl "$(installed huectl)" --unpaired --script "$source/simulator/pairing.house"
    # shellcheck disable=SC1091
    (source "$root/usr/share/bash-completion/completions/huectl"
        COMP_WORDS=(huectl dis) COMP_CWORD=1
        _huectl
        [[ ${COMPREPLY[*]} == discover ]]) || fail "no completion"
}

# Uses this machine's compiler, with JsonCpp and the library of the clean root.
use_library() {
    local flags
    flags=$(PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$root/usr/lib/$multiarch/pkgconfig \
        pkg-config --cflags --libs --static huelib)
    # shellcheck disable=SC2086 # words
    c++ -std=c++17 "$source/examples/dim_a_light.cpp" $flags -o "$work/dim_a_light"
    local code=0
    "$work/dim_a_light" 2>/dev/null || code=$?
    ((code == 2)) || fail "without arguments, the example exits with $code"
}

unpack_clean_root
check lumivad use_daemon
check huectl use_tool
check libhuelib-dev use_library
rm -rf "$root"
