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

cp "$root/bench/small.eps" .
# A real document of a hundred pages, and one of several hundred.
text() {
    awk -v lines="$1" 'BEGIN { for (i = 0; i < lines; i++)
        print "Line " i " of a long document, with enough words to fill the measure of a page.\n.br" }' |
        groff -Tps
}
text 6500 > paper.ps
text 30000 > long.ps
text 40 > page.ps
distil="gs -q -dSAFER -dNOPAUSE -dBATCH -sDEVICE=pdfwrite"
$distil -sOutputFile=paper.pdf paper.ps
$distil -sOutputFile=page.pdf page.ps
"$papermill" settings set TIFF_OPTION_STR 72

gs="gs -dSAFER -dNOPAUSE -dBATCH"
printer="-dPDFSETTINGS=/printer -dCompatibilityLevel=1.3 -sPAPERSIZE=letter"
shift='<</PageOffset [3000 3000]>> setpagedevice save pop'
large="-dDEVICEWIDTHPOINTS=9400 -dDEVICEHEIGHTPOINTS=9400 -dFIXEDMEDIA"
smooth="-dTextAlphaBits=4 -dGraphicsAlphaBits=4"
for document in long paper; do
    echo "pages of $document.ps: $(sed -n 's/^%%Pages: //p' $document.ps | tail -1)" >&2
done
echo "| what | ours, ms | bare, ms | more, ms | ratio | ours, MB | bare, MB |"
echo "|---|---|---|---|---|---|---|"

# Each conversion of one page and of a hundred, against the bare tools doing the same.
both() { # rounds, title, command, extension of the input, arguments, bare line with IN in it
    rounds=$1 title=$2 command=$3 extension=$4 arguments=$5 bare=$6
    for document in page paper; do
        if [ $document = page ]; then number=$((rounds * 4 + 1)) what="$title, a page"; else
            number=$rounds what="$title, 100 pages"
        fi
        in=$document.$extension
        # shellcheck disable=SC2086 # the arguments are words
        "$compare" -n $number "$what" "$papermill" $command $in $arguments -- \
            sh -c "$(echo "$bare" | sed "s/IN/$in/g")"
    done
}
both 9 "PostScript to PDF" ps2pdf ps out.pdf \
    "exec $gs -sDEVICE=pdfwrite -sOutputFile=bare.pdf -c save pop -f IN"
both 9 "PDF to PDF" pdf2pdf pdf out.pdf \
    "exec $gs -sDEVICE=pdfwrite -dPDFSTOPONERROR $printer -sOutputFile=bare.pdf -c save pop -f IN"
both 9 "merging with a page" "merge -o out.pdf page.pdf" pdf "" \
    "exec $gs -sDEVICE=pdfwrite -dPDFSTOPONERROR $printer -sOutputFile=bare.pdf -f page.pdf IN"
both 9 "PDF to PostScript" pdf2ps pdf out.ps \
    "exec $gs -sDEVICE=ps2write -dPDFSTOPONERROR -sOutputFile=bare.ps -c save pop -f IN"
both 9 "PDF to PostScript, pdftops" "pdf2ps --pdftops" pdf out.ps "exec pdftops IN bare.ps"
# The conversion's own tools are three: it works on a copy.
both 9 "PDF to DSC" pdf2dsc pdf out.dsc \
    "cp -f IN copy.pdf && $gs -q -dNODISPLAY -sPDFname=copy.pdf -sDSCname=bare.dsc \
        --permit-file-read=copy.pdf --permit-file-write=bare.dsc pdf2dsc.ps -c quit &&
        rm -f copy.pdf"
both 9 "PostScript to text" ps2ascii ps out.txt \
    "$gs -q -sDEVICE=pdfwrite -sOutputFile=bare.pdf IN && exec pdftotext bare.pdf bare.txt"
both 9 "PostScript to EPS" ps2eps ps "" "exec $gs -q -sDEVICE=bbox $large -c '$shift' -f IN 2> bare.bbox"
both 3 "PostScript to TIFF at 72 dpi" ps2tiff ps "" \
    "exec $gs -sDEVICE=tiff24nc -r72 $smooth -sOutputFile=bare-%d.tiff IN"
both 5 "PDF to PICT" pdf2pict pdf out.pict \
    "$gs -sDEVICE=ppmraw -r144 $smooth -dLastPage=1 -sOutputFile=bare.pnm IN &&
        exec convert -density 144x144 bare.pnm bare.pict"
both 5 "PostScript to PICT" ps2pict ps "" \
    "$gs -sDEVICE=pdfwrite -sOutputFile=bare.pdf IN &&
        $gs -sDEVICE=ppmraw -r144 $smooth -dLastPage=1 -sOutputFile=bare.pnm bare.pdf &&
        exec convert -density 144x144 bare.pnm bare.pict"
"$compare" -n 41 "EPS to PDF" "$papermill" ps2pdf small.eps out.pdf -- \
    $gs -sDEVICE=pdfwrite -sOutputFile=bare.pdf -c save pop -f small.eps
"$compare" -n 41 "EPS to EPS" "$papermill" eps2eps small.eps out.eps -- \
    $gs -q -sDEVICE=eps2write $large -sOutputFile=bare.eps -c "$shift" -f small.eps
"$compare" -n 21 "EPS to TIFF" "$papermill" eps2tiff small.eps out.tiff -- \
    sh -c "$gs -sDEVICE=ppmraw -r72 -g200x100 $smooth -sOutputFile=bare.pnm small.eps &&
        exec convert -density 72x72 bare.pnm bare.tiff"
"$compare" -n 21 "EPS to PICT" "$papermill" eps2pict small.eps out.pict -- \
    sh -c "$gs -sDEVICE=ppmraw -r144 -g400x200 $smooth -sOutputFile=bare.pnm small.eps &&
        exec convert -density 144x144 bare.pnm bare.pict"
# The same pixels, with two rendering threads and without: a page that is painted in bands.
cat > curves.ps <<'EOF'
%!PS
/number {rand 1000 mod 1000 div} def
1 srand
300 {
    number number number setrgbcolor
    number 595 mul number 842 mul moveto
    3 {number 595 mul number 842 mul} repeat curveto closepath fill
} repeat
showpage
EOF
for resolution in 300 600; do
    bare="$gs -q -sDEVICE=ppmraw $smooth -r$resolution"
    "$compare" -n 5 "two rendering threads against none, $resolution dpi" \
        $bare -dNumRenderingThreads=2 -sOutputFile=two.pnm curves.ps -- \
        $bare -sOutputFile=bare.pnm curves.ps
done
if command -v epstopdf > /dev/null; then
    "$compare" -n 21 "EPS to PDF against epstopdf" "$papermill" ps2pdf small.eps out.pdf -- \
        epstopdf --outfile=bare.pdf small.eps
fi
"$compare" -n 11 "PostScript to PDF, 455 pages" "$papermill" ps2pdf long.ps out.pdf -- \
    $gs -sDEVICE=pdfwrite -sOutputFile=bare.pdf -c save pop -f long.ps
"$compare" -n 101 "start-up to the first console line" \
    "$papermill" ps2pdf missing.eps -- true
"$compare" -n 101 "start-up and 20 settings read, against one" "$papermill" settings list -- \
    "$papermill" settings get DEBUG1
