// Small helpers on Pascal strings.
#ifndef PAPERMILL_APP_PASCAL_TEXT_H
#define PAPERMILL_APP_PASCAL_TEXT_H

#include "platform/types.h"

// Copies the Pascal string: its length byte, then that many bytes.
void pStrCopy(StringPtr dst, ConstStringPtr src);

#endif
