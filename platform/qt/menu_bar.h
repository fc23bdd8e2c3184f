// The menu bar in the window that shows it.
#ifndef PAPERMILL_PLATFORM_QT_MENU_BAR_H
#define PAPERMILL_PLATFORM_QT_MENU_BAR_H

class QWidget;

namespace platform {

// How much of the window's top its menu bar takes: 0 when there is none, or when the desktop shows
// it elsewhere. What is in the window keeps within its margins, which leave this free.
int menu_bar_height(const QWidget *window);

// Gives the window, the first document's, an empty bar, which the program's takes the place of: a
// window that is on the screen already is not to grow by it.
void make_empty_menu_bar(QWidget *window);

} // namespace platform

#endif
