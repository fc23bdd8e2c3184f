// Which outside tools run: the search path, Ghostscript's private library, and the list of the
// tools that the program calls.
#ifndef PAPERMILL_ENGINE_TOOL_ENVIRONMENT_H
#define PAPERMILL_ENGINE_TOOL_ENVIRONMENT_H

#include <cstddef>
#include <string>

// Composes and installs PATH and, where a private Ghostscript stands beside the bundle, GS_LIB;
// sets appPID. Runs once, at start-up, when the folders are known.
void SetBinaryPath();

// Runs the command and reads the third word of its answer as a number; 0.0 when there is none.
double GetGSversion(const char *command);

// Runs the command, shows what it printed, and answers 1 when that was more than one byte.
int CheckForPDFTOPS(const char *command);

// A start-up hook, kept as the place where late-bound system calls would be looked up.
void getMachOCalls();

struct outside_tool {
    const char *name;            // the executable
    const char *package;         // the package that brings it
    const char *use;             // what the program needs it for
    const char *version_command; // prints the version in its first line
};
extern const outside_tool outside_tools[];
extern const std::size_t outside_tool_count;

// The first executable of that name on PATH that is no stand-in of the bundle, or an empty string.
std::string find_tool(const char *name);

// The package that brings the tool, or null for a tool that is not in the list.
const char *package_of(const char *name);

#endif
