#include "tests/support/console_capture.h"

#include "platform/headless/terminal.h"

#include <algorithm>

static std::string collected;

console_capture::console_capture()
{
    collected.clear();
    platform::set_text_writer(
        [](const char *bytes, std::size_t size) { collected.append(bytes, size); });
}

console_capture::~console_capture()
{
    platform::set_text_writer(nullptr);
}

const std::string &console_capture::text() const
{
    return collected;
}

std::string console_capture::lines() const
{
    std::string result = collected;
    std::replace(result.begin(), result.end(), '\r', '\n');
    return result;
}

void console_capture::clear()
{
    collected.clear();
}
