// Tests on many bytes at once, in the compiler's own vectors: no processor's instructions by name.
#ifndef PAPERMILL_ENGINE_BYTE_LANES_H
#define PAPERMILL_ENGINE_BYTE_LANES_H

#include <cstddef>
#include <cstdint>
#include <cstring>

using byte_lanes [[gnu::vector_size(16)]] = unsigned char;

// The bytes from p on, whatever their alignment.
inline byte_lanes load_lanes(const char *p)
{
    byte_lanes lanes;
    std::memcpy(&lanes, p, sizeof lanes);
    return lanes;
}

inline bool any_lane(byte_lanes lanes)
{
    std::uint64_t halves[2];
    std::memcpy(halves, &lanes, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

constexpr std::size_t lane_block = 128; // bytes of one test in the routines below

// Whether one of the lane_block positions from p on passes the test, which is given the address of
// sixteen of them at a time.
template <class test>
inline bool any_in_block(const char *p, test passes)
{
    byte_lanes hits{};
    for (std::size_t i = 0; i < lane_block; i += sizeof hits)
        hits |= passes(p + i);
    return any_lane(hits);
}

#endif
