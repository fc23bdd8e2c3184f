#include "stand_ins/complain.h"

#include <cstdarg>
#include <cstdio>

void complain(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
    std::fputc('\n', stderr);
}
