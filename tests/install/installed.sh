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

# Compiles with the installed library, by pkg-config.
compile() {
    # shellcheck disable=SC2046,SC2086 # words
    "$CXX" -std=c++17 $CXXFLAGS "$@" $(pkg-config --cflags --libs --static huelib)
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

build_with_find_package() {
    cmake -S "$example" -B "$example/build" -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build "$example/build"
    local code=0
    "$example/build/dim_a_light" 2>/dev/null || code=$?
    ((code == 2)) || fail "without arguments, the example exits with $code"
}

# The program has functions with the names of the library's log functions, which the library must not
# call.
build_with_pkg_config() {
    printf 'void %s(const char*, ...) { __builtin_trap(); }\n' error warning info debug >"$WORK/own_log.cpp"
    compile "$example/dim_a_light.cpp" "$WORK/own_log.cpp" -o "$WORK/dim_a_light"
    [[ $(pkg-config --modversion huelib) == "$VERSION" ]] || fail "huelib.pc has another version"
}

# With strict warnings and only the installed headers.
compile_every_header_alone() {
    local header
    for header in "$prefix"/include/huelib/*.h; do
        echo "#include \"huelib/${header##*/}\"" |
            compile -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only -x c++ - ||
            fail "${header##*/}"
    done
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
