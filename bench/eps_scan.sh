#!/bin/sh
# How fast the scanner passes over a large EPS file: prepare_eps, which scans and copies, in turn
# with cp and with epstopdf --nogs (package texlive-font-utils) over the same file, and the memory
# that it takes for a small and for a large file. Prints tables in Markdown. Wants a release build
# with -DPAPERMILL_BENCH=ON and three times BYTES of room under $TMPDIR.
#
#     bench/eps_scan.sh [BYTES [ROUNDS]]
set -eu
bytes=${1:-1000000000}
rounds=${2:-7}
root=$(cd "$(dirname "$0")/.." && pwd)
eps_scan=$root/build/release/bench/eps_scan
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
cd "$work"

seconds() { # the time that a command takes
    start=$(date +%s.%N)
    "$@"
    end=$(date +%s.%N)
    awk "BEGIN { print $end - $start }"
}

median() { # of one column of a file
    sort -g -k"$2","$2" "$1" | awk -v column="$2" '{ value[NR] = $column }
        END { print value[int((NR + 1) / 2)] }'
}

has_epstopdf=yes
if ! command -v epstopdf > /dev/null; then
    has_epstopdf=no
    echo "epstopdf is missing (package texlive-font-utils): not compared with it." >&2
fi

echo "| file of $bytes bytes | scan, s | scan and copy, s | MB/s | cp, s | epstopdf --nogs, s | times as fast |"
echo "|---|---|---|---|---|---|---|"
for kind in lines hex ascii85 binary; do
    "$eps_scan" --generate input.eps "$bytes" $kind
    cat input.eps > /dev/null
    : > times
    for _ in $(seq "$rounds"); do
        ours=$("$eps_scan" input.eps .)
        cp_time=$(seconds cp input.eps output)
        rm output
        other=0
        if [ $has_epstopdf = yes ]; then
            other=$(seconds epstopdf --nogs --outfile=output input.eps)
            rm output
        fi
        echo "$ours $cp_time $other" >> times
    done
    awk -v kind=$kind -v bytes="$bytes" -v scan="$(median times 1)" -v both="$(median times 2)" \
        -v copy="$(median times 4)" -v other="$(median times 5)" 'BEGIN {
            printf "| %s | %.3f | %.3f | %.0f | %.3f |", kind, scan, both, bytes / both / 1e6, copy
            if (other > 0)
                printf " %.2f | %.1f |\n", other, other / both
            else
                print " - | - |" }'
done

echo
echo "| file | peak memory, KB |"
echo "|---|---|"
for size in 1000000 "$bytes"; do
    "$eps_scan" --generate input.eps "$size" lines
    "$eps_scan" input.eps . | awk -v size="$size" '{ print "| " size " bytes | " $3 " |" }'
done
