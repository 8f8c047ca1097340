#!/usr/bin/env bash
# The README's program fetches a file from a real server. run-example.sh PROGRAM FTPSERVER.PY
set -euo pipefail

scratch=$(mktemp -d)
server=
cleanup() {
    [ -z "$server" ] || kill "$server"
    rm -rf "$scratch"
}
trap cleanup EXIT

mkdir "$scratch/root"
seq 100000 >"$scratch/root/numbers.txt"
/usr/bin/python3 -W ignore "$2" "$scratch/root" "$scratch/log" >"$scratch/port" &
server=$!
for _ in $(seq 100); do
    [ ! -s "$scratch/port" ] || break
    sleep 0.1
done
port=$(cat "$scratch/port")
[ -n "$port" ] || { echo "The server did not start." >&2; exit 1; }

said=$("$1" 127.0.0.1 "$port" bob "tea time" numbers.txt "$scratch/copy.txt")
[ "$said" = success ] || { echo "The program said: $said" >&2; exit 1; }
cmp "$scratch/root/numbers.txt" "$scratch/copy.txt"

if said=$(QEL_LOG_LEVEL=off "$1" 127.0.0.1 "$port" bob coffee numbers.txt "$scratch/other.txt"); then
    echo "A wrong password was taken." >&2
    exit 1
fi
[ "$said" = "login refused" ] || { echo "After a wrong password it said: $said" >&2; exit 1; }
[ ! -e "$scratch/other.txt" ]
echo "Fetched, and refused with a wrong password."
