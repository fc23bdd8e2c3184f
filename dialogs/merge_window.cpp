#include "dialogs/merge_window.h"

#include "dialogs/dialog_controls.h"
#include "dialogs/dialog_machinery.h"
#include "dialogs/merge_words.h"
#include "platform/files.h"
#include "platform/strings.h"
#include "settings/file_choosers.h"
#include "settings/path_utils.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

char posix_folder[path_size]; // the folder that the window shows first

std::vector<merge_word> words; // the items of the list, in its order

// A button that has nothing more to do leaves the keyboard to the list: the next button would get
// it, and do something else with the same key.
void set_active(WindowRef window, std::int32_t id, bool active)
{
    ControlRef control = dialog_control(window, id);
    if (active) {
        ActivateControl(control);
        return;
    }
    ControlRef focus = nullptr;
    if (GetKeyboardFocus(window, &focus) == noErr && focus == control)
        SetKeyboardFocus(window, dialog_control(window, merge_list), kControlEntireControl);
    DeactivateControl(control);
}

std::string field_text(WindowRef window)
{
    char text[field_size];
    GetEditData(window, first_field, text, sizeof text);
    return text;
}

void tell(WindowRef window, const std::string &notice)
{
    SetStaticData(window, merge_notice, notice.c_str());
    ControlRef control = dialog_control(window, merge_notice);
    if (notice.empty())
        HideControl(control);
    else
        ShowControl(control);
}

void update_buttons(WindowRef window)
{
    const auto selected =
        static_cast<std::size_t>(GetControl32BitValue(dialog_control(window, merge_list)));
    set_active(window, merge_remove, selected > 0);
    set_active(window, merge_up, selected > 1);
    set_active(window, merge_down, selected > 0 && selected < words.size());
}

void show_list(WindowRef window)
{
    std::string items;
    for (const merge_word &each : words)
        items += each.name + '\0';
    SetControlData(dialog_control(window, merge_list), kControlEntireControl, kControlListItemsTag,
                   items.size(), items.data());
    update_buttons(window);
}

// The text has been changed: the list shows it where it is names, and is out of use where it is
// more than that.
void follow_text(WindowRef window)
{
    const bool names = split_words(field_text(window), &words);
    show_list(window);
    set_active(window, merge_list, names);
    set_active(window, merge_add, names);
    tell(window, names ? "" : "These are not only names; they go to the shell as they stand.");
}

// The list has been used: the text follows when items were moved or removed.
void follow_list(WindowRef window)
{
    std::vector<std::int32_t> order(words.size());
    std::size_t size = 0;
    GetControlData(dialog_control(window, merge_list), kControlEntireControl, kControlListOrderTag,
                   order.size() * sizeof order[0], order.data(), &size);
    order.resize(std::min(order.size(), size / sizeof order[0]));
    std::vector<merge_word> moved;
    bool changed = order.size() != words.size();
    for (const std::int32_t number : order) {
        changed = changed || number != static_cast<std::int32_t>(moved.size());
        moved.push_back(words.at(static_cast<std::size_t>(number)));
    }
    words = std::move(moved);
    if (changed)
        SetEditData(window, first_field, join_words(words).c_str());
    show_list(window);
}

// Moves the selected item by so many rows, or takes it out.
void change_selected(WindowRef window, std::int32_t button)
{
    ControlRef list = dialog_control(window, merge_list);
    const std::int32_t selected = GetControl32BitValue(list); // from 1 on
    if (selected < 1 || selected > static_cast<std::int32_t>(words.size()))
        return;
    const auto at = words.begin() + (selected - 1);
    std::int32_t selected_then = selected;
    if (button == merge_remove) {
        words.erase(at);
    } else if (button == merge_up && selected > 1) {
        std::iter_swap(at, at - 1);
        --selected_then;
    } else if (button == merge_down && at + 1 != words.end()) {
        std::iter_swap(at, at + 1);
        ++selected_then;
    }
    SetEditData(window, first_field, join_words(words).c_str());
    show_list(window);
    SetControl32BitValue(list, std::min(selected_then, static_cast<std::int32_t>(words.size())));
    update_buttons(window);
}

