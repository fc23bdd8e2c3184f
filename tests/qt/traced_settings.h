// Writes down which settings the dialogs read and store, and in which order: the calls go through
// here when the tests are linked.
#ifndef PAPERMILL_TESTS_QT_TRACED_SETTINGS_H
#define PAPERMILL_TESTS_QT_TRACED_SETTINGS_H

#include <string>
#include <vector>

extern std::vector<std::string> settings_read;   // keys
extern std::vector<std::string> settings_stored; // KEY=VALUE

#endif
