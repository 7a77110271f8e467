#!/usr/bin/env bash
# Makes ipv6-services.pcap and ipv6-tunnels.pcap anew: programs that talk over IPv6 in network namespaces of their own.
#
#     make_ipv6.sh FOLDER
#
# Needs root, and from Debian: iproute2 iputils-ping tcpdump radvd dnsmasq-base curl python3. Nothing is left behind, in
# the machine's own namespaces nothing is touched, and it ends within four minutes.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
folder=$(cd "${1:?make_ipv6.sh FOLDER}" && pwd)
if [[ ${INSIDE:-} != yes ]]; then
    exec env INSIDE=yes timeout --kill-after=5 240 unshare --net --mount --pid --fork --mount-proc "$0" "$folder"
fi

# What is written to /run and what is resolved is this mount namespace's own; its programs end with it.
mount -t tmpfs none /run
mkdir /run/netns
work=/run/work
mkdir "$work"
printf 'nameserver 2001:db8:5::2\noptions timeout:2 attempts:2\n' >"$work/resolv.conf"
mount --bind "$work/resolv.conf" /etc/resolv.conf

in_space() { ip netns exec "$@"; }
anyhow() { "$@" >/dev/null 2>&1 || true; }

# space NAME SYSCTL...
space() {
    ip netns add "$1"
    ip -n "$1" link set lo up
    in_space "$1" sysctl -qw net.ipv6.conf.all.accept_dad=0 net.ipv6.conf.default.accept_dad=0 "${@:2}"
}

# wire SPACE DEVICE MAC SPACE DEVICE MAC MTU
wire() {
    ip -n "$1" link add "$2" address "$3" mtu "$7" type veth peer name "$5" address "$6" mtu "$7" netns "$4"
    # Frames as a wire has them, not as one that lets its adapter do the cutting.
    ip -n "$1" link set "$2" up gso_max_segs 1 gro_max_size 1500
    ip -n "$4" link set "$5" up gso_max_segs 1 gro_max_size 1500
}

# record SPACE DEVICE FILE: begins to capture, and knows that it has begun
record() {
    ip netns exec "$1" tcpdump -Z root -n -U --immediate-mode -i "$2" -w "$3" 2>"$work/tcpdump" &
    recorder=$!
    until grep -qs 'listening on' "$work/tcpdump"; do sleep 0.1; done
}

stop_recording() {
    sleep 0.5
    kill -TERM "$recorder"
    wait "$recorder" || true
}

# until_it_answers SPACE URL
until_it_answers() {
    for _ in {1..50}; do
        in_space "$1" curl -gs -o /dev/null "$2" && return
        sleep 0.1
    done
    echo "make_ipv6.sh: $2 doesn't answer" >&2
    return 1
}

