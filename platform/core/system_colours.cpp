#include "platform/core/system_colours.h"

namespace {

std::vector<platform::colour> sixteen_colours()
{
    return {
        {0xFF, 0xFF, 0xFF}, {0xFC, 0xF3, 0x05}, {0xFF, 0x64, 0x02}, {0xDD, 0x08, 0x06},
        {0xF2, 0x08, 0x84}, {0x46, 0x00, 0xA5}, {0x00, 0x00, 0xD4}, {0x02, 0xAB, 0xEA},
        {0x1F, 0xB7, 0x14}, {0x00, 0x64, 0x11}, {0x56, 0x2C, 0x05}, {0x90, 0x71, 0x3A},
        {0xC0, 0xC0, 0xC0}, {0x80, 0x80, 0x80}, {0x40, 0x40, 0x40}, {0x00, 0x00, 0x00},
    };
}

// A cube of six steps a component, then ramps of the steps between for each component and for grey.
std::vector<platform::colour> cube_and_ramps()
{
    std::vector<platform::colour> colours;
    constexpr int steps[] = {0xFF, 0xCC, 0x99, 0x66, 0x33, 0x00};
    const auto add = [&](int red, int green, int blue) {
        colours.push_back({static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                           static_cast<std::uint8_t>(blue)});
    };
    for (const int red : steps) {
        for (const int green : steps) {
            for (const int blue : steps)
                add(red, green, blue);
        }
    }
    colours.pop_back(); // black comes last of all
    constexpr int between[] = {0xEE, 0xDD, 0xBB, 0xAA, 0x88, 0x77, 0x55, 0x44, 0x22, 0x11};
    for (const int value : between)
        add(value, 0, 0);
    for (const int value : between)
        add(0, value, 0);
    for (const int value : between)
        add(0, 0, value);
    for (const int value : between)
        add(value, value, value);
    add(0, 0, 0);
    return colours;
}

} // namespace

std::vector<platform::colour> platform::system_colours(int depth)
{
    switch (depth) {
    case 1:
        return {{0xFF, 0xFF, 0xFF}, {0x00, 0x00, 0x00}};
    case 2:
        return {{0xFF, 0xFF, 0xFF}, {0xAA, 0xAA, 0xAA}, {0x55, 0x55, 0x55}, {0x00, 0x00, 0x00}};
    case 4:
        return sixteen_colours();
    default:
        return cube_and_ramps();
    }
}
