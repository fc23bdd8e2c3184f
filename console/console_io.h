// The way into the console: formatted output, raw appends, typed input, and the five entry points
// through which a standard-I/O library can route its streams here. The console's line ending is
// the carriage return.
#ifndef PAPERMILL_CONSOLE_CONSOLE_IO_H
#define PAPERMILL_CONSOLE_CONSOLE_IO_H

#include <cstdint>

constexpr std::int32_t message_size = 2048; // room of text_printf's own buffer
constexpr std::int32_t append_size = 8192;  // bytes of one append to the text object
constexpr std::int32_t typed_size = 2048;   // room for the typed input of one read

// ---- output ----

// Formats like printf, turns line feeds into carriage returns, appends. Returns the number of
// characters appended. A message of message_size bytes or more is formatted whole, elsewhere.
[[gnu::format(printf, 1, 2)]] std::int32_t text_printf(const char *format, ...);

// Appends n bytes with line feeds as carriage returns; returns n. Copying stops at a NUL: what
// follows it, up to n, is what the private buffer still holds from earlier calls. More than
// append_size bytes go in slices.
std::int32_t WriteCharsToConsole(const char *buffer, std::int32_t n);

// The same for the error stream, with a private buffer of its own.
std::int32_t WriteCharsToErrorConsole(const char *buffer, std::int32_t n);

// Appends n bytes as they are. Returns the text engine's result.
std::int32_t PutTextInfo(const char *buffer, std::int32_t n);

void FlushOutput();     // redraw the console now
void ClearTextWindow(); // empty the console

// ---- console device interface ----

std::int16_t InstallConsole(std::int16_t fd); // 0: there is nothing to set up
void RemoveConsole();                         // nothing to take down
const char *__ttyname(std::int32_t fd);       // a name for 0, 1 and 2, else null

// Waits for typed input, turning the event pump, until a line is complete or n characters came.
// Delivers it without a terminating NUL, carriage returns as line feeds; returns its length.
std::int32_t ReadCharsFromConsole(char *buffer, std::int32_t n);

// ---- input ----

// Takes one typed character while a read is pending; otherwise does nothing.
void TextKey1(char ch);
void TextKey(char ch, std::int16_t modifiers); // does nothing
void TypeString(const char *s);                // feeds s as if it were typed, and shows it
void TypeChar(char ch);                        // shows one character

#endif
