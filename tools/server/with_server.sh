#!/usr/bin/env bash
# Starts a server to try things with, signs the command line and the desktop in to it, and runs a program that uses both.
#
#   with_server.sh BIN_FOLDER PROGRAM [ARGUMENT…]
#
# The program finds TOLVIK_BACKEND_URL, SSL_CERT_FILE and a data folder of its own (tolvik-try beside the usual one), so
# that neither the user's log nor their account is touched. The server ends with it; the data stays, so that the next
# start finds the same log. Where no secret service runs, or the user is signed in elsewhere, the session gets one of
# its own (gnome-keyring, unlocked, with a folder of its own), because a session's token is kept nowhere else.
set -euo pipefail

self=$(realpath "${BASH_SOURCE[0]}")
bin=$(realpath "$1")
shift
address=${TOLVIK_TRY_ADDRESS:-try@tolvik.example}

fail() { echo "with_server: $1" >&2; exit 3; }

has_secret_service() {
    [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ] && timeout 5 dbus-send --session --print-reply --dest=org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus.GetNameOwner string:org.freedesktop.secrets >/dev/null 2>&1
}

is_signed_in() { "$bin/tolvik" account --json 2>/dev/null | grep -q '"signedIn": *true'; }

if [ -z "${TOLVIK_OWN_BUS:-}" ] && has_secret_service && is_signed_in; then
    echo "Signed in elsewhere already: what is tried gets a session of its own" >&2
    DBUS_SESSION_BUS_ADDRESS=
fi
if [ -n "${TOLVIK_OWN_BUS:-}" ]; then
    # It takes its name on the bus a moment after it said that it runs.
    tries=0
    until has_secret_service; do
        [ $((tries += 1)) -le 100 ] || fail "the session's secret service did not start"
        sleep 0.1
    done
elif ! has_secret_service; then
    for program in dbus-run-session gnome-keyring-daemon; do
        command -v "$program" >/dev/null || fail "$program is not installed; ./setup installs it"
    done
    # shellcheck disable=SC2016
    TOLVIK_OWN_BUS=1 exec dbus-run-session -- bash -c '
        keyring=$(mktemp -d)
        trap "rm -rf \"$keyring\"" EXIT
        export XDG_RUNTIME_DIR=${XDG_RUNTIME_DIR:-$keyring}
        printf "\n" | XDG_DATA_HOME=$keyring gnome-keyring-daemon --unlock --components=secrets \
            --control-directory="$keyring/control" >/dev/null
        bash "$@"
    ' bash "$self" "$bin" "$@"
fi

data=${XDG_DATA_HOME:-$HOME/.local/share}
export XDG_DATA_HOME=$data/tolvik-try
(umask 077 && mkdir -p "$XDG_DATA_HOME")

lines=$(mktemp)
server=
finish() {
    [ -z "$server" ] || kill "$server" 2>/dev/null || true
    [ -z "$server" ] || wait "$server" 2>/dev/null || true
    rm -f "$lines"
}
trap finish EXIT

# The value of a member in the first line that has it.
member() { sed -n "s/.*\"$1\":\"\\{0,1\\}\\([^\",}]*\\).*/\\1/p" "$lines" | "$2" -n 1; }

# Waits until the server's lines hold more than COUNT that match.
await() {
    local _
    for _ in $(seq 100); do
        [ "$(grep -c "$1" "$lines")" -le "$2" ] || return 0
        kill -0 "$server" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

"$bin/tolvik-server" --dev --json --port "${TOLVIK_TRY_PORT:-0}" --log-level warning >"$lines" &
server=$!
await '"listening"' 0 || fail "the server did not start: $(cat "$lines")"
TOLVIK_BACKEND_URL=$(member TOLVIK_BACKEND_URL head)
SSL_CERT_FILE=$(member SSL_CERT_FILE head)
export TOLVIK_BACKEND_URL SSL_CERT_FILE
echo "The server listens on $TOLVIK_BACKEND_URL" >&2

# A server with other data does not know the session of an earlier start, and says so.
! is_signed_in || "$bin/tolvik" sync >/dev/null 2>&1 || true
if is_signed_in; then
    echo "Signed in already" >&2
else
    "$bin/tolvik" sign-in "$address" >/dev/null || fail "no code was sent"
    await '"code"' 0 || fail "the server printed no code"
    "$bin/tolvik" sign-in "$address" --code "$(member code tail)" >/dev/null || fail "the code was not taken"
    echo "Signed in as $address" >&2
fi

"$@"
