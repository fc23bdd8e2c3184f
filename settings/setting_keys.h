// The one table of all settings: what each is called, how its value is read, what holds without it.
// The values themselves are in the preferences file; see prefs_store.h.
#ifndef PAPERMILL_SETTINGS_SETTING_KEYS_H
#define PAPERMILL_SETTINGS_SETTING_KEYS_H

#include <cstddef>

// How the readers of a setting take its text.
enum setting_form {
    setting_text,            // as it stands
    setting_number,          // decimal
    setting_true_if_one,     // true when it begins with the digit one
    setting_true_unless_zero // true when it is not empty and does not begin with the digit zero
};

struct setting_key {
    const char *name;
    setting_form form;
    const char *shipped;      // the default that comes with the program; null: none
    const char *when_not_set; // what holds then, for people; null: the shipped default, or nothing
    const char *meaning;      // one line
};

// The options for PDF writing that come with the program, where PS2PDF_OPTION_STR is not set.
constexpr char distilling_options[] =
    "-dPDFSETTINGS=/printer -dCompatibilityLevel=1.3 -sPAPERSIZE=letter";

extern const setting_key setting_keys[];
extern const std::size_t setting_key_count;

// What holds while the setting is not set, for people; never null.
const char *default_text(const setting_key &of);

#endif
