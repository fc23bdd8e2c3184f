// Pascal strings (a length byte, then up to 255 bytes) and bounded copies of C strings.
#ifndef PAPERMILL_PLATFORM_STRINGS_H
#define PAPERMILL_PLATFORM_STRINGS_H

#include "platform/types.h"

#include <cstddef>
#include <string_view>

// Turns the C string at `s` into a Pascal string in place, and back; the same address is returned.
// The buffer must have room for one more byte than the text. c2pstr keeps at most 255 bytes.
StringPtr c2pstr(char *s);
char *p2cstr(StringPtr s);

// Compares without regard to case (unless caseSensitive) or to diacritical marks (unless
// diacSensitive). Bytes are UTF-8.
Boolean EqualString(ConstStringPtr a, ConstStringPtr b, Boolean caseSensitive,
                    Boolean diacSensitive);

namespace platform {

// Copies the C string into the buffer when it fits whole with its NUL. False, and the buffer
// unchanged, when it does not: a path is never truncated.
bool copy_whole(char *buffer, std::size_t size, const char *s);

template <std::size_t size>
bool copy_whole(char (&buffer)[size], const char *s)
{
    return copy_whole(buffer, size, s);
}

// How many of the first `size` bytes of a longer UTF-8 text make whole characters: where to cut it.
// Bytes that are no UTF-8 are characters of their own.
std::size_t whole_characters(const char *text, std::size_t size);

// Writes the text as a Pascal string, of which it keeps at most 255 bytes.
void to_pascal(std::string_view text, StringPtr pascal);

} // namespace platform

#endif
