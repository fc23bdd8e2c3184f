// How the console's text view bears a flood of output: console_load [MEGABYTES [KIND]], where KIND
// is lines, long (lines of 1 MB), none (a single line) or ends (nothing but line ends). Prints
// times, the longest time for which the window did not answer, and the memory that the text takes.
// Runs on Qt's offscreen platform.
#include "platform/qt/text_view.h"

#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QFontDatabase>
#include <QMimeData>
#include <QScrollBar>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

constexpr std::size_t megabyte = 1000000;
constexpr std::size_t chunk = 1000; // as the console gets its text

long resident_kilobytes()
{
    long kilobytes = 0;
    char line[256];
    std::FILE *status = std::fopen("/proc/self/status", "r");
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr)
        std::sscanf(line, "VmRSS: %ld", &kilobytes);
    if (status != nullptr)
        std::fclose(status);
    return kilobytes;
}

double milliseconds(const QElapsedTimer &timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

// Ordinary output: lines of up to 160 characters, a few in Latin-1.
std::string ordinary(std::size_t size)
{
    std::string text;
    for (std::size_t i = 0; text.size() < size; ++i) {
        text += "Page " + std::to_string(i) + ": ";
        text.append(i * 37 % 150, "abcdefgh "[i % 9]);
        text += i % 10 == 0 ? "\xE9\r" : "\r";
    }
    return text;
}

std::string long_lines(std::size_t size)
{
    std::string text;
    while (text.size() < size)
        text.append(megabyte - 1, 'x').append("\r");
    return text;
}

template <typename F>
double timed(F action)
{
    QElapsedTimer timer;
    timer.start();
    action();
    return milliseconds(timer);
}

void measure(const char *name, std::string text)
{
    platform::text_view view(nullptr);
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPointSize(12);
    view.set_text_font(font);
    view.set_margins(5, 5, 5, 5);
    view.resize(590, 255);
    view.show();
    QCoreApplication::processEvents();
    const long before = resident_kilobytes();
    const double size = static_cast<double>(text.size()) / megabyte;

    const std::clock_t start = std::clock();
    double longest = 0;
    const double appending = timed([&] {
        for (std::size_t at = 0; at < text.size(); at += chunk) {
            view.append(std::string_view(text).substr(at, chunk));
            if (at / chunk % 16 == 0)
                longest = std::max(longest, timed([] { QCoreApplication::processEvents(); }));
        }
        view.draw_now();
    });
    const double processor = 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    const long taken = resident_kilobytes() - before;

    const auto drawn_at = [&](int value) {
        view.verticalScrollBar()->setValue(value);
        view.grab();
    };
    double jump = 0;
    for (int i = 0; i <= 20; ++i)
        jump =
            std::max(jump, timed([&] { drawn_at(view.verticalScrollBar()->maximum() / 20 * i); }));
    double resizing = 0;
    for (int width = 600; width < 700; width += 10)
        resizing = std::max(resizing, timed([&] {
                                view.resize(width, 300);
                                view.grab();
                            }));

    QClipboard *const clipboard = QApplication::clipboard();
    const double copying = timed([&] {
        view.select(0, view.text().size());
        view.copy();
    });
    qsizetype copied = 0;
    const double pasting = timed([&] { copied = clipboard->mimeData()->text().size(); });
    clipboard->clear();

    std::printf("%-14s %5.0f MB  append %6.0f ms (%.0f ms of processor time), longest pause %5.1f "
                "ms, memory %.2f x the text\n",
                name, size, appending, processor, longest,
                static_cast<double>(taken) * 1024 / static_cast<double>(text.size()));
    std::printf("%24s jump %.1f ms, resize %.1f ms, copy %.1f ms, paste %.0f ms (%s)\n", "", jump,
                resizing, copying, pasting,
                copied == static_cast<qsizetype>(text.size()) ? "all there" : "NOT ALL THERE");
    if (view.text().size() != text.size())
        std::printf("%24s TEXT WAS LOST\n", "");
}

} // namespace

int main(int argc, char **argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    const std::size_t size = (argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100) * megabyte;
    const std::string kind = argc > 2 ? argv[2] : "lines";
    if (kind == "lines")
        measure("lines", ordinary(size));
    else if (kind == "long")
        measure("lines of 1 MB", long_lines(size));
    else if (kind == "none")
        measure("no line ends", std::string(size, 'x'));
    else
        measure("only line ends", std::string(size, '\r'));
}
