// The folders that the system provides, and the private temporary folder of this process.
#ifndef PAPERMILL_PLATFORM_CORE_FOLDERS_H
#define PAPERMILL_PLATFORM_CORE_FOLDERS_H

#include <string>

namespace platform {

// This process's temporary folder, of mode 0700, under $TMPDIR or /tmp; made on first use when
// `create` is set, with what dead processes of the same user left there removed. It is removed at
// exit. Empty when there is none and it cannot be made.
std::string temporary_folder(bool create);

std::string home_folder();        // $HOME, else the user's entry in the system's list
std::string preferences_folder(); // $XDG_CONFIG_HOME/papermill or ~/.config/papermill; made here

} // namespace platform

#endif
