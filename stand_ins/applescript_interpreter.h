// Does what a script says.
#ifndef PAPERMILL_STAND_INS_APPLESCRIPT_INTERPRETER_H
#define PAPERMILL_STAND_INS_APPLESCRIPT_INTERPRETER_H

#include "scripting/requests.h"
#include "stand_ins/applescript_parser.h"
#include "stand_ins/applescript_values.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace applescript {

// What the script's doing reaches.
struct outside {
    std::function<request_reply(const request &asked, AESendMode mode, std::int32_t ticks)> send;
    std::function<void(const std::string &line)> log;
};

// Runs the script with the call's arguments. *result receives the result of the last statement, if
// it had one.
problem run_script(const script &what, const std::vector<std::string> &arguments,
                   const outside &world, std::optional<value> *result);

} // namespace applescript

#endif
