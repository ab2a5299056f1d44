# Sourced by script/bootstrap and script/bench: a small daemon of Debian's to compare ours with.

# Unpacked and not installed: Debian's package would start it as a service.
broker_root=$ROOT/build/mosquitto

# lay_broker: unpacks mosquitto, and those of its libraries that the machine has not. Needs no root.
lay_broker() {
    local apt=$broker_root.apt package
    [[ ! -x $broker_root/usr/sbin/mosquitto ]] || return 0
    say "Unpacking mosquitto into ${broker_root#"$ROOT/"}"
    rm -rf "$broker_root" "$apt"
    mkdir -p "$broker_root" "$apt/archives/partial"
    apt-get -q -y -o Dir::Cache="$apt" -o Debug::NoLocking=true --no-install-recommends \
        --download-only --reinstall install mosquitto || return 0 # the table is without it then
    for package in "$apt"/archives/*.deb; do
        dpkg-deb --extract "$package" "$broker_root"
    done
    rm -r "$apt"
}
