#!/usr/bin/env bash
# Uses what `cmake --install` installs, as another project would. CTest runs one case at a time and
# sets BUILD, SOURCE, WORK, LIBDIR, BINDIR, MANDIR and VERSION, and for CMake and the compiler
# CMAKE_GENERATOR, CXX and CXXFLAGS.
#
#   installed.sh CASE

set -euo pipefail

prefix=$WORK/prefix
example=$WORK/example
export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig

fail() {
    echo "$*" >&2
    exit 1
}

compile() {
    # shellcheck disable=SC2086 # words
    "$CXX" -std=c++17 $CXXFLAGS "$@"
}

# The files are moved after the installation: paths of the build or of the first place must not occur.
install_and_move() {
    rm -rf "$WORK"
    mkdir -p "$WORK"
    local component
    for component in daemon library; do
        env -u DESTDIR cmake --install "$BUILD" --prefix "$WORK/first" --component $component
    done
    mv "$WORK/first" "$prefix"
    ! grep -rIlF -e "$SOURCE" -e "$WORK/first" "$prefix" || fail "these files contain a path of the build"
    cp -r "$SOURCE/examples" "$example"
}

# The program starts, and rejects a wrong command line with its own exit code.
starts() {
    local code=0
    "$1" 2>/dev/null || code=$?
    ((code == 2)) || fail "$1: exit code $code"
}

build_with_find_package() {
    cmake -S "$example" -B "$example/build" -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build "$example/build"
    starts "$example/build/dim_a_light"
}

build_with_pkg_config() {
    # shellcheck disable=SC2046 # words
    compile "$example/dim_a_light.cpp" $(pkg-config --cflags --libs --static huelib) \
        -o "$WORK/dim_by_pkg_config"
    starts "$WORK/dim_by_pkg_config"
    [[ $(pkg-config --modversion huelib) == "$VERSION" ]] || fail "huelib.pc has another version"
}

# With strict warnings and only the installed headers.
compile_every_header_alone() {
    local header
    for header in "$prefix"/include/huelib/*.h; do
        # shellcheck disable=SC2046 # words
        echo "#include \"huelib/${header##*/}\"" |
            compile -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only \
                $(pkg-config --cflags huelib) -x c++ - || fail "${header##*/}"
    done
}

# A program whose functions have the names of the library's log functions.
link_with_own_log_functions() {
    cat >"$WORK/own_log.cpp" <<'CPP'
#include <cstdlib>

#include "huelib/Hue.h"
#include "huelib/LinHttpHandler.h"

void error(const char*, ...) { std::abort(); }
void warning(const char*, ...) { std::abort(); }
void info(const char*, ...) { std::abort(); }
void debug(const char*, ...) { std::abort(); }

int main() {
    Hue bridge("127.0.0.1", "", std::make_shared<LinHttpHandler>());
    try {
        bridge.getLight(1);
    } catch (const std::exception&) {
        return 0;
    }
    return 1;
}
CPP
    # shellcheck disable=SC2046 # words
    compile "$WORK/own_log.cpp" $(pkg-config --cflags --libs --static huelib) -o "$WORK/own_log"
    "$WORK/own_log" || fail "the library called the program's own function"
}

# In the folder where man looks for it, under the daemon's name.
find_the_manual() {
    grep -q '^\.SH NAME' "$prefix/$MANDIR/man8/lumivad.8" || fail "no manual page"
}

# The board has no room for libraries that are never called.
load_no_openssl() {
    local needed
    needed=$(objdump -p "$prefix/$BINDIR/lumivad" | grep NEEDED)
    [[ $needed != *libssl* && $needed != *libcrypto* ]] || fail "$needed"
}

# has PATTERN COMMAND ...: fails unless the output of the command matches the pattern.
has() {
    local pattern=$1
    shift
    [[ $("$@") =~ $pattern ]] || fail "the output of $* does not match $pattern"
}

# Position-independent, with read-only relocations, stack protection and checked copies: an attacker
# who can overwrite memory finds no fixed address, no writable table and no unguarded return address.
harden_the_daemon() {
    local daemon=$prefix/$BINDIR/lumivad
    has 'Type: *DYN' readelf -h "$daemon"
    has 'GNU_RELRO' readelf -lW "$daemon"
    has 'Flags:[A-Z ]*NOW' readelf -dW "$daemon"
    has '__stack_chk_fail' readelf --dyn-syms -W "$daemon"
    has '__vsnprintf_chk' readelf --dyn-syms -W "$daemon"
}

"$1"
