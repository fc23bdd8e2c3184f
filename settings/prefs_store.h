// The settings: named text values in one preferences resource file, a 'Cstr' resource for each,
// found by its name (setting_keys.h lists them). The file is opened and closed around every single
// read and write; nothing is kept in memory. An empty value counts as not set everywhere.
//
// Every operation leaves the current resource file as it was.
#ifndef PAPERMILL_SETTINGS_PREFS_STORE_H
#define PAPERMILL_SETTINGS_PREFS_STORE_H

#include "app/globals.h"
#include "platform/resources.h"
#include "settings/setting_keys.h"

#include <cstddef>
#include <string>

// The preferences file's name, in the Preferences folder and in the bundle.
constexpr char prefs_file_name[] = "PapermillPrefsDF";

extern unsigned char havePrefs;    // the preferences file can be opened; check_config -> all others
extern unsigned char damagedPrefs; // start-up met a damaged one; make_config -> terminal program
extern char prefsFile[path_size + sizeof prefs_file_name]; // its full path; myFSpOpenResFile

// Opens the preferences file and makes it the current resource file; -1 when it cannot. The caller
// closes it.
ResFileRefNum myFSpOpenResFile();

// Sets havePrefs: whether the preferences file can be opened.
void check_config();

// At start-up, after check_config: puts the bundle's pristine copy into the Preferences folder when
// there is no file, and says so. A damaged file is renamed aside first; one that is there but
// cannot be opened stays, and the settings read as not set.
void make_config();

// Warns when there is no preferences file.
void NoPrefFile();

// The value in a buffer that the next call overwrites; null when it is not set or has 255 bytes or
// more.
const char *get_str_resource(const char *key);

// The value, of any length, to be freed by the caller; null when it is not set.
char *get_string(const char *key);

// The value, or `fallback` when it is not set.
std::string string_setting(const char *key, const char *fallback);

// The number at the value's start, 0 when there is none; `fallback` when it is not set.
int number_setting(const char *key, int fallback);

// Stores the value, at once. 1, or 0 when it cannot be stored.
int set_str_resource(const char *key, const char *value);

// Says that settings could not be stored, and why most likely. For who has changed them by hand.
void tell_settings_are_not_stored();

// The shipped default of that name in the current resource file, to be freed by the caller; null
// when there is none or it is empty.
char *get_default_resource(const char *key);

// The setting in a new buffer of 256 bytes, zeros behind it, to be freed by the caller; null when
// it is not set.
char *GetApp(const char *key);

// Cuts the text at the first " -@ ". What follows the marker becomes curr_dir, and the result is
// 1; 0 when there is no marker, nothing follows it, or the folder does not fit (with a message).
int SetCurrDirFromParameter(char *text);

#endif
