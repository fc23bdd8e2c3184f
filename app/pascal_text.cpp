#include "app/pascal_text.h"

#include <cstring>

void pStrCopy(StringPtr dst, ConstStringPtr src)
{
    std::memmove(dst, src, std::size_t{1} + src[0]);
}
