# Sourced by script/bootstrap and script/bench: mosquitto, which the daemon is compared with.

# Unpacked, not installed: Debian's package would start it as a service.
broker_root=$ROOT/build/mosquitto

# unpack_broker: unpacks mosquitto and the libraries that it needs and this machine lacks. Does not need
# root.
unpack_broker() {
    local apt=$broker_root.apt package
    [[ ! -x $broker_root/usr/sbin/mosquitto ]] || return 0
    say "Unpacking mosquitto into ${broker_root#"$ROOT/"}"
    rm -rf "$broker_root" "$apt"
    mkdir -p "$broker_root" "$apt/archives/partial"
    apt-get -q -y -o Dir::Cache="$apt" -o Debug::NoLocking=true --no-install-recommends \
        --download-only --reinstall install mosquitto || return 0 # its column of the table stays empty
    for package in "$apt"/archives/*.deb; do
        dpkg-deb --extract "$package" "$broker_root"
    done
    rm -r "$apt"
}
