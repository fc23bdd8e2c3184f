// Names that are no UTF-8: Qt's file dialog passes over them, so they have a list of their own.
#ifndef PAPERMILL_PLATFORM_QT_UNLISTED_NAMES_H
#define PAPERMILL_PLATFORM_QT_UNLISTED_NAMES_H

#include "platform/qt/chooser_request.h"

#include <string>
#include <vector>

class QWidget;

namespace platform {

// The names in the folder that the dialog does not list, of items that are to be shown: those that
// are no UTF-8, or all of them when the folder's own path is none. Sorted.
std::vector<std::string> unlisted_names(const std::string &folder, const chooser_request &request);

// Shows the list and lets the user go into folders of such names. What was chosen: nothing, a path,
// or several in the list's order where the request takes several. `name` is that of the new file,
// to be put into a folder of such a name.
std::vector<std::string> ask_for_unlisted_names(const std::string &folder, const std::string &name,
                                                const chooser_request &request, QWidget *parent);

} // namespace platform

#endif
