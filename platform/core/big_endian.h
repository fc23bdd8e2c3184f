// Numbers as the classic file formats keep them: the highest byte first.
#ifndef PAPERMILL_PLATFORM_CORE_BIG_ENDIAN_H
#define PAPERMILL_PLATFORM_CORE_BIG_ENDIAN_H

#include <cstdint>
#include <string>

namespace platform {

inline std::uint16_t get16(const void *bytes)
{
    const auto *p = static_cast<const unsigned char *>(bytes);
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

inline std::uint32_t get32(const void *bytes)
{
    const auto *p = static_cast<const unsigned char *>(bytes);
    return (std::uint32_t{get16(p)} << 16) | get16(p + 2);
}

inline void put16(std::string &to, std::uint32_t value) // the low 16 bits
{
    to += static_cast<char>(value >> 8 & 0xFF);
    to += static_cast<char>(value & 0xFF);
}

inline void put32(std::string &to, std::uint32_t value)
{
    put16(to, value >> 16);
    put16(to, value);
}

} // namespace platform

#endif
