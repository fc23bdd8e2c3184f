#include "tests/support/own_bus.h"

#include "tests/support/eventually.h"

#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

// Everybody may do everything, as on any session bus; installed services are not there.
static std::string configuration(const std::string &address, const std::string &services)
{
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <keep_umask/>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <listen>" +
           address + "</listen>\n  <servicedir>" + services +
           "</servicedir>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "  <limit name=\"max_incoming_bytes\">1000000000</limit>\n"
           "  <limit name=\"max_outgoing_bytes\">1000000000</limit>\n"
           "  <limit name=\"max_message_size\">1000000000</limit>\n"
           "  <limit name=\"max_completed_connections\">100000</limit>\n"
           "  <limit name=\"max_connections_per_user\">100000</limit>\n"
           "  <limit name=\"max_replies_per_connection\">50000</limit>\n"
           "</busconfig>\n";
}

own_bus::own_bus(const environment_changes &for_services)
    : runtime_folder(folder.make_folder("runtime")), service_folder(folder.make_folder("services")),
      address("unix:path=" + runtime_folder + "/bus"), environment_of_services(for_services)
{
    chmod(runtime_folder.c_str(), 0700);
    environment_of_services["XDG_RUNTIME_DIR"] = runtime_folder;
    folder.write("bus.conf", configuration(address, service_folder));
    start();
}

own_bus::environment_changes own_bus::environment() const
{
    return {{"DBUS_SESSION_BUS_ADDRESS", address}, {"XDG_RUNTIME_DIR", runtime_folder}};
}

const std::string &own_bus::services() const
{
    return service_folder;
}

void own_bus::stop()
{
    daemon.reset();
    unlink((runtime_folder + "/bus").c_str());
}

void own_bus::start()
{
    daemon = std::make_unique<running_program>(
        program_call{{"dbus-daemon", "--config-file=" + (folder / "bus.conf"), "--nofork",
                      "--nopidfile", "--print-address"},
                     environment_of_services});
    if (!daemon->wait_for_output(address))
        throw std::runtime_error("dbus-daemon does not start: " + daemon->finish().err);
}

program_result own_bus::run(const std::vector<std::string> &words) const
{
    return run_program({words, environment()});
}

bool own_bus::has_owner(const std::string &name) const
{
    const program_result result =
        run({"gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
             "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.NameHasOwner", name});
    return result.out == "(true,)\n";
}

bool own_bus::wait_for_owner(const std::string &name) const
{
    return eventually([&] { return has_owner(name); });
}
