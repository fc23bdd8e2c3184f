#include "tests/qt/traced_settings.h"

std::vector<std::string> settings_read;
std::vector<std::string> settings_stored;

// --wrap leads calls of an operation to the name __wrap_..., and gives the operation itself the
// name __real_.... The names are those that the compiler makes of the declarations.
#define NAMED(name) __asm__(name)

int real_set(const char *key, const char *value) NAMED("__real__Z16set_str_resourcePKcS0_");
int traced_set(const char *key, const char *value) NAMED("__wrap__Z16set_str_resourcePKcS0_");
int traced_set(const char *key, const char *value)
{
    settings_stored.push_back(std::string(key) + "=" + value);
    return real_set(key, value);
}

const char *real_get(const char *key) NAMED("__real__Z16get_str_resourcePKc");
const char *traced_get(const char *key) NAMED("__wrap__Z16get_str_resourcePKc");
const char *traced_get(const char *key)
{
    settings_read.emplace_back(key);
    return real_get(key);
}

std::string real_string(const char *key, const char *fallback)
    NAMED("__real__Z14string_settingB5cxx11PKcS0_");
std::string traced_string(const char *key, const char *fallback)
    NAMED("__wrap__Z14string_settingB5cxx11PKcS0_");
std::string traced_string(const char *key, const char *fallback)
{
    settings_read.emplace_back(key);
    return real_string(key, fallback);
}
