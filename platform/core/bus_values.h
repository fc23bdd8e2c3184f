// Events and their values as they travel on the session bus: a{sv}, each parameter by its four
// bytes.
#ifndef PAPERMILL_PLATFORM_CORE_BUS_VALUES_H
#define PAPERMILL_PLATFORM_CORE_BUS_VALUES_H

#include "platform/apple_events.h"
#include "platform/core/sd_bus.h"

#include <string>

namespace platform {

constexpr char program_bus_name[] = "org.papermill.Papermill";
constexpr char program_object[] = "/org/papermill/Papermill";
constexpr char events_interface[] = "org.papermill.AppleEvents";

// Reads the a{sv} that comes next in the message into the event's parameters; keyRunAttr into that
// attribute. Text and paths are s or ay (a NUL at the end is none of it), lists of them as or aay,
// numbers i. Empty, or a sentence on what cannot be taken.
std::string read_event_values(sd_bus_message *message, AppleEvent *event);

// Appends the event's or reply's parameters, and keyRunAttr, as an a{sv}: what is UTF-8 as s, else
// as ay; files as their paths. Below 0 (an errno) when a value cannot travel.
int append_event_values(sd_bus_message *message, const AppleEvent *event);

// The code of four bytes; false when the text is none.
bool read_code(const char *text, OSType *code);

// Appends it as such a text.
int append_code(sd_bus_message *message, OSType code);

} // namespace platform

#endif
