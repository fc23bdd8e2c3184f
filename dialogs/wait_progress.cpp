#include "dialogs/wait_progress.h"

#include "app/globals.h"
#include "dialogs/dialog_controls.h"
#include "engine/run_progress.h"
#include "platform/controls.h"
#include "platform/events.h"
#include "platform/processes.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr double refresh_interval = 0.25;  // seconds
constexpr std::size_t longest_name = 1024; // characters
constexpr std::uint32_t ticks_per_second = 60;

WindowRef sheet; // the sheet that is up; null: none
EventLoopTimerRef refresh_timer;
std::uint32_t start_of_run;  // ticks
std::uint32_t shown_seconds; // what the sheet says
bool script_died;            // without a report
run_progress progress;

void show_control(std::int32_t id, bool show)
{
    if (show)
        ShowControl(dialog_control(sheet, id));
    else
        HideControl(dialog_control(sheet, id));
}

void show_elapsed()
{
    shown_seconds = (TickCount() - start_of_run) / ticks_per_second;
    SetStaticData(sheet, wait_elapsed, ("Elapsed time: " + clock_text(shown_seconds)).c_str());
}

// "Page 3 of 20", in a merge "File 2: page 3 of 20".
std::string pages_text()
{
    std::string page;
    if (progress.page > 0)
        page = "age " + std::to_string(progress.page);
    if (progress.page > 0 && progress.total > 0)
        page += " of " + std::to_string(progress.total);
    if (progress.file == 0)
        return page.empty() ? "" : "P" + page;
    return "File " + std::to_string(progress.file) + (page.empty() ? "" : ": p" + page);
}

void show_bar()
{
    // Of a single page nothing is known until it is done; a script that has died does nothing.
    const Boolean indeterminate = progress.total > 1 || script_died ? 0 : 1;
    ControlRef bar = dialog_control(sheet, wait_bar);
    SetControlData(bar, kControlEntireControl, kControlProgressBarIndeterminateTag,
                   sizeof indeterminate, &indeterminate);
    if (!indeterminate) {
        SetControl32BitMaximum(bar, std::max(progress.total, 1));
        SetControl32BitValue(bar, progress.pages_done);
    }
    if (script_died)
        DeactivateControl(bar);
    else
        ActivateControl(bar);
}

void show_progress()
{
    const std::string pages = pages_text();
    SetStaticData(sheet, wait_pages, pages.c_str());
    show_control(wait_pages, !pages.empty());
    show_bar();
    SetStaticData(sheet, wait_last_line,
                  progress.last_line.empty() ? "The tool has said nothing yet."
                                             : progress.last_line.c_str());
}

// What the user can do: the usual hint, or what to do when the script has died.
void tell_notice(bool died)
{
    script_died = died;
    show_control(wait_notice, died);
    show_control(wait_hint, !died);
}

void refresh(EventLoopTimerRef /*timer*/, void * /*userData*/)
{
    if ((TickCount() - start_of_run) / ticks_per_second != shown_seconds)
        show_elapsed();
    if (read_progress(progress))
        show_progress();
}

} // namespace

void begin_wait_progress(WindowRef window, const wait_subject &subject)
{
    if (window == nullptr)
        return;
    sheet = window;
    start_of_run = subject.start;
    follow_output(progress, subject.output_of_tools);
    SetStaticData(sheet, wait_doing, subject.doing.c_str());
    SetStaticData(sheet, wait_input, line_for_show(subject.input, false, longest_name).c_str());
    SetStaticData(sheet, wait_output, line_for_show(subject.output, false, longest_name).c_str());
    show_control(wait_output_label, !subject.output.empty());
    show_control(wait_output, !subject.output.empty());
    tell_notice(false);
    show_elapsed();
    show_progress();
    InstallEventLoopTimer(GetCurrentEventLoop(), refresh_interval, refresh_interval,
                          NewEventLoopTimerUPP(refresh), nullptr, &refresh_timer);
}

void end_wait_progress()
{
    if (sheet == nullptr)
        return;
    RemoveEventLoopTimer(refresh_timer);
    sheet = nullptr;
}

void tell_script_died()
{
    if (sheet == nullptr || inScript == 0)
        return;
    tell_notice(true);
    show_bar();
}

std::string clock_text(std::uint32_t seconds)
{
    constexpr std::uint32_t minute = 60;
    constexpr std::uint32_t hour = 60 * minute;
    std::array<char, 32> text;
    if (seconds < hour)
        std::snprintf(text.data(), text.size(), "%u:%02u", seconds / minute, seconds % minute);
    else
        std::snprintf(text.data(), text.size(), "%u:%02u:%02u", seconds / hour,
                      seconds % hour / minute, seconds % minute);
    return text.data();
}
