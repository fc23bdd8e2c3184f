#include "dialogs/dialog_results.h"

#include "dialogs/dialog_controls.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"

char pdfmerge_in[field_size];
char pdfmerge_out[field_size];
char pdfmerge_folder[path_size];
char gs_command[field_size];
char gs_folder[path_size];
char defaultPsOptions[preference_size];
char defaultPdfOptions[preference_size];

namespace {

// Reads the field. False when it is empty.
bool take_field(WindowRef window, std::int32_t id, char (&buffer)[field_size])
{
    GetEditData(window, id, buffer, sizeof buffer);
    return buffer[0] != 0;
}

void show_empty(WindowRef window, std::int32_t id)
{
    SetKeyboardFocus(window, dialog_control(window, id), kControlEditTextPart);
}

int save_merge(WindowRef window)
{
    const bool has_list = take_field(window, first_field, pdfmerge_in);
    const bool has_output = take_field(window, output_field, pdfmerge_out);
    if (has_list && has_output)
        return 1;
    show_empty(window, has_list ? output_field : first_field);
    return 0;
}

int save_command(WindowRef window)
{
    if (!take_field(window, first_field, gs_command)) {
        show_empty(window, first_field);
        return 0;
    }
    platform::copy_whole(command_line, gs_command);
    platform::copy_whole(curr_dir, gs_folder);
    return 1;
}

// Fields are stored as they were typed; who reads a number knows what to make of it.
int save_preferences(WindowRef window)
{
    bool stored = true;
    const auto store = [&stored](const char *key, const char *value) {
        stored = set_str_resource(key, value) != 0 && stored;
    };
    const auto store_field = [&](const char *key, std::int32_t id) {
        char value[preference_size];
        GetEditData(window, id, value, sizeof value);
        store(key, value);
    };
    const auto store_box = [&](const char *key, std::int32_t id) {
        store(key, is_checked(window, id) ? "1" : "0");
    };
    store_field("TIFF_OPTION_STR", tiff_resolution_field);
    store_box("TIFFCOMPRESS", tiff_compress_box);
    store_field("PICT_RES", picture_resolution_field);
    store_box("PICT_PREVIEW", picture_preview_box);
    store_box("PICT_DELETE", picture_delete_box);
    store_field("PDF2PS_OPTION_STR", pdf_options_field);
    usePDFTOPS = is_checked(window, pdftops_box) ? 1 : 0;
    store("PDFTOPS_STR", usePDFTOPS ? "1" : "0");
    store_field("PS2PDF_OPTION_STR", ps_options_field);
    if (have103)
        store_box("APPLE_PDF_STR", apple_pdf_box);
    if (!stored)
        tell_settings_are_not_stored();
    return 1;
}

} // namespace

int SaveResults(WindowRef window)
{
    switch (GetWRefCon(window)) {
    case merge_window_constant:
        return save_merge(window);
    case command_window_constant:
        return save_command(window);
    case preferences_constant:
        return save_preferences(window);
    default:
        return 1;
    }
}
