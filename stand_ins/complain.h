// What the small programs have to say to the user.
#ifndef PAPERMILL_STAND_INS_COMPLAIN_H
#define PAPERMILL_STAND_INS_COMPLAIN_H

// One line on standard error.
[[gnu::format(printf, 1, 2)]] void complain(const char *format, ...);

#endif
