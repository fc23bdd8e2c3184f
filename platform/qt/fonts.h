// The fonts behind the names that platform/fonts.h speaks of.
#ifndef PAPERMILL_PLATFORM_QT_FONTS_H
#define PAPERMILL_PLATFORM_QT_FONTS_H

#include "platform/types.h"

#include <QFont>

#include <string>
#include <vector>

namespace platform {

// The font of that name; the interface font when there is none.
QFont font_named(ConstStringPtr name);

// The names of the families that the desktop has, sorted.
std::vector<std::string> installed_fonts();

} // namespace platform

#endif
