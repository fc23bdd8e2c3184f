#!/bin/sh
# What the program adds to the tools' own time: each conversion in turn with the bare tool, in one
# run. Prints a table in Markdown. Wants a release build with -DPAPERMILL_BENCH=ON, groff, and for
# one row epstopdf (package texlive-font-utils).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build/release
papermill=$build/Papermill.app/Contents/Linux/papermill
compare=$build/bench/compare
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export HOME="$work" XDG_CONFIG_HOME="$work/config"
"$papermill" settings set DEBUG1 0

cat > small.eps <<'EPS'
%!PS-Adobe-3.0 EPSF-3.0
%%BoundingBox: 10 20 210 120
%%EndComments
/Times-Roman findfont 18 scalefont setfont
20 60 moveto (A small figure) show
20 40 moveto 180 0 rlineto stroke
showpage
%%EOF
EPS
# Several hundred pages of text.
awk 'BEGIN { for (i = 0; i < 30000; i++)
    print "Line " i " of a long document, with enough words to fill the measure of a page." ;
    }' | sed 's/$/\n.br/' | groff -Tps > long.ps

pdfwrite="gs -dSAFER -dNOPAUSE -dBATCH -sDEVICE=pdfwrite"
echo "pages of long.ps: $(sed -n 's/^%%Pages: //p' long.ps | tail -1)" >&2
echo "| what | ours, ms | bare, ms | more, ms | ratio | ours, MB | bare, MB |"
echo "|---|---|---|---|---|---|---|"
"$compare" -n 41 "small EPS against bare gs" "$papermill" ps2pdf small.eps out.pdf -- \
    $pdfwrite -sOutputFile=bare.pdf -c save pop -f small.eps
if command -v epstopdf > /dev/null; then
    "$compare" -n 21 "small EPS against epstopdf" "$papermill" ps2pdf small.eps out.pdf -- \
        epstopdf --outfile=bare.pdf small.eps
fi
"$compare" -n 11 "long document against bare gs" "$papermill" ps2pdf long.ps out.pdf -- \
    $pdfwrite -sOutputFile=bare.pdf -c save pop -f long.ps
"$compare" -n 101 "start-up to the first console line, against true" \
    "$papermill" ps2pdf missing.eps -- true
"$compare" -n 101 "start-up and 20 settings read, against 1" "$papermill" settings list -- \
    "$papermill" settings get DEBUG1
