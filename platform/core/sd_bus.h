// sd-bus, loaded when it is first used: a start that talks to nobody does not pay for it (a
// millisecond of every conversion in a terminal), and needs none to be there.
#ifndef PAPERMILL_PLATFORM_CORE_SD_BUS_H
#define PAPERMILL_PLATFORM_CORE_SD_BUS_H

#include <cstdint>
#include <systemd/sd-bus.h>

#define PAPERMILL_SD_BUS_FUNCTIONS(each)                                                           \
    each(sd_bus_add_object);                                                                       \
    each(sd_bus_call);                                                                             \
    each(sd_bus_call_async);                                                                       \
    each(sd_bus_close_unref);                                                                      \
    each(sd_bus_error_free);                                                                       \
    each(sd_bus_flush);                                                                            \
    each(sd_bus_get_events);                                                                       \
    each(sd_bus_get_fd);                                                                           \
    each(sd_bus_is_ready);                                                                         \
    each(sd_bus_message_append);                                                                   \
    each(sd_bus_message_append_array);                                                             \
    each(sd_bus_message_at_end);                                                                   \
    each(sd_bus_message_close_container);                                                          \
    each(sd_bus_message_enter_container);                                                          \
    each(sd_bus_message_exit_container);                                                           \
    each(sd_bus_message_get_error);                                                                \
    each(sd_bus_message_get_expect_reply);                                                         \
    each(sd_bus_message_get_interface);                                                            \
    each(sd_bus_message_get_member);                                                               \
    each(sd_bus_message_has_signature);                                                            \
    each(sd_bus_message_is_method_call);                                                           \
    each(sd_bus_message_is_method_error);                                                          \
    each(sd_bus_message_new_method_call);                                                          \
    each(sd_bus_message_new_method_return);                                                        \
    each(sd_bus_message_open_container);                                                           \
    each(sd_bus_message_peek_type);                                                                \
    each(sd_bus_message_read);                                                                     \
    each(sd_bus_message_read_array);                                                               \
    each(sd_bus_message_read_basic);                                                               \
    each(sd_bus_message_ref);                                                                      \
    each(sd_bus_message_set_auto_start);                                                           \
    each(sd_bus_message_set_expect_reply);                                                         \
    each(sd_bus_message_skip);                                                                     \
    each(sd_bus_message_unref);                                                                    \
    each(sd_bus_open_user);                                                                        \
    each(sd_bus_process);                                                                          \
    each(sd_bus_reply_method_errorf);                                                              \
    each(sd_bus_reply_method_return);                                                              \
    each(sd_bus_request_name);                                                                     \
    each(sd_bus_request_name_async);                                                               \
    each(sd_bus_send);                                                                             \
    each(sd_bus_slot_unref);                                                                       \
    each(sd_bus_wait)

namespace platform {

// Within this namespace these hide the functions of the same names.
#define PAPERMILL_DECLARE(name) extern decltype(&::name) name
PAPERMILL_SD_BUS_FUNCTIONS(PAPERMILL_DECLARE);
#undef PAPERMILL_DECLARE

// These two give the caller a connection to the session bus to close (sd_bus_close_unref), or null.

// One that is ready for use; null when there is no bus or it does not answer within `patience`
// microseconds.
sd_bus *open_session_bus(std::uint64_t patience);

// One that becomes ready in the course of sd_bus_process, and may be used: what is sent waits until
// then. Null when nothing listens at the bus's address.
sd_bus *begin_session_bus();

} // namespace platform

#endif
