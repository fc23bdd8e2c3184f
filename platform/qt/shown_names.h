// Names as people can read them.
#ifndef PAPERMILL_PLATFORM_QT_SHOWN_NAMES_H
#define PAPERMILL_PLATFORM_QT_SHOWN_NAMES_H

#include <QString>

#include <string>

namespace platform {

// As a text's bytes are (shown_text.h), but on one line, and what is no UTF-8 is shown as \xNN: two
// names that differ look different.
QString shown_name(const std::string &bytes);

// The same for a message: a long name may be broken anywhere.
QString shown_message(const std::string &bytes);

} // namespace platform

#endif
