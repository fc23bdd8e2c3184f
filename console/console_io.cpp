#include "console/console_io.h"

#include "app/event_pump.h"
#include "console/console_text.h"
#include "platform/text_engine.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char line_feed = 10;
constexpr char carriage_return = 13;
constexpr char backspace = 8;
constexpr char enter_key = 3;

char buff[message_size];

char screen_buf[typed_size];
std::int32_t screen_buf_counter;
std::int32_t max_get;
unsigned char done;

const char ___devicename[] = "null device";

// One append in slices of append_size. `converted` is the caller's private buffer: past a NUL it
// is passed on as earlier calls left it.
std::int32_t append_converted(char *converted, const char *buffer, std::int32_t n)
{
    bool copying = true;
    for (std::int32_t start = 0; start < n; start += append_size) {
        const std::int32_t slice = std::min(n - start, append_size);
        for (std::int32_t i = 0; copying && i < slice; ++i) {
            const char c = buffer[start + i];
            if (c == 0)
                copying = false;
            else
                converted[i] = c == line_feed ? carriage_return : c;
        }
        TXNSetData(text, kTXNTextData, converted, static_cast<std::size_t>(slice), kTXNEndOffset,
                   kTXNEndOffset);
    }
    return n;
}

} // namespace

std::int32_t text_printf(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(buff, sizeof buff, format, arguments);
    va_end(arguments);

    std::int32_t appended = 0;
    if (length >= 0 && length < message_size) {
        std::replace(buff, buff + length, line_feed, carriage_return);
        appended = WriteCharsToConsole(buff, length);
    } else if (length >= message_size) {
        char *whole = nullptr;
        const int size = vasprintf(&whole, format, again);
        if (size >= 0) {
            appended = WriteCharsToConsole(whole, size);
            std::free(whole);
        }
    }
    va_end(again);
    return appended;
}

std::int32_t WriteCharsToConsole(const char *buffer, std::int32_t n)
{
    static char converted[append_size];
    return append_converted(converted, buffer, n);
}

std::int32_t WriteCharsToErrorConsole(const char *buffer, std::int32_t n)
{
    static char converted[append_size];
    return append_converted(converted, buffer, n);
}

std::int32_t PutTextInfo(const char *buffer, std::int32_t n)
{
    if (n <= 0)
        return 0;
    return TXNSetData(text, kTXNTextData, buffer, static_cast<std::size_t>(n), kTXNEndOffset,
                      kTXNEndOffset);
}

void FlushOutput()
{
    TXNForceUpdate(text);
}

void ClearTextWindow()
{
    TXNSelectAll(text);
    TXNClear(text);
}

std::int16_t InstallConsole(std::int16_t /*fd*/)
{
    return 0;
}

void RemoveConsole() {}

const char *__ttyname(std::int32_t fd)
{
    return fd >= 0 && fd <= 2 ? ___devicename : nullptr;
}

std::int32_t ReadCharsFromConsole(char *buffer, std::int32_t n)
{
    screen_buf[0] = 0;
    screen_buf_counter = 0;
    // A read asks for less than the buffer holds; one that asks for more gets what fits.
    max_get = std::min(n, typed_size - 1);
    done = 0;
    get_text = 1;
    if (max_get <= 0)
        done = 1;

    SetSelectionState(1);
    while (!done)
        main_event(0xFFFF);
    SetSelectionState(0);
    get_text = 0;

    // A string fed at once may be longer than what was asked for.
    const std::int32_t length =
        std::min(static_cast<std::int32_t>(std::strlen(screen_buf)), std::max(max_get, 0));
    std::memcpy(buffer, screen_buf, static_cast<std::size_t>(length));
    std::replace(buffer, buffer + length, carriage_return, line_feed);
    return length;
}

void TextKey1(char ch)
{
    if (get_text != 1)
        return;
    if (ch >= 27 && ch <= 31) // escape and the arrow keys
        return;
    if (ch == line_feed)
        ch = carriage_return;
    if (ch == backspace) {
        if (screen_buf_counter <= 0)
            return;
        --screen_buf_counter;
        screen_buf[screen_buf_counter] = 0;
    } else {
        if (screen_buf_counter < typed_size - 1)
            screen_buf[screen_buf_counter++] = ch;
    }
    // The Enter key ends the line, but is delivered as the byte that it is.
    if (ch == enter_key)
        ch = carriage_return;
    if (ch != carriage_return && screen_buf_counter < max_get)
        return;
    done = 1;
    screen_buf[screen_buf_counter] = 0;
}

void TextKey(char /*ch*/, std::int16_t /*modifiers*/) {}

void TypeString(const char *s)
{
    for (const char *p = s; *p != 0 && screen_buf_counter < typed_size - 1; ++p) {
        screen_buf[screen_buf_counter++] = *p == line_feed ? carriage_return : *p;
        if (*p == line_feed)
            done = 1;
    }
    screen_buf[screen_buf_counter] = 0;
    PutTextInfo(s, static_cast<std::int32_t>(std::strlen(s)));
}

void TypeChar(char ch)
{
    TextKey(ch, 0);
    PutTextInfo(&ch, 1);
}
