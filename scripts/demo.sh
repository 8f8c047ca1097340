#!/usr/bin/env bash
# Installs what is needed, builds, starts a throw-away FTP server on a loopback port, and moves files
# to it and back with qelftp. Shows each command and what it printed; ends with an error when anything
# is not as it should be. For Debian 12, as root or as a user with sudo.
set -euo pipefail
export PATH="${PATH:-/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin}"
export LC_ALL=C.UTF-8
unset QEL_LOG_LEVEL QEL_LOG_FILE

"$(dirname "$0")/install-deps.sh" demo
cd "$(dirname "$0")/.."
project=$PWD

announce() { printf '\n== %s\n' "$*"; }
fail() { printf '\ndemo: %s\n' "$*" >&2; exit 1; }

announce "Building"
cmake --preset release -DQEL_BUILD_TESTS=OFF -DQEL_BUILD_BENCH=OFF -B build/demo
cmake --build build/demo

announce "Starting an FTP server"
work=$(mktemp -d)
server=
cleanup() {
    if [ -n "$server" ]; then
        kill "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM HUP
mkdir "$work/server" "$work/here" "$work/back"

QELFTP_PASSWORD=$(od -An -N12 -tx1 /dev/urandom | tr -d ' ')
export QELFTP_PASSWORD
DEMO_PASSWORD=$QELFTP_PASSWORD /usr/bin/python3 "$project/scripts/demo-server.py" \
    "$work/server" "$work/port" >"$work/log" 2>&1 &
server=$!

# Ready when it greets a real connection.
greets() (
    [ -s "$work/port" ] || exit 1
    exec 3<>"/dev/tcp/127.0.0.1/$(cat "$work/port")"
    IFS= read -r -t 5 greeting <&3
    [ "${greeting:0:3}" = 220 ]
)
for ((tries = 0; ; ++tries)); do
    if greets 2>/dev/null; then break; fi
    if [ "$tries" -ge 100 ] || ! kill -0 "$server" 2>/dev/null; then
        cat "$work/log" >&2
        fail "the FTP server does not answer"
    fi
    sleep 0.1
done
url="ftp://demo@127.0.0.1:$(cat "$work/port")"
echo "It serves $url (the password is in QELFTP_PASSWORD)."

# run STATUS COMMAND...: shows the command and what it prints; it must end with that exit code.
# What it printed is then in $output.
run() {
    local expected=$1 status=0
    shift
    printf '\n$'
    printf ' %q' "$@"
    printf '\n'
    output=$("$@" 2>&1) || status=$?
    [ -z "$output" ] || printf '%s\n' "$output"
    [ "$status" = "$expected" ] || fail "that ended with exit code $status instead of $expected"
}
printed() { grep -qE -e "$1" <<<"$output" || fail "that should have printed $1"; }
printed_nothing() { [ -z "$output" ] || fail "that should have printed nothing"; }

PATH="$project/build/demo/bin:$PATH"
cd "$work/here"
seq 1 200000 >numbers.txt
seq 5000 -3 1 >"summer plan.txt"
seq 7 7 70000 >größe.txt
: >empty.txt

announce "One file there and back"
run 0 qelftp mkdir "$url/reports/2024"
run 0 qelftp put numbers.txt "$url/reports/2024/"
run 0 qelftp ls "$url/reports/2024"
printed "^file +$(stat -c %s numbers.txt) +[-0-9]+.* numbers\.txt$"
run 0 qelftp get "$url/reports/2024/numbers.txt" ../back/copy.txt
run 0 cmp numbers.txt ../back/copy.txt

announce "Several files in one session"
run 0 qelftp put "summer plan.txt" größe.txt empty.txt "$url/reports"
run 0 qelftp ls "$url/reports"
printed "^dir .* 2024$"
printed "^file +0 .* empty\.txt$"
printed "^file +$(stat -c %s größe.txt) .* größe\.txt$"
printed "^file +$(stat -c %s "summer plan.txt") .* summer plan\.txt$"
run 0 qelftp get "$url/reports/summer%20plan.txt" "$url/reports/größe.txt" "$url/reports/empty.txt" \
    ../back
for name in "summer plan.txt" größe.txt empty.txt; do run 0 cmp "$name" "../back/$name"; done

announce "Is it there?"
run 0 qelftp exists "$url/reports/empty.txt"
printed_nothing
run 0 qelftp rm "$url/reports/empty.txt"
run 1 qelftp exists "$url/reports/empty.txt"
printed "exists /reports/empty\.txt: no such file or directory"

announce "What an error looks like"
run 1 qelftp put numbers.txt "$url/nowhere/"
printed "put /nowhere/numbers\.txt: no such file or directory \(0x3bb0000e\)"
run 1 env QELFTP_PASSWORD=wrong qelftp ls "$url/"
printed "login refused \(0x3bb00007\)"

announce "Cleaning up on the server"
run 0 qelftp rmdir "$url/reports/2024"
run 0 qelftp rmdir "$url/reports"
run 0 qelftp ls "$url/"
printed_nothing
[ -z "$(ls -A "$work/server")" ] || fail "the server's directory is not empty"

announce "All matched: every file came back byte for byte, and every command did what it should."
