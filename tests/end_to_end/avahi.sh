#!/usr/bin/env bash
# Searches for a bridge that Debian's avahi-daemon announces, in namespaces with a pair of network
# interfaces: the search is on one, avahi and the bridge are on the other.
#
#   avahi.sh HUECTL    exits with 77 without avahi-daemon, namespaces or root, which avahi-daemon needs

set -euo pipefail

fail() {
    echo "$*" >&2
    exit 1
}

# In new namespaces, whose processes end with this script.
if [[ ${IN_NAMESPACES:-} != yes ]]; then
    new=(unshare --net --mount --pid --fork --kill-child --mount-proc)
    [[ $EUID == 0 && -x /usr/sbin/avahi-daemon ]] && "${new[@]}" true || exit 77
    IN_NAMESPACES=yes exec "${new[@]}" "$0" "$@"
fi

# wait_for WHAT COMMAND ...: until the command succeeds, at most 20 s.
wait_for() {
    local what=$1 end=$((SECONDS + 20))
    shift
    until "$@"; do
        ((SECONDS < end)) || fail "$what: not in time: $(cat /run/avahi.log)"
        sleep 0.1
    done
}

describe_the_service() {
    cat <<END
<?xml version="1.0"?>
<!DOCTYPE service-group SYSTEM "avahi-service.dtd">
<service-group>
  <name>Hue Bridge - 0AE670</name>
  <service>
    <type>_hue._tcp</type>
    <port>443</port>
    <txt-record>bridgeid=001788fffe0ae670</txt-record>
    <txt-record>modelid=BSB002</txt-record>
  </service>
</service-group>
END
}

# Answers every request to port 80 as a bridge answers GET /api/config.
serve_the_configuration() {
    on_far_side perl -MIO::Socket::INET -e '
        my $web = IO::Socket::INET->new(LocalPort => 80, Listen => 8, ReuseAddr => 1) or die;
        open(my $ready, ">", "/run/web.ready");
        while (my $peer = $web->accept) {
            while (<$peer>) { last if /^\r\n/ }
            print $peer "HTTP/1.0 200 OK\r\n\r\n" .
                q({"name":"Stairs","bridgeid":"001788FFFE0AE670","modelid":"BSB002"});
        }'
}

on_far_side() {
    nsenter --net="/proc/$far_side/ns/net" "$@"
}
has_own_network() {
    [[ $(readlink "/proc/$far_side/ns/net") != $(readlink /proc/self/ns/net) ]]
}

# avahi has fixed places for its services and its process ID.
mount -t tmpfs tmpfs /run
mkdir /run/avahi-daemon /run/services
describe_the_service >/run/services/hue.service
mount --bind /run/services /etc/avahi/services
printf '[server]\nuse-ipv6=no\nenable-dbus=no\nhost-name=bridge\n' >/run/avahi.conf

unshare --net sleep 120 &
far_side=$!
wait_for "network namespace" has_own_network
ip link add near type veth peer name far netns "$far_side"
ip address add 10.77.0.1/24 dev near
ip link set near up
on_far_side ip address add 10.77.0.2/24 dev far
on_far_side ip link set far up
serve_the_configuration &
on_far_side /usr/sbin/avahi-daemon --file=/run/avahi.conf --no-drop-root --no-chroot --no-rlimits \
    2>/run/avahi.log &
wait_for "HTTP server" test -e /run/web.ready
wait_for "avahi" grep -q 'successfully established' /run/avahi.log

found=$("$1" discover --json)
for text in 10.77.0.2 001788FFFE0AE670 Stairs BSB002 mdns; do
    [[ ${found,,} == *"${text,,}"* ]] || fail "no $text in: $found"
done
