// The fixture of tests that talk to `papermill serve`.
#ifndef PAPERMILL_TESTS_SUPPORT_SERVICE_TEST_H
#define PAPERMILL_TESTS_SUPPORT_SERVICE_TEST_H

#include "tests/support/own_bus.h"
#include "tests/support/terminal_test.h"

#include <memory>

// A user on a bus of their own, for whom the program answers requests from start_service() on.
class service_test : public terminal_test {
protected:
    service_test();
    void TearDown() override; // ends the service; nothing may be left over

    void start_service();
    program_result end_service(); // with SIGTERM

    // osascript with these lines; with words of its own call.
    program_result osascript(const std::vector<std::string> &lines) const;
    program_result call_osascript(const std::vector<std::string> &words,
                                  const std::string &input = "") const;

    // Waits until the service runs a tool of that name.
    bool wait_for(const std::string &tool) const;

    own_bus bus;
    std::unique_ptr<running_program> service;
};

#endif
