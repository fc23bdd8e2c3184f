// The way of a result to where the user wants it: made in a private folder beside the destination,
// it takes its place in one step, when it is complete.
#ifndef PAPERMILL_STAND_INS_RESULT_PLACE_H
#define PAPERMILL_STAND_INS_RESULT_PLACE_H

#include <string>

struct result_place {
    std::string destination; // the file itself, links followed; its path is absolute
    std::string folder;      // that it lies in
    bool device;             // it is no ordinary file, and is written to in the end
};

// Where a result for `output` goes. Says on standard error what is wrong.
bool find_place(const char *output, result_place *place);

// Makes a new folder for what is unfinished. When `link` is not empty, it is made before, to lead
// there, so that whoever clears up after a run that was killed finds the folder. Says on standard
// error what is wrong.
bool make_unfinished_folder(const char *output, const std::string &parent, const std::string &link,
                            std::string *made);

// Says that the temporary folder can't be used for the file; errno tells why.
void tell_unusable_folder(const char *file);

// Puts the result into its place. An older file there keeps its owner and permissions, and is there
// whole until the new one is; a device is written to. Says on standard error what is wrong; `name`
// is what the user calls the destination.
bool put_result(const std::string &result, const std::string &destination, const char *name);

// Tells when there is no room for a byte more in the folder where the result is made, which is
// called `folder`: some tools end then as if all were well, or without a word.
void tell_full_disk(const char *output, const std::string &unfinished, const std::string &folder);

// The path from the root on.
std::string absolute(const std::string &path);

#endif
