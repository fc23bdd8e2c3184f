// How the menus and the windows ask the user for files and folders. A buffer for a path has
// path_size bytes.
#ifndef PAPERMILL_SETTINGS_FILE_PROMPTS_H
#define PAPERMILL_SETTINGS_FILE_PROMPTS_H

// Asks for an input file; the popup offers `ext` (may be null) and all files. Non-zero when one was
// chosen; the buffer is as it was when not.
int get_file(char *path, const char *ext);

// The same, and stores the file's folder as "TEXDIR". 1; or 0, and an empty path.
int get_input_file(char *path, const char *ext);

// Asks for the name of a new file, which is made at once (see nav_put_file1). 1; or 0, and the
// buffer is as it was.
int put_file(const char *prompt, const char *defaultName, char *path);

// The same; defaultName may be null. 1; or 0, and an empty path.
int put_output_file(char *path, const char *prompt, const char *defaultName);

// Asks for a folder. 1; or 0, and the buffer is as it was.
int get_working_folder(char *folder, const char *prompt);

#endif
