// A sheet's place: along the top of the window that it is attached to.
#ifndef PAPERMILL_PLATFORM_QT_SHEET_H
#define PAPERMILL_PLATFORM_QT_SHEET_H

#include <QFrame>

namespace platform {

// Shows the sheet in the window and gives it the keyboard. What is in the window makes room for it
// and can be used meanwhile; the window grows when both are too large for it.
void attach_sheet(QFrame *sheet, QWidget *window);

// The size that the window has without the sheet, which is shown in it.
QSize size_without_sheet(QFrame *sheet);

// Hides it, and the window is as it was.
void detach_sheet(QFrame *sheet);

} // namespace platform

#endif
