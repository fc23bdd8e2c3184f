// Fonts by name and number. Number 0 is the desktop's interface font. Where no fonts of these names
// are installed, "Monaco" is the desktop's fixed-pitch font, and "Lucida Grande" its interface
// font. The terminal program has no font but number 0.
#ifndef PAPERMILL_PLATFORM_FONTS_H
#define PAPERMILL_PLATFORM_FONTS_H

#include "platform/types.h"

// The number of the font of that name, without regard to case or diacritical marks; 0 when there is
// none, and for the interface font. Numbers hold as long as the process lives.
void GetFNum(ConstStringPtr name, std::int16_t *number);

// The name of the font of that number, at most 255 bytes; empty when there is none.
void GetFontName(std::int16_t number, StringPtr name);

#endif
