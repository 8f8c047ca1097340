#!/usr/bin/env bash
# Installs what is needed, builds, starts a throw-away FTP server and a throw-away SFTP server on
# loopback ports, and moves files to them and back with qelftp. Shows each command and what it
# printed; ends with an error when anything is not as it should be. For Debian 12, as root or as a
# user with sudo.
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

work=$(mktemp -d)
servers=()
cleanup() {
    if [ "${#servers[@]}" != 0 ]; then
        kill "${servers[@]}" 2>/dev/null || true
        wait "${servers[@]}" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM HUP
mkdir "$work/server" "$work/here" "$work/back"

# greets PORT TEXT: something listens there, and greets with that.
greets() (
    exec 3<>"/dev/tcp/127.0.0.1/$1"
    IFS= read -r -t 5 greeting <&3
    [ "${greeting:0:${#2}}" = "$2" ]
)

# await PID PORT_FILE TEXT: the server is ready when it greets a real connection. False when it ends.
await() {
    local tries
    for ((tries = 0; tries < 100; ++tries)); do
        if [ -s "$2" ] && greets "$(cat "$2")" "$3" 2>/dev/null; then return 0; fi
        kill -0 "$1" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

announce "Starting an FTP server"
QELFTP_PASSWORD=$(od -An -N12 -tx1 /dev/urandom | tr -d ' ')
export QELFTP_PASSWORD
DEMO_PASSWORD=$QELFTP_PASSWORD /usr/bin/python3 "$project/scripts/demo-server.py" \
    "$work/server" "$work/port" >"$work/log" 2>&1 &
servers+=($!)
if ! await $! "$work/port" "220"; then
    cat "$work/log" >&2
    fail "the FTP server does not answer"
fi
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
printed_text() { grep -qF -e "$1" <<<"$output" || fail "that should have printed $1"; }
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

announce "Starting an SFTP server"
"$project/scripts/fetch-package.sh" "$project/build/demo/sshd" openssh-server -- /usr/sbin/sshd
unset QELFTP_PASSWORD
chmod 755 "$work"
cp -R "$project/build/demo/sshd" "$work/sshd"
mkdir "$work/files"
ssh-keygen -q -t ed25519 -N "" -C demo -f "$work/sshd/host_key"
ssh-keygen -q -t ed25519 -N "" -C demo -f demo_key
cp demo_key.pub "$work/sshd/authorized_keys"

# Root's would want a user and a directory of its own on this machine, so that another user runs it,
# and logs in to it. Not nobody, whom libnss-systemd calls locked.
user=$(id -un)
as_user=()
if [ "$(id -u)" = 0 ]; then
    user=games
    as_user=(setpriv --reuid="$user" --regid="$user" --clear-groups)
    chown "$user:$user" "$work/files" "$work/sshd/host_key"
fi

# sshd does not choose a port itself; one that is free now may be taken a moment later.
start_sshd() {
    /usr/bin/python3 -c 'import socket
with socket.socket() as s:
    s.bind(("127.0.0.1", 0))
    print(s.getsockname()[1])' >"$work/sshd/port"
    cat >"$work/sshd/config" <<END
ListenAddress 127.0.0.1:$(cat "$work/sshd/port")
HostKey $work/sshd/host_key
AuthorizedKeysFile $work/sshd/authorized_keys
PasswordAuthentication no
KbdInteractiveAuthentication no
PidFile none
StrictModes no
UsePAM no
Subsystem sftp internal-sftp -d $work/files
END
    env LD_LIBRARY_PATH="$work/sshd/lib" "${as_user[@]}" \
        "$work/sshd/sshd" -D -e -f "$work/sshd/config" >>"$work/sshd/log" 2>&1 &
    servers+=($!)
    await $! "$work/sshd/port" "SSH-"
}
if ! { start_sshd || start_sshd || start_sshd; }; then
    cat "$work/sshd/log" >&2
    fail "the SFTP server does not answer"
fi
port=$(cat "$work/sshd/port")
url="sftp://$user@127.0.0.1:$port"
fingerprint=$(ssh-keygen -lf "$work/sshd/host_key.pub" | cut -d " " -f 2)
echo "It serves $url"
echo "Its host key has the fingerprint $fingerprint; it lets in who has demo_key."
ssh=(--identity demo_key --known-hosts known_hosts)

announce "A host that is not known yet: nothing is sent but the question who it is"
run 1 qelftp ls "${ssh[@]}" "$url/"
printed_text "the host is not known; it shows the key ED25519 $fingerprint"
[ ! -e known_hosts ] || fail "its key should not have been recorded"

announce "The fingerprint is the right one, so it is accepted and recorded"
run 0 qelftp ls "${ssh[@]}" --accept-new-host-key "$url/"
run 0 ssh-keygen -l -F "[127.0.0.1]:$port" -f known_hosts
printed_text "$fingerprint"

announce "There and back over SSH, now that the host is known"
run 0 qelftp mkdir "${ssh[@]}" "$url/reports/2024"
run 0 qelftp put "${ssh[@]}" numbers.txt "summer plan.txt" größe.txt empty.txt "$url/reports/2024/"
run 0 qelftp ls "${ssh[@]}" "$url/reports/2024"
printed "^file +$(stat -c %s numbers.txt) +[-0-9]+.* numbers\.txt$"
printed "^file +$(stat -c %s größe.txt) .* größe\.txt$"
rm -f ../back/*
run 0 qelftp get "${ssh[@]}" "$url/reports/2024/numbers.txt" "$url/reports/2024/summer%20plan.txt" \
    "$url/reports/2024/größe.txt" "$url/reports/2024/empty.txt" ../back
for name in numbers.txt "summer plan.txt" größe.txt empty.txt; do
    run 0 cmp "$name" "../back/$name"
    run 0 cmp "$name" "$work/files/reports/2024/$name"
done
run 0 qelftp rm "${ssh[@]}" "$url/reports/2024/empty.txt"
run 1 qelftp exists "${ssh[@]}" "$url/reports/2024/empty.txt"
printed "no such file or directory"

announce "A host that shows another key than the known one"
ssh-keygen -q -t ed25519 -N "" -C demo -f other_key
echo "[127.0.0.1]:$port $(cut -d " " -f 1,2 other_key.pub)" >known_hosts
run 1 qelftp ls "${ssh[@]}" --accept-new-host-key "$url/"
printed_text "THE HOST KEY HAS CHANGED"
printed_text "$fingerprint"
printed_text "$(ssh-keygen -lf other_key.pub | cut -d " " -f 2)"

announce "All matched: every file came back byte for byte, and every command did what it should."
