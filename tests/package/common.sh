# Sourced by the tests of this folder.

fail() {
    echo "$*" >&2
    exit 1
}

# expect WHAT EXPECTED ACTUAL
expect() {
    [ "$2" = "$3" ] || fail "$1: expected \"$2\", found \"$3\""
}

scratch=$(mktemp -d)
server=
cleanup() {
    [ -z "$server" ] || kill "$server"
    rm -rf "$scratch"
}
trap cleanup EXIT

# Starts the FTP server of the tests on $scratch/root; its port is $port.
start_server() {
    mkdir "$scratch/root"
    /usr/bin/python3 -W ignore "$1" "$scratch/root" "$scratch/log" >"$scratch/port" &
    server=$!
    for _ in $(seq 100); do
        [ ! -s "$scratch/port" ] || break
        sleep 0.1
    done
    port=$(cat "$scratch/port")
    [ -n "$port" ] || fail "The server did not start."
}