// Why the files were not added: from the one at `first` on there is no room.
std::string no_room(const std::vector<std::string> &paths, std::size_t first,
                    const merge_word &word)
{
    const auto name = [](const std::string &path) { return path.substr(path.rfind('/') + 1); };
    const std::string limit = "all names together have at most 1023 bytes. ";
    const std::string advice = word.name.starts_with('/')
                                   ? "Choose the folder that the files lie in first."
                                   : "Merge some of them first.";
    if (paths.size() == 1)
        return "There is no room for " + name(paths[0]) + ": " + limit + advice;
    return "Nothing was added, because from " + name(paths[first]) + " on there is no room for " +
           std::to_string(paths.size() - first) + " of the " + std::to_string(paths.size()) +
           " files: " + limit + advice;
}

// All of them, or none: in half a list something would be missing without being missed.
void add_files(WindowRef window)
{
    std::vector<std::string> paths;
    if (nav_get_files1(&paths, ".pdf", "Add PDF files") == 0)
        return;
    std::vector<merge_word> longer = words;
    for (std::size_t number = 0; number < paths.size(); ++number) {
        longer.push_back(word_for(paths[number], pdfmerge_folder));
        if (join_words(longer).size() >= field_size)
            return tell(window, no_room(paths, number, longer.back()));
    }
    words = std::move(longer);
    SetEditData(window, first_field, join_words(words).c_str());
    tell(window, "");
    show_list(window);
    SetControl32BitValue(dialog_control(window, merge_list),
                         static_cast<std::int32_t>(words.size()));
    update_buttons(window);
}

OSStatus list_handler(EventHandlerCallRef /*call*/, EventRef event, void *userData)
{
    auto *const window = static_cast<WindowRef>(userData);
    ControlRef control = nullptr;
    ControlID id = {};
    if (GetEventParameter(event, kEventParamDirectObject, sizeof(void *), &control) != noErr ||
        GetControlID(control, &id) != noErr)
        return eventNotHandledErr;
    const bool changes_text = GetEventClass(event) == kEventClassTextField;
    if (changes_text && id.id == first_field)
        follow_text(window);
    else if (changes_text)
        return eventNotHandledErr;
    else if (id.id == merge_list)
        follow_list(window);
    else if (id.id == merge_add)
        add_files(window);
    else if (id.id == merge_remove || id.id == merge_up || id.id == merge_down)
        change_selected(window, id.id);
    else
        return eventNotHandledErr;
    return noErr;
}

constexpr EventTypeSpec list_events[] = {{kEventClassControl, kEventControlHit},
                                         {kEventClassTextField, kEventTextFieldChanged}};

} // namespace

int GetPdfMergeFiles(char (&list)[field_size], char (&out)[field_size], char (&folder)[path_size])
{
    cancelDialog = 0;
    WindowRef window = make_dialog("pdfmerge", merge_window_constant);

    FSSpec spec;
    const bool there = folder[0] != 0 && UnixPathToFolder(folder, &spec) == 1;
    platform::copy_whole(posix_folder, there ? folder : appPath);
    platform::copy_whole(pdfmerge_folder, posix_folder);
    SetStaticData(window, folder_text, posix_folder);
    if (list[0] != 0) {
        SetEditData(window, first_field, list);
        SelectEditData(window, first_field);
    }
    if (out[0] != 0)
        SetEditData(window, output_field, out);
    follow_text(window);

    static const EventHandlerUPP handler = NewEventHandlerUPP(list_handler);
    InstallEventHandler(GetWindowEventTarget(window), handler, std::size(list_events), list_events,
                        window);
    if (!run_dialog(window))
        return 0;
    platform::copy_whole(list, pdfmerge_in);
    platform::copy_whole(out, pdfmerge_out);
    platform::copy_whole(folder, pdfmerge_folder);
    return 1;
}
