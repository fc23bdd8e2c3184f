// A user in front of a chooser: what he does is written down first, and done one thing after the
// other while the chooser, which waits for him, is open.
#ifndef PAPERMILL_TESTS_QT_CHOOSER_USER_H
#define PAPERMILL_TESTS_QT_CHOOSER_USER_H

#include <QFileDialog>
#include <QMessageBox>
#include <QObject>

#include <deque>
#include <functional>
#include <string>
#include <vector>

class chooser_user {
public:
    // Expects that everything was done.
    ~chooser_user();

    // The next chooser, message or other dialog that is open and waits is handed to the function.
    void in_chooser(std::function<void(QFileDialog &)> action);
    void in_message(std::function<void(QMessageBox &)> action);
    void in_dialog(const char *object_name, std::function<void(QDialog &)> action);

    // The same with a window of the program's own, by its title.
    void in_window(const char *title, std::function<void(QWidget &)> action);

    // A message whose text has `part` in it is read and answered with its default button or Escape.
    void reads(const std::string &part);
    void cancels(); // the chooser

private:
    struct step {
        std::function<bool(QWidget *)> is_due;
        std::function<void(QWidget *)> action;
    };
    void add(step next);
    void look();

    std::deque<step> steps;
    std::vector<QWidget *> busy; // where an action is still at work, perhaps under a message
    QObject glances;             // they end with this
    bool looking = false;
    int patience = 0;
};

// Types the name over what stands in the chooser's field.
void type_name(QFileDialog &chooser, const std::string &name);
void press_accept(QDialog &dialog); // its button for yes
void press(QWidget &in, int key);   // in its window, by whoever has the keyboard there

// The names that the chooser lists, sorted, once there are `count` of them; what there is after ten
// seconds.
std::vector<std::string> listed(QFileDialog &chooser, std::size_t count);

// Sorts what it lists, which may be in the order that some chooser had last.
void sort_by_name(QFileDialog &chooser, Qt::SortOrder order = Qt::AscendingOrder);

// Clicks the row of that name; twice at once opens it.
void click_row(QFileDialog &chooser, const std::string &name, int times = 1);

// Clicks the row with the Control key, so that what was selected before stays so.
void click_row_too(QFileDialog &chooser, const std::string &name);

#endif
