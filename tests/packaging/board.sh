#!/usr/bin/env bash
# Compares each package for the board (armhf) with the one for this machine, and runs its programs under
# emulation: their version, the tour of the house, a pairing.
#
#   board.sh PACKAGES SYSROOT HOUSE    PACKAGES: folder with the packages; SYSROOT: the board's
#                                      libraries; HOUSE: the program house

set -euo pipefail
source "$(dirname "$0")/common.sh"
packages=$1
sysroot=$(realpath "$2")
house=$(realpath "$3")
scripts=$(realpath "$(dirname "$0")/../../simulator")
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT

# Both depend on the same packages; the required versions may differ between the architectures.
control() {
    dpkg-deb --field "$1" | sed -E '/^(Architecture|Installed-Size):/d; /^Depends:/s/ \([^)]*\)//g'
}

files() {
    dpkg-deb --fsys-tarfile "$1" | tar --list | sed -E 's/[a-z0-9_]+-linux-gnu[a-z]*/MULTIARCH/'
}

for here in "$packages"/*_"$(dpkg --print-architecture)".deb; do
    name=$(dpkg-deb --field "$here" Package)
    version=$(dpkg-deb --field "$here" Version | sed 's/-[^-]*$//')
    there=$(echo "$packages/$name"_*_armhf.deb)
    diff <(control "$here") <(control "$there") || fail "$name has another description for armhf"
    diff <(files "$here") <(files "$there") || fail "$name has other files for armhf"
    dpkg-deb --extract "$there" "$tree"
    echo "   $name: no difference for $(dpkg-deb --field "$there" Architecture)"
done
for program in lumivad huectl; do
    cat >"$tree/$program" <<END
#!/bin/sh
exec qemu-arm-static -L '$sysroot' '$tree/usr/bin/$program' "\$@"
END
    chmod +x "$tree/$program"
    output=$("$tree/$program" --version) || fail "$program --version exits with $?"
    [[ $output == *"$version" ]] || fail "$program does not have version $version: $output"
    echo "   $program: $output"
done

run_scene "$house" "$tree/house.log" --daemon "$tree/lumivad" --script "$scripts/tour.house"
run_scene "$house" "$tree/house.log" --huectl "$tree/huectl" --unpaired --script "$scripts/pairing.house"
