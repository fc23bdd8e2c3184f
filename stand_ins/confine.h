// Keeps a tool from writing anywhere but into the folders that are its own.
#ifndef PAPERMILL_STAND_INS_CONFINE_H
#define PAPERMILL_STAND_INS_CONFINE_H

#include <string>
#include <vector>

// From here on, this process and its children write, make and delete files only in these folders
// and below them; reading stays as it was, and so do files that are open already. Where the kernel
// offers no such protection, nothing changes.
void confine_writes(const std::vector<std::string> &folders);

#endif
