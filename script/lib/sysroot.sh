# Sourced by script/bootstrap: the libraries for the board, to build against and to run tests with.

# lay_sysroot PACKAGE ...: unpacks Debian packages as built for 32-bit ARM, and all that they depend
# on, into build/sysroot-armhf. They come from the sources of the machine's own apt, but by lists and
# a package database apart: with a foreign architecture added to the machine, they would have to have
# the very versions of its own packages. Needs no root.
lay_sysroot() {
    local sysroot=$ROOT/build/sysroot-armhf apt=$ROOT/build/sysroot-armhf.apt package
    # Removed first and written last: a folder without it was left half laid. One that is older than
    # this file may have been laid otherwise.
    local laid=$sysroot/laid
    [[ $(cat "$laid" 2>/dev/null) != "$*" || ! $laid -nt ${BASH_SOURCE[0]} ]] || return 0

    # pkg-config tells such a path with escapes, which CMake then takes for a part of it.
    [[ $sysroot != *[[:space:]]* ]] || die "the board's libraries need a path without blanks: $sysroot"
    say "Laying the libraries for the board into ${sysroot#"$ROOT/"}"
    rm -f "$laid"
    rm -rf "$sysroot" "$apt"
    mkdir -p "$sysroot" "$apt"
    private_apt_configuration "$apt" >"$apt/apt.conf"
    : >"$apt/status"
    # A mirror may be half-way through an update. Without a list, a package may be missing (and then
    # the next step fails) or not the newest.
    apt-get -c "$apt/apt.conf" -q update ||
        say "Not every package list was fetched: going on with the others"
    apt-get -c "$apt/apt.conf" -q -y --download-only install "$@"
    for package in "$apt"/archives/*.deb; do
        dpkg-deb --extract "$package" "$sysroot"
        record_package "$package" "$sysroot"
    done
    make_links_relative "$sysroot"
    rm -r "$apt"
    echo "$*" >"$laid"
}

# record_package FILE SYSROOT: notes the package where dpkg-shlibdeps can look up, by dpkg's own way,
# which package a library belongs to. Its files are noted as they stand on this machine.
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

# private_apt_configuration FOLDER: for an apt that keeps everything in that folder. The machine's
# hooks are left out: they tend its own package cache.
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

# A link that begins with a slash would lead out of the folder, to the machine's own library.
make_links_relative() {
    local link target
    find "$1" -lname '/*' -printf '%p %l\n' | while read -r link target; do
        ln -snf --relative "$1$target" "$link"
    done
}