services() {
    space client net.ipv4.conf.default.arp_notify=1 net.ipv6.conf.default.ndisc_notify=1
    space router net.ipv6.conf.all.forwarding=1 net.ipv4.ip_forward=1
    space server
    wire client c0 02:00:00:00:00:0c router r0 02:00:00:00:00:01 1500
    wire router r1 02:00:00:00:00:02 server s0 02:00:00:00:00:05 1280
    ip -n router addr add 2001:db8:c::1/64 dev r0
    ip -n router addr add 192.0.2.1/24 dev r0
    ip -n router addr add 2001:db8:5::1/64 dev r1
    ip -n router addr add 198.51.100.1/24 dev r1
    ip -n server addr add 2001:db8:5::2/64 dev s0
    ip -n server addr add 198.51.100.2/24 dev s0
    ip -n server route add default via 2001:db8:5::1
    ip -n server route add default via 198.51.100.1

    mkdir "$work/site"
    head -c 20000 /dev/zero | tr '\0' x >"$work/site/text"
    in_space server python3 -m http.server --directory "$work/site" --bind 2001:db8:5::2 80 >/dev/null 2>&1 &
    in_space server python3 -m http.server --directory "$work/site" --bind 198.51.100.2 80 >/dev/null 2>&1 &
    in_space server python3 - <<'END' 2>/dev/null &
import socket, time
listener = socket.create_server(("2001:db8:5::2", 8080), family=socket.AF_INET6)
listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
connection, _ = listener.accept()
time.sleep(1.5)  # the window closes
while connection.recv(4096):
    pass
END
    in_space server dnsmasq --no-daemon --no-resolv --no-hosts --bind-interfaces --listen-address=2001:db8:5::2 \
        --user=root --pid-file= --address=/www.example.test/2001:db8:5::2 --address=/www.example.test/198.51.100.2 \
        --address=/other.example.test/2001:db8:5::3 2>/dev/null &
    until_it_answers server 'http://[2001:db8:5::2]/text'
    until_it_answers server 'http://198.51.100.2/text'
    record router r0 "$folder/ipv6-services.pcap"

    ip -n client addr add 192.0.2.12/24 dev c0
    ip -n client route add default via 192.0.2.1
    cat >"$work/radvd.conf" <<'END'
interface r0 {
    AdvSendAdvert on;
    MinRtrAdvInterval 3;
    MaxRtrAdvInterval 4;
    AdvSourceLLAddress on;
    prefix 2001:db8:c::/64 { };
};
END
    in_space router radvd --nodaemon --config "$work/radvd.conf" --pidfile "$work/radvd.pid" --logmethod none &
    for _ in {1..80}; do
        ip -n client -6 route show default | grep -q via && break
        sleep 0.1
    done

    anyhow in_space client ping -6 -c 3 -i 0.2 2001:db8:c::1
    anyhow in_space client ping -6 -c 3 -i 0.2 2001:db8:5::2
    anyhow in_space client ping -6 -c 2 -i 0.2 -I c0 ff02::1
    anyhow in_space client ping -6 -c 2 -i 0.2 -s 4000 -W 1 2001:db8:5::2   # parts; the first are too large for the way
    anyhow in_space client ping -6 -c 2 -i 0.2 -s 4000 -W 1 2001:db8:5::2
    anyhow in_space client ping -6 -c 2 -i 0.2 -t 1 -W 1 2001:db8:5::2      # time exceeded
    anyhow in_space client ping -6 -c 1 -W 1 2001:db8:dead::1               # no route
    anyhow in_space client ping -6 -c 1 -W 4 2001:db8:5::99                 # nobody there
    anyhow in_space client getent ahostsv6 www.example.test
    anyhow in_space client getent ahosts other.example.test
    anyhow in_space client getent ahosts nobody.example.test
    anyhow in_space client curl -gs http://www.example.test/text
    anyhow in_space client curl -gs -6 http://www.example.test/nothing
    anyhow in_space client curl -gs -6 -m 3 -T "$work/site/text" http://www.example.test/
    anyhow in_space client curl -gs -m 2 'http://[2001:db8:5::2]:81/'       # reset
    anyhow in_space client bash -c 'echo x >/dev/udp/2001:db8:5::2/9'       # port unreachable
    anyhow in_space client bash -c 'head -c 30000 /dev/zero >/dev/tcp/2001:db8:5::2/8080'

    anyhow in_space client ping -4 -c 2 -i 0.2 198.51.100.2
    anyhow in_space client ping -4 -c 2 -i 0.2 -s 3000 -W 1 198.51.100.2
    anyhow in_space client ping -4 -c 1 -M do -s 1400 -W 1 198.51.100.2     # too big for the way
    anyhow in_space client ping -4 -c 1 -t 1 -W 1 198.51.100.2
    anyhow in_space client bash -c 'echo x >/dev/udp/198.51.100.2/9'
    anyhow in_space client curl -gs -4 http://www.example.test/text
    anyhow in_space client curl -gs -m 2 http://198.51.100.2:81/

    # Another adapter takes over, and tells.
    ip -n client link set c0 down
    ip -n client link set c0 address 02:00:00:00:00:0d
    ip -n client link set c0 up
    ip -n client route add default via 192.0.2.1
    for _ in {1..80}; do
        ip -n client -6 route show default | grep -q via && break
        sleep 0.1
    done
    anyhow in_space client ping -6 -c 2 -i 0.2 2001:db8:5::2
    anyhow in_space client ping -4 -c 2 -i 0.2 198.51.100.2
    stop_recording
}

