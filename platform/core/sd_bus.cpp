#include "platform/core/sd_bus.h"

#include <chrono>
#include <dlfcn.h>

namespace platform {

#define PAPERMILL_DEFINE(name) decltype(&::name) name
PAPERMILL_SD_BUS_FUNCTIONS(PAPERMILL_DEFINE);
#undef PAPERMILL_DEFINE

namespace {

template <typename function>
bool find(void *library, const char *name, function *found)
{
    *found = reinterpret_cast<function>(dlsym(library, name));
    return *found != nullptr;
}

bool load()
{
    void *const library = dlopen("libsystemd.so.0", RTLD_NOW);
    if (library == nullptr)
        return false;
    bool complete = true;
#define PAPERMILL_FIND(name) complete = find(library, #name, &(name)) && complete
    PAPERMILL_SD_BUS_FUNCTIONS(PAPERMILL_FIND);
#undef PAPERMILL_FIND
    return complete;
}

} // namespace

sd_bus *begin_session_bus()
{
    static const bool loaded = load();
    sd_bus *bus = nullptr;
    return loaded && sd_bus_open_user(&bus) >= 0 ? bus : nullptr;
}

sd_bus *open_session_bus(std::uint64_t patience)
{
    using clock = std::chrono::steady_clock;
    sd_bus *const bus = begin_session_bus();
    if (bus == nullptr)
        return nullptr;
    // Something may listen at the bus's address and never say a word.
    const auto deadline = clock::now() + std::chrono::microseconds(patience);
    while (sd_bus_is_ready(bus) == 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - clock::now()).count();
        const int result = left > 0 ? sd_bus_process(bus, nullptr) : -ETIMEDOUT;
        if (result < 0 || (result == 0 && sd_bus_wait(bus, static_cast<std::uint64_t>(left)) < 0))
            return sd_bus_close_unref(bus);
    }
    return bus;
}

} // namespace platform
