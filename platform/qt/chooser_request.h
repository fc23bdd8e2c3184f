// What is to be chosen, and what the program has to say about it.
#ifndef PAPERMILL_PLATFORM_QT_CHOOSER_REQUEST_H
#define PAPERMILL_PLATFORM_QT_CHOOSER_REQUEST_H

#include <QString>
#include <QStringList>

#include <functional>
#include <string>
#include <vector>

namespace platform {

enum class choice { open_file, choose_file, choose_folder, new_file };

struct chooser_request {
    choice what;
    QString title; // empty: the system's own
    std::string folder;
    QString name;        // proposed for a new file
    QStringList popup;   // the items of the popup; none: there is no popup
    bool takes_packages; // a folder that is an application is taken as a file
    bool takes_several;  // files, of open_file

    // Whether the item is shown.
    std::function<bool(const std::string &path, bool is_folder)> shows;
    std::function<void(int)> popup_selected; // the item's index
    // What was chosen, one or several, before the chooser closes. False keeps it open.
    std::function<bool(const std::vector<std::string> &paths)> takes;
};

} // namespace platform

#endif
