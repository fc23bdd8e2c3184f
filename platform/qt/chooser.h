// The one window behind all choosers: Qt's own file dialog, which can ask the program which items
// to show, made to take every name that a file can have.
#ifndef PAPERMILL_PLATFORM_QT_CHOOSER_H
#define PAPERMILL_PLATFORM_QT_CHOOSER_H

#include "platform/qt/chooser_request.h"

#include <QFileDialog>

#include <cstdarg>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QPushButton;

namespace platform {

// Shows the message, formatted as with printf, on `parent`, and waits for the user.
[[gnu::format(printf, 2, 3)]] void show_refusal(QWidget *parent, const char *format, ...);
[[gnu::format(printf, 2, 0)]] void show_refusal(QWidget *parent, const char *format,
                                                std::va_list arguments);

class chooser : public QFileDialog {
public:
    // The request is kept by reference.
    chooser(const chooser_request &what, QWidget *parent);
    void accept() override;

private:
    [[nodiscard]] std::vector<std::string> selected_paths() const; // of the rows clicked
    [[nodiscard]] std::vector<std::string> typed_paths() const;
    [[nodiscard]] std::string path_of(const std::string &name) const;
    void accept_several(const std::vector<std::string> &paths);
    bool enter(const std::string &folder);
    void offer(const std::vector<std::string> &paths);
    bool may_replace(const std::string &path);
    void add_notice();
    void update_notice();
    void choose_unlisted();

    const chooser_request &request;
    QLineEdit *name_field;
    QLabel *notice;
    QPushButton *notice_button;
    bool name_counts; // the name was typed since a row was last clicked
    bool is_typing = false;
};

} // namespace platform

#endif
