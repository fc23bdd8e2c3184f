#!/bin/sh
# What the window adds to a conversion: a row of small EPS files through papermill-desktop and through
# papermill, in turn. Each figure is the time from one result to the next, in milliseconds: the
# median of the rounds. Wants a release build, and Xvfb where there is no display.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
programs=$root/build/release/Papermill.app/Contents/Linux
rounds=${1:-5} files=${2:-20}
work=$(mktemp -d)
server=
finish() {
    [ -z "$server" ] || kill "$server" 2> /dev/null || true
    rm -rf "$work"
}
trap finish EXIT
cd "$work"
export HOME="$work" XDG_CONFIG_HOME="$work/config"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    Xvfb -displayfd 3 -screen 0 1280x1024x24 3> display 2> /dev/null &
    server=$!
    while [ ! -s display ]; do sleep 0.05; done
    DISPLAY=:$(cat display)
    export DISPLAY
fi

names=
for i in $(seq -w 1 "$files"); do
    cp "$root/bench/small.eps" "figure-$i.eps"
    names="$names figure-$i.eps"
done
last=figure-$i.pdf

# From the first result to the last one, for each of the files between.
interval() {
    stat -c %.9Y figure-*.pdf | sort -n |
        awk 'NR == 1 { first = $1 } { last = $1 } END { print (last - first) * 1000 / (NR - 1) }'
    rm -f figure-*.pdf
}
: > window.ms
: > terminal.ms
for round in $(seq "$rounds"); do
    # shellcheck disable=SC2086 # the names are words
    "$programs/papermill" $names > /dev/null
    interval >> terminal.ms
    # shellcheck disable=SC2086
    "$programs/papermill-desktop" $names &
    desktop=$!
    while [ ! -e "$last" ]; do sleep 0.05; done
    kill "$desktop"
    wait "$desktop" || true
    interval >> window.ms
done
median() { sort -n "$1" | awk '{ all[NR] = $1 } END { print all[int((NR + 1) / 2)] }'; }
awk -v window="$(median window.ms)" -v terminal="$(median terminal.ms)" 'BEGIN {
    print "| what | in the window, ms | in the terminal, ms | more, ms |"
    print "|---|---|---|---|"
    printf "| a small EPS file to PDF | %.1f | %.1f | %+.1f |\n", window, terminal, window - terminal
}'