# through NUMBER DEVICE: talks over a link between left and right that is there
through() {
    ip -n left addr add "2001:db8:$1::1/64" dev "$2"
    ip -n right addr add "2001:db8:$1::2/64" dev "$2"
    ip -n left addr add "198.18.$1.1/24" dev "$2"
    ip -n right addr add "198.18.$1.2/24" dev "$2"
    ip -n left link set "$2" up mtu 1280
    ip -n right link set "$2" up mtu 1280
    anyhow in_space left ping -6 -c 2 -i 0.2 -W 1 "2001:db8:$1::2"
    anyhow in_space left ping -4 -c 1 -W 1 "198.18.$1.2"
    anyhow in_space left curl -gs -m 2 -o /dev/null "http://[2001:db8:$1::2]/text"
    anyhow in_space left curl -gs -m 2 -o /dev/null "http://198.18.$1.2/text"
}

# wrapped NUMBER MODE KIND LOCAL REMOTE [DEVICES]: the same over a link that is made here
wrapped() {
    local name="$3$1" number=$1 mode=$2 kind=$3 local=$4 remote=$5
    for space in left right; do
        ip -n "$space" tuntap add dev "$name" mode "$mode"
    done
    local ends=()
    ip netns exec left python3 "$here/encapsulate.py" "$name" "$kind" "$local" "$remote" l0 >"$work/ready-left" &
    ends+=($!)
    ip netns exec right python3 "$here/encapsulate.py" "$name" "$kind" "$remote" "$local" r0 >"$work/ready-right" &
    ends+=($!)
    until grep -q ready "$work/ready-left" && grep -q ready "$work/ready-right"; do sleep 0.1; done
    through "$number" "$name"
    # What the system sends now and then on its own would go on into what follows.
    ip -n left link set "$name" down
    ip -n right link set "$name" down
    kill "${ends[@]}"
    rm "$work"/ready-*
}

tunnels() {
    space left
    space right
    wire left l0 02:00:00:00:00:11 right r0 02:00:00:00:00:12 1500
    ip -n left addr add 2001:db8:1::1/64 dev l0
    ip -n right addr add 2001:db8:1::2/64 dev r0
    ip -n left addr add 198.18.0.1/24 dev l0
    ip -n right addr add 198.18.0.2/24 dev r0
    head -c 3000 /dev/zero | tr '\0' x >"$work/text"
    in_space right python3 -m http.server --directory "$work" --bind :: 80 >/dev/null 2>&1 &
    until_it_answers right 'http://[2001:db8:1::2]/text'
    record left l0 "$folder/ipv6-tunnels.pcap"

    local macs=(02:00:00:00:00:11 02:00:00:00:00:12)
    wrapped 10 tap vlan "${macs[@]}"
    wrapped 11 tap qinq "${macs[@]}"
    wrapped 12 tap three-tags "${macs[@]}"
    wrapped 13 tap priority "${macs[@]}"
    wrapped 14 tun ipv6 198.18.0.1 198.18.0.2
    wrapped 15 tun ipv4 198.18.0.1 198.18.0.2
    wrapped 16 tun gre 198.18.0.1 198.18.0.2
    wrapped 17 tun ipv6 2001:db8:1::1 2001:db8:1::2
    wrapped 18 tun ipv4 2001:db8:1::1 2001:db8:1::2
    wrapped 19 tun gre 2001:db8:1::1 2001:db8:1::2
    wrapped 20 tap geneve 198.18.0.1 198.18.0.2
    wrapped 21 tap geneve 2001:db8:1::1 2001:db8:1::2
    wrapped 22 tun mpls "${macs[@]}"
    wrapped 23 tun pppoe "${macs[@]}"
    for space in left right; do
        local own=1 other=2
        [[ $space == left ]] || own=2 other=1
        ip -n "$space" link add vx24 type vxlan id 24 local "198.18.0.$own" remote "198.18.0.$other" dstport 4789
        ip -n "$space" link add vx25 type vxlan id 25 local "2001:db8:1::$own" remote "2001:db8:1::$other" dstport 4789
    done
    through 24 vx24
    through 25 vx25
    stop_recording
}

services
tunnels
