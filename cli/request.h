// One call of the terminal program, parsed.
#ifndef PAPERMILL_CLI_REQUEST_H
#define PAPERMILL_CLI_REQUEST_H

#include <map>
#include <string>
#include <vector>

struct cli_request {
    bool quiet = false;      // show the console only when something fails
    bool background = false; // run as if another program were in front: scripts in line
    std::map<std::string, std::string> options; // the command's own that were given, as typed
    std::vector<std::string> words;             // the command's arguments as typed
};

#endif
