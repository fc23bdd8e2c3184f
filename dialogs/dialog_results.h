// What the program's dialogs leave behind when they are closed with OK: the fields of each, by its
// window's reference constant.
#ifndef PAPERMILL_DIALOGS_DIALOG_RESULTS_H
#define PAPERMILL_DIALOGS_DIALOG_RESULTS_H

#include "app/globals.h"
#include "platform/windows.h"

#include <cstddef>
#include <cstdint>

// The reference constants.
enum : std::int32_t {
    merge_window_constant = 128,
    command_window_constant = 129,
    changes_sheet_constant = 140,
    wait_sheet_constant = 145,
    preferences_constant = 160
};

// The controls that several windows have; 3 is a folder button, or the tabs of the preferences.
enum : std::int32_t {
    ok_control = 1,
    cancel_control = 2,
    folder_button = 3,
    tab_control = 3,
    first_field = 4, // the file list, the command
    folder_text = 5,
    output_field = 6 // of the merge window
};

// The preferences' own controls.
enum : std::int32_t {
    apple_pdf_box = 4,
    ps_defaults_button = 5,
    ps_options_field = 6,
    pdftops_box = 7,
    pdf_defaults_button = 8,
    pdf_options_field = 9,
    tiff_resolution_field = 11,
    picture_preview_box = 13,
    picture_delete_box = 14,
    picture_resolution_field = 15,
    tiff_compress_box = 17
};

constexpr std::size_t field_size = 1024;     // room for a field's text with its NUL
constexpr std::size_t preference_size = 501; // the same in the preferences

// ---- the merge window ----
extern char pdfmerge_in[field_size];    // the file list; SaveResults -> GetPdfMergeFiles
extern char pdfmerge_out[field_size];   // the output's name; likewise
extern char pdfmerge_folder[path_size]; // the folder shown; opener, folder button -> likewise

// ---- the command-line window ----
extern char gs_command[field_size]; // the command; SaveResults -> GetCommandLine
extern char gs_folder[path_size];   // the folder shown; opener, folder button -> SaveResults

// ---- the preferences: what the buttons put into the option fields; GetPrefs -> handler ----
extern char defaultPsOptions[preference_size];
extern char defaultPdfOptions[preference_size];

// Takes what is in the window's fields. 1 when the window may close; 0 when a field that must have
// something in it is empty: it gets the keyboard.
int SaveResults(WindowRef window);

#endif
