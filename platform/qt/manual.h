// The manual in a window of its own: the pages that lie in the bundle's Resources.
#ifndef PAPERMILL_PLATFORM_QT_MANUAL_H
#define PAPERMILL_PLATFORM_QT_MANUAL_H

namespace platform {

// Brings the manual to the front, at its first page when it was not open.
void show_manual();

} // namespace platform

#endif
