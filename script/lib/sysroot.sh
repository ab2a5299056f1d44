# Sourced by script/bootstrap: the libraries of the board, to build against and to run tests with.

# unpack_sysroot PACKAGE ...: unpacks Debian packages for 32-bit ARM, and their dependencies, into
# build/sysroot-armhf. They come from the apt sources of this machine, but with separate lists and a
# separate package database: as a foreign architecture of this machine, they would need exactly the
# versions of its own packages. Does not need root.
unpack_sysroot() {
    local sysroot=$ROOT/build/sysroot-armhf apt=$ROOT/build/sysroot-armhf.apt package
    # Lists the packages. Removed first and written last: without it, the folder is incomplete. If it is
    # older than this file, the folder may differ from what this file makes.
    local complete=$sysroot/complete
    [[ $(cat "$complete" 2>/dev/null) != "$*" || ! $complete -nt ${BASH_SOURCE[0]} ]] || return 0

    # pkg-config escapes blanks, and CMake takes the escapes for a part of the path.
    [[ $sysroot != *[[:space:]]* ]] || die "the board's libraries need a path without blanks: $sysroot"
    say "Unpacking the libraries of the board into ${sysroot#"$ROOT/"}"
    rm -f "$complete"
    rm -rf "$sysroot" "$apt"
    mkdir -p "$sysroot" "$apt"
    private_apt_configuration "$apt" >"$apt/apt.conf"
    : >"$apt/status"
    # A mirror may be in the middle of an update. Without a list, a package may be missing (then the
    # next step fails) or outdated.
    apt-get -c "$apt/apt.conf" -q update ||
        say "Some package lists could not be downloaded; continuing with the others"
    apt-get -c "$apt/apt.conf" -q -y --download-only install "$@"
    for package in "$apt"/archives/*.deb; do
        dpkg-deb --extract "$package" "$sysroot"
        record_package "$package" "$sysroot"
    done
    make_links_relative "$sysroot"
    rm -r "$apt"
    echo "$*" >"$complete"
}

# record_package FILE SYSROOT: adds the package to the package database in SYSROOT, where
# dpkg-shlibdeps looks up the package of a library. The files have their paths on this machine.
record_package() {
    local database=$2/var/lib/dpkg name file
    name=$(dpkg-deb --field "$1" Package)
    mkdir -p "$database/info"
    dpkg-deb --control "$1" "$database/new"
    sed 's/^Package: .*/&\nStatus: install ok installed/' "$database/new/control" >>"$database/status"
    echo >>"$database/status"
    for file in "$database"/new/*; do
        mv "$file" "$database/info/$name.${file##*/}"
    done
    rmdir "$database/new"
    dpkg-deb --fsys-tarfile "$1" | tar --list | sed "s|^\.|$2|; s|/$||" >"$database/info/$name.list"
}

# private_apt_configuration FOLDER: prints the configuration of an apt that keeps all its files in
# FOLDER. The machine's hooks are cleared: they maintain the machine's own package cache.
private_apt_configuration() {
    cat <<END
#clear APT::Architectures;
#clear APT::Update;
APT::Architecture "armhf";
APT::Architectures { "armhf"; };
APT::Install-Recommends "false";
Dir::State "$1";
Dir::State::status "$1/status";
Dir::Cache "$1";
END
}

# An absolute link would lead out of the folder, to a library of this machine.
make_links_relative() {
    local link target
    find "$1" -lname '/*' -printf '%p %l\n' | while read -r link target; do
        ln -snf --relative "$1$target" "$link"
    done
}
