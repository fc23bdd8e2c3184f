#include "platform/text_engine.h"

#include "platform/events.h"
#include "platform/headless/state.h"
#include "platform/headless/terminal.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <list>
#include <poll.h>
#include <string>
#include <unistd.h>

struct OpaqueTXNObject {
    WindowRef window;
};

namespace {

// They live until they are deleted, the list for ever.
std::list<OpaqueTXNObject> &objects = *new std::list<OpaqueTXNObject>;

platform::text_writer writer = platform::print_text;

// Waits until the file takes PIPE_BUF bytes. False when nobody reads and the user has interrupted
// the program: it must not hang on what nobody will see. Whoever did not read in that time is not
// waited for again.
bool wait_for_reader(int file)
{
    constexpr int patience = 250; // milliseconds
    static bool stands_still;
    pollfd ready = {file, POLLOUT, 0};
    int count = 0;
    while ((count = poll(&ready, 1, stands_still ? 0 : patience)) <= 0) {
        if (count == 0 && platform::interrupt_signal() != 0) {
            stands_still = true;
            return false;
        }
    }
    stands_still = false;
    return true;
}

void write_all(int file, const std::string &bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        if (!wait_for_reader(file))
            return;
        const std::size_t size = std::min<std::size_t>(bytes.size() - written, PIPE_BUF);
        const ssize_t n = write(file, bytes.data() + written, size);
        if (n < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (n < 0) // nobody reads any more: the work goes on all the same
            return;
        written += static_cast<std::size_t>(n);
    }
}

// A control character that a terminal would act upon.
bool steers_terminal(char c)
{
    return (c >= 0 && c < 32 && c != '\n' && c != '\t') || c == 127;
}

} // namespace

void platform::set_text_writer(text_writer new_writer)
{
    writer = new_writer == nullptr ? print_text : new_writer;
}

void platform::show_text(const char *bytes, std::size_t size)
{
    writer(bytes, size);
}

void platform::print_text(const char *bytes, std::size_t size)
{
    print_text_on(STDOUT_FILENO, bytes, size);
}

void platform::print_text_on(int file, const char *bytes, std::size_t size)
{
    const bool terminal = isatty(file) != 0;
    std::string shown(bytes, size);
    std::replace(shown.begin(), shown.end(), '\r', '\n');
    if (terminal && std::any_of(shown.begin(), shown.end(), steers_terminal)) {
        std::string safe;
        for (const char c : shown) {
            if (steers_terminal(c)) {
                safe += '^';
                safe += static_cast<char>(c ^ 64);
            } else {
                safe += c;
            }
        }
        shown.swap(safe);
    }
    write_all(file, shown);
}

OSStatus TXNInitTextension(const TXNMacOSPreferredFontDescription * /*fonts*/,
                           std::size_t /*count*/, std::uint32_t /*options*/)
{
    return noErr;
}

void TXNTerminateTextension() {}

OSStatus TXNNewObject(WindowRef window, const Rect * /*frame*/, std::uint32_t /*frameOptions*/,
                      std::uint32_t /*frameType*/, OSType fileType, std::uint32_t /*encoding*/,
                      TXNObject *object, TXNFrameID *frameID)
{
    if (window == nullptr || fileType != kTXNTextData)
        return paramErr;
    *object = &objects.emplace_back(OpaqueTXNObject{window});
    *frameID = 1;
    return noErr;
}

void TXNDeleteObject(TXNObject object)
{
    objects.remove_if([object](const OpaqueTXNObject &each) { return &each == object; });
}

OSStatus TXNSetData(TXNObject /*object*/, OSType type, const void *data, std::size_t length,
                    TXNOffset start, TXNOffset end)
{
    if (type != kTXNTextData || start != kTXNEndOffset || end != kTXNEndOffset)
        return paramErr;
    platform::show_text(static_cast<const char *>(data), length);
    return noErr;
}

OSStatus TXNSave(TXNObject /*object*/, OSType /*fileType*/, OSType /*resourceType*/,
                 std::uint32_t /*encoding*/, const FSSpec * /*file*/, FSIORefNum /*data*/,
                 std::int16_t /*resources*/)
{
    return paramErr;
}

OSStatus TXNSetTXNObjectControls(TXNObject /*object*/, Boolean /*clearAll*/, std::size_t count,
                                 const TXNControlTag *tags, const TXNControlData *data)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (tags[i] == kTXNSelectionStateTag)
            platform::take_typed_keys(data[i].uValue == 1);
        else if (tags[i] != kTXNMarginsTag && tags[i] != kTXNContextTag)
            return paramErr;
    }
    return noErr;
}

// What has been printed stays printed, and in the terminal's own font: there is nothing to redraw,
// to select or to delete, and no place on a screen.
void TXNForceUpdate(TXNObject /*object*/) {}
void TXNUpdate(TXNObject /*object*/) {}
void TXNSelectAll(TXNObject /*object*/) {}
void TXNIdle(TXNObject /*object*/) {}
void TXNFocus(TXNObject /*object*/, Boolean /*focus*/) {}
void TXNActivate(TXNObject /*object*/, Boolean /*active*/) {}
void TXNSetFrameBounds(TXNObject /*object*/, std::int16_t /*top*/, std::int16_t /*left*/,
                       std::int16_t /*bottom*/, std::int16_t /*right*/, TXNFrameID /*frame*/)
{
}
void TXNRecalcTextLayout(TXNObject /*object*/) {}
void TXNClick(TXNObject /*object*/, const EventRecord * /*event*/) {}
void TXNGrowWindow(TXNObject /*object*/, const EventRecord * /*event*/) {}
void TXNZoomWindow(TXNObject /*object*/, std::int16_t /*part*/) {}
void TXNAdjustCursor(TXNObject /*object*/, RgnHandle /*region*/) {}

OSStatus TXNClear(TXNObject /*object*/)
{
    return noErr;
}

OSStatus TXNSetTypeAttributes(TXNObject /*object*/, std::size_t /*count*/,
                              const TXNTypeAttributes * /*attributes*/, TXNOffset /*start*/,
                              TXNOffset /*end*/)
{
    return noErr;
}
