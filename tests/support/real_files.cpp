#include "tests/support/real_files.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <utility>

std::vector<std::string> words_of(std::string text)
{
    const std::pair<const char *, const char *> same[] = {{"\xef\xac\x80", "ff"},
                                                          {"\xef\xac\x81", "fi"},
                                                          {"\xef\xac\x82", "fl"},
                                                          {"\xef\xac\x83", "ffi"},
                                                          {"\xef\xac\x84", "ffl"},
                                                          {"\xe2\x88\x92", "-"},
                                                          {"\f", " "}};
    for (const auto &[from, to] : same) {
        for (std::size_t at = 0; (at = text.find(from)) != std::string::npos;)
            text.replace(at, std::string(from).size(), to);
    }
    std::istringstream stream(text);
    std::vector<std::string> result;
    for (std::string word; stream >> word;)
        result.push_back(word);
    std::sort(result.begin(), result.end());
    return result;
}

// ---- documents ----

static constexpr char report[] = R"(.pl 29.7c
.TL
A report of two pages
.AU
Somebody
.NH
First things
.PP
The quick brown fox jumps over the lazy dog. Ligatures: office, waffle, fjord. Money: \[Eu]5.
.PP
Second paragraph with \fBbold\fP, \fIitalic\fP and \f(CWtypewriter\fP words.
.bp
.NH
Second things
.PP
The end.
)";

static constexpr char plot[] =
    R"(set terminal postscript eps enhanced color size 4in,3in font "Helvetica,14"
set output "in.eps"
set title "Damped oscillation"
set xlabel "time / s"
set ylabel "amplitude"
plot exp(-x/5)*cos(4*x) title "wave", sin(x) with points title "points"
)";

void PrintTo(const producer &each, std::ostream *stream)
{
    *stream << each.title;
}

static const char groff_pdf[] =
    "groff -Tps -ms -P-pa4 report.ms | ps2pdf -sPAPERSIZE=a4 - original.pdf; ";

const std::vector<producer> producers = {
    {"Groff", "groff -Tps -ms -P-pa4 report.ms > in.ps", "in.ps", "595 x 842", 2, true},
    {"Enscript", "enscript -q -M A4 -o in.ps list.txt", "in.ps", "595 x 842", 3, true},
    {"Gnuplot", "gnuplot plot.gp", "in.eps", "288 x 216", 1, true},
    {"PopplerPs", "pdftops original.pdf in.ps", "in.ps", "595 x 842", 2, true, "original.pdf"},
    {"PopplerEps", "pdftops -eps -f 1 -l 1 original.pdf in.eps", "in.eps", "595 x 842", 1, true},
    {"CairoPs", "pdftocairo -ps original.pdf in.ps", "in.ps", "595 x 842", 2, true, "original.pdf"},
    {"CairoEps", "pdftocairo -eps -f 1 -l 1 original.pdf in.eps", "in.eps", nullptr, 1, true},
    {"GhostscriptPs",
     "gs -q -dSAFER -dNOPAUSE -dBATCH -sDEVICE=ps2write -sOutputFile=in.ps original.pdf", "in.ps",
     "595 x 842", 2, true},
    {"GhostscriptEps",
     "gnuplot plot.gp && mv in.eps plot.eps && "
     "gs -q -dSAFER -dNOPAUSE -dBATCH -sDEVICE=eps2write -sOutputFile=in.eps plot.eps",
     "in.eps", nullptr, 1, true},
    {"NetpbmScan",
     "pdftoppm -r 100 -gray -f 1 -l 1 original.pdf | "
     "pnmtops -noturn -dpi 100 -imagewidth 5 > in.eps",
     "in.eps", nullptr, 1, false},
    {"NetpbmColourScan",
     "pdftoppm -r 60 -f 1 -l 1 original.pdf | pnmtops -noturn -imagewidth 5 > in.eps", "in.eps",
     nullptr, 1, false},
};

testing::AssertionResult make_real_file(const terminal_user &user, const producer &from)
{
    user.write("report.ms", report);
    user.write("plot.gp", plot);
    std::string list;
    for (int i = 1; i <= 150; ++i)
        list += "This is line number " + std::to_string(i) + "\n";
    user.write("list.txt", list);
    std::string script = from.script;
    if (script.find("original.pdf") != std::string::npos)
        script.insert(0, groff_pdf);
    const program_result made = user.run({"sh", "-c", script});
    if (made.status == 0 && user.has(from.name))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << from.title << ":\n" << made.out << made.err;
}

testing::AssertionResult make_with_groff(const terminal_user &user, const std::string &source,
                                         const std::string &name)
{
    user.write("source.ms", source);
    const bool pdf = name.size() > 4 && name.compare(name.size() - 4, 4, ".pdf") == 0;
    const program_result made =
        user.run({"sh", "-c",
                  "groff -k -Tps -ms -P-pa4 source.ms " +
                      std::string(pdf ? "| ps2pdf -sPAPERSIZE=a4 - \"$0\"" : "> \"$0\""),
                  name});
    if (made.status == 0 && user.has(name))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << made.out << made.err;
}

std::array<int, 4> eps_box(const std::string &bytes)
{
    std::array<int, 4> box = {};
    const std::size_t at = bytes.find("%%BoundingBox:");
    if (at != std::string::npos) {
        std::istringstream numbers(bytes.substr(at + 14, 80));
        for (int &number : box)
            numbers >> number;
    }
    return box;
}
