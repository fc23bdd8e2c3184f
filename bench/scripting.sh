#!/bin/sh
# What a request over the session bus costs over its work, what a tool's report costs, and whether a
# program that answers many requests grows. Prints tables in Markdown. Wants a release build with
# -DPAPERMILL_BENCH=ON, and dbus-run-session.
set -eu
if [ -z "${PAPERMILL_BENCH_BUS:-}" ]; then
    PAPERMILL_BENCH_BUS=1 exec dbus-run-session -- "$0" "$@"
fi
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/release
programs=$build/Papermill.app/Contents/Linux
osascript=$build/Papermill.app/Contents/Resources/bin/osascript
scripting=$build/bench/Scripting.app/Contents/Linux/scripting
rounds=${1:-101} requests=${2:-1000}
work=$(mktemp -d)
program=
finish() {
    [ -z "$program" ] || kill "$program" 2> /dev/null || true
    rm -rf "$work"
}
trap finish EXIT
cd "$work"
export HOME="$work" XDG_CONFIG_HOME="$work/config" QT_QPA_PLATFORM=offscreen
cp "$root/bench/small.eps" .

# Starts the program and waits until it answers.
start() {
    "$@" > /dev/null 2>&1 &
    program=$!
    until "$osascript" -e 'tell application "papermill"' -e done -e 'end tell' 2> /dev/null; do
        sleep 0.05
    done
}
stop() {
    kill "$program"
    wait "$program" 2> /dev/null || true
    program=
}

start "$programs/papermill" serve
echo "| request | over the bus, ms | the work alone, ms | more, ms |"
echo "|---|---|---|---|"
"$scripting" "$rounds"
echo
echo "| what | ours, ms | bare, ms | more, ms | ratio | ours, MB | bare, MB |"
echo "|---|---|---|---|---|---|---|"
"$build/bench/compare" -n "$rounds" "\`osascript\` with \`done\` against \`true\`" \
    "$osascript" -e 'tell application "papermill"' -e done -e 'end tell' -- true
echo
echo "| requests in a row | memory before, KB | after, KB | descriptors before | after |"
echo "|---|---|---|---|---|"
printf '| papermill serve: '
"$scripting" growth "$program" "$requests"
stop
if [ -x "$programs/papermill-desktop" ]; then
    start "$programs/papermill-desktop"
    printf '| papermill-desktop: '
    "$scripting" growth "$program" "$requests"
    stop
fi
