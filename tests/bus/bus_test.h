// The fixture of the tests on a session bus: a user, a bus of the test's own, and the programs that
// answer there.
#ifndef PAPERMILL_TESTS_BUS_BUS_TEST_H
#define PAPERMILL_TESTS_BUS_BUS_TEST_H

#include "tests/support/eventually.h"
#include "tests/support/own_bus.h"
#include "tests/support/terminal_test.h"
#include "tests/support/terminal_user.h"

#include <memory>

constexpr char bus_name[] = "org.papermill.Papermill";
constexpr char desktop_path[] = PAPERMILL_BUNDLE "/Linux/papermill-desktop";
constexpr char busy_with_another[] = "Papermill is busy with another request.";
constexpr char busy_with_previous[] = "Papermill is busy with a previous request.";

class bus_test : public testing::Test {
protected:
    bus_test();
    void TearDown() override; // ends the program; nothing is left over

    // Start a program and wait until it holds both of its names.
    void start_service(const strings &options = {});
    void start_desktop(const strings &words = {});

    program_call desktop_call(const strings &words) const;
    bool wait_for_names() const; // of `program`

    // gdbus call METHOD WORDS... of the program; a name without a dot is one of its own interface.
    program_call method_call(const std::string &method, const strings &words) const;
    program_result call(const std::string &method, const strings &words = {}) const;

    // The same for an event: "CLASS ID", its parameters in GVariant's text.
    program_call event_call(const std::string &event, const std::string &parameters) const;
    program_result send(const std::string &event, const std::string &parameters = "{}") const;

    // Runs the Python program: `dbus` is imported, `bus` is the connection, `papermill` the object,
    // send(class, id, parameters, wants_reply=True) sends an event; `words` are sys.argv[1:].
    program_call python_call(const std::string &code, const strings &words = {}) const;
    program_result python(const std::string &code, const strings &words = {}) const;

    // Starts a run that does not end by itself, as a request; returns when its tool runs.
    std::unique_ptr<running_program> start_run() const;
    void end_run() const; // as if its tool had ended

    std::string pid_name() const; // the program's own name on the bus

    terminal_user user;
    own_bus bus;
    std::unique_ptr<running_program> program;
};

// The text as a string of GVariant's text.
std::string quoted(const std::string &text);

// {'----': <['...', ...]>} and the like.
std::string files_parameter(const strings &paths);
std::string parameters(const std::string &direct_object, const std::string &destination);

#endif
