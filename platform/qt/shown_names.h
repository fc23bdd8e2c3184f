// Names as people can read them, and as fields hold them.
#ifndef PAPERMILL_PLATFORM_QT_SHOWN_NAMES_H
#define PAPERMILL_PLATFORM_QT_SHOWN_NAMES_H

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>

namespace platform {

// As a text's bytes are (shown_text.h), but on one line, and what is no UTF-8 is shown as \xNN: two
// names that differ look different.
QString shown_name(const std::string &bytes);

// The same for a message: a long name may be broken anywhere.
QString shown_message(const std::string &bytes);

// For a field that can be typed into: each byte that is no UTF-8 is a unit that no other text has,
// so that the field's text gives the very same bytes.
QString field_text(std::string_view bytes);
QByteArray field_bytes(const QString &text);

} // namespace platform

#endif
