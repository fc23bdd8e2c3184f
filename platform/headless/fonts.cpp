#include "platform/fonts.h"

#include <cstring>

void GetFNum(ConstStringPtr /*name*/, std::int16_t *number)
{
    *number = 0;
}

void GetFontName(std::int16_t number, StringPtr name)
{
    constexpr char terminals_own[] = "System";
    name[0] = number == 0 ? sizeof terminals_own - 1 : 0;
    std::memcpy(name + 1, terminals_own, name[0]);
}
