// A session bus of a test's own, on which nothing else is.
#ifndef PAPERMILL_TESTS_SUPPORT_OWN_BUS_H
#define PAPERMILL_TESTS_SUPPORT_OWN_BUS_H

#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class own_bus {
public:
    using environment_changes = std::map<std::string, std::optional<std::string>>;

    // Starts the daemon. What the daemon starts itself, because of a file in services(), gets
    // these changes to the environment, too.
    explicit own_bus(const environment_changes &for_services = {});

    // What a program needs to find the bus: its address, and the private XDG_RUNTIME_DIR in which
    // its socket lies.
    environment_changes environment() const;

    // The folder for service files. The daemon reads them when it starts.
    const std::string &services() const;

    void stop();  // kills the daemon; its socket is gone
    void start(); // a new one, at the same address

    // Runs a client of the bus.
    program_result run(const std::vector<std::string> &words) const;

    // Whether somebody owns the name; whether somebody does within a minute.
    bool has_owner(const std::string &name) const;
    bool wait_for_owner(const std::string &name) const;

private:
    temporary_folder folder;
    std::string runtime_folder, service_folder, address;
    environment_changes environment_of_services;
    std::unique_ptr<running_program> daemon;
};

#endif
