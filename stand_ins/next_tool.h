// The stand-ins come first on PATH, so the user's own commands meet them too: what is no business
// of a stand-in goes on to the next tool of its name.
#ifndef PAPERMILL_STAND_INS_NEXT_TOOL_H
#define PAPERMILL_STAND_INS_NEXT_TOOL_H

#include <string>

// The path of the first executable of that name on PATH; empty when there is none.
std::string find_on_path(const char *name);

// The path of the first executable of that name on PATH that is no stand-in, neither this program
// nor one of another bundle; empty when there is none.
std::string find_next_tool(const char *name);

// Becomes the next tool of that name, with the same arguments. When there is none, or it cannot be
// started, says so and ends with status 127 or 126.
[[noreturn]] void hand_over(const char *name, char **argv);

#endif
