#include "tests/support/service_test.h"

#include "tests/support/eventually.h"

#include <csignal>

service_test::service_test()
{
    for (const auto &[name, value] : bus.environment())
        user.environment[name] = value;
    for (const char *variable : {"PAPERMILL_INSTANCE", "PAPERMILL_RUN"})
        user.environment[variable] = std::nullopt;
}

void service_test::start_service()
{
    service = std::make_unique<running_program>(user.call({"serve"}));
    ASSERT_TRUE(bus.wait_for_owner("org.papermill.Papermill"));
}

program_result service_test::end_service()
{
    service->send_signal(SIGTERM);
    const program_result result = service->finish();
    service.reset();
    return result;
}

void service_test::TearDown()
{
    if (service != nullptr)
        end_service();
    terminal_test::TearDown();
}

program_result service_test::osascript(const std::vector<std::string> &lines) const
{
    std::vector<std::string> words;
    for (const std::string &line : lines) {
        words.emplace_back("-e");
        words.push_back(line);
    }
    return call_osascript(words);
}

program_result service_test::call_osascript(const std::vector<std::string> &words,
                                            const std::string &input) const
{
    program_call call = user.call({});
    call.arguments = {PAPERMILL_BUNDLE "/Resources/bin/osascript"};
    call.arguments.insert(call.arguments.end(), words.begin(), words.end());
    call.input = input;
    return run_program(call);
}

bool service_test::wait_for(const std::string &tool) const
{
    return eventually([&] { return !user.processes(tool).empty(); });
}
