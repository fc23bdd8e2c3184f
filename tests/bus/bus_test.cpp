#include "tests/bus/bus_test.h"

#include <csignal>

bus_test::bus_test()
{
    for (const auto &[name, value] : bus.environment())
        user.environment[name] = value;
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        user.environment[variable] = std::nullopt;
}

void bus_test::TearDown()
{
    if (program != nullptr) {
        program->send_signal(SIGTERM);
        program->finish();
    }
    EXPECT_EQ(user.leftovers(), strings()) << "left over";
}

std::string bus_test::pid_name() const
{
    return std::string(bus_name) + ".pid" + std::to_string(program->pid());
}

bool bus_test::wait_for_names() const
{
    return bus.wait_for_owner(bus_name) && bus.wait_for_owner(pid_name());
}

void bus_test::start_service(const strings &options)
{
    strings words = options;
    words.emplace_back("serve");
    program = std::make_unique<running_program>(user.call(words));
    ASSERT_TRUE(wait_for_names());
}

program_call bus_test::desktop_call(const strings &words) const
{
    program_call result = user.call(words);
    result.arguments[0] = desktop_path;
    result.environment["QT_QPA_PLATFORM"] = "offscreen";
    return result;
}

void bus_test::start_desktop(const strings &words)
{
    program = std::make_unique<running_program>(desktop_call(words));
    ASSERT_TRUE(wait_for_names());
}

program_call bus_test::method_call(const std::string &method, const strings &words) const
{
    const bool own = method.find('.') == std::string::npos;
    program_call result = user.call({});
    result.arguments = {"gdbus",
                        "call",
                        "--session",
                        "--timeout",
                        "300",
                        "--dest",
                        bus_name,
                        "--object-path",
                        "/org/papermill/Papermill",
                        "--method",
                        own ? std::string(bus_name) + "." + method : method};
    result.arguments.insert(result.arguments.end(), words.begin(), words.end());
    return result;
}

program_result bus_test::call(const std::string &method, const strings &words) const
{
    return run_program(method_call(method, words));
}

program_call bus_test::event_call(const std::string &event, const std::string &parameters) const
{
    return method_call("org.papermill.AppleEvents.Send",
                       {event.substr(0, 4), event.substr(5), parameters, "true"});
}

program_result bus_test::send(const std::string &event, const std::string &parameters) const
{
    return run_program(event_call(event, parameters));
}

program_call bus_test::python_call(const std::string &code, const strings &words) const
{
    const std::string prelude =
        "import dbus, os, sys\n"
        "bus = dbus.SessionBus()\n"
        "name, place = 'org.papermill.Papermill', '/org/papermill/Papermill'\n"
        "papermill = bus.get_object(name, place, introspect=False)\n"
        "def send(event_class, event_id, parameters, wants_reply=True):\n"
        "    return papermill.Send(event_class, event_id,\n"
        "                          dbus.Dictionary(parameters, signature='sv'), wants_reply,\n"
        "                          dbus_interface='org.papermill.AppleEvents',\n"
        "                          signature='ssa{sv}b', timeout=300)\n"
        "def trouble(action):\n"
        "    try:\n"
        "        return 'none: %s' % (action(),)\n"
        "    except dbus.DBusException as error:\n"
        "        return '%s: %s' % (error.get_dbus_name(), error.get_dbus_message())\n";
    program_call result = user.call({});
    result.arguments = {"/usr/bin/python3", "-c", prelude + code};
    result.arguments.insert(result.arguments.end(), words.begin(), words.end());
    return result;
}

program_result bus_test::python(const std::string &code, const strings &words) const
{
    return run_program(python_call(code, words));
}

std::unique_ptr<running_program> bus_test::start_run() const
{
    auto result = std::make_unique<running_program>(method_call("Exec", {"sleep 4711", ""}));
    EXPECT_TRUE(eventually([&] { return !user.processes("sleep").empty(); }));
    return result;
}

void bus_test::end_run() const
{
    for (const pid_t pid : user.processes("sleep"))
        kill(pid, SIGTERM);
}

std::string quoted(const std::string &text)
{
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + "'";
}

std::string files_parameter(const strings &paths)
{
    std::string list;
    for (const std::string &path : paths)
        list += (list.empty() ? "" : ", ") + quoted(path);
    return "{'----': <@as [" + list + "]>}";
}

std::string parameters(const std::string &direct_object, const std::string &destination)
{
    return "{'----': <" + quoted(direct_object) + ">, 'dest': <" + quoted(destination) + ">}";
}
