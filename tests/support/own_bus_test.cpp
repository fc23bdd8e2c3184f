#include "tests/support/own_bus.h"

#include "tests/support/terminal_test.h"

namespace {

constexpr char bus_itself[] = "org.freedesktop.DBus";

// The names that can be called, or that the bus would start.
std::string list(const own_bus &bus, const std::string &method)
{
    const program_result result =
        bus.run({"gdbus", "call", "--session", "--dest", bus_itself, "--object-path", "/",
                 "--method", std::string(bus_itself) + "." + method});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
}

} // namespace

TEST(OwnBus, HasNobodyElseOnIt)
{
    const own_bus bus;
    EXPECT_EQ(list(bus, "ListNames"), "(['org.freedesktop.DBus', ':1.0'],)\n");
    EXPECT_EQ(list(bus, "ListActivatableNames"), "(['org.freedesktop.DBus'],)\n");
    EXPECT_TRUE(bus.has_owner(bus_itself));
    EXPECT_FALSE(bus.has_owner("org.papermill.Papermill"));
}

TEST(OwnBus, IsFoundByItsPlaceToo)
{
    const own_bus bus;
    program_call call = {{"gdbus", "wait", "--session", "--timeout", "10", bus_itself},
                         bus.environment()};
    call.environment["DBUS_SESSION_BUS_ADDRESS"] = std::nullopt;
    EXPECT_EQ(run_program(call).status, 0);
}

TEST(OwnBus, StopsAndStartsAtTheSameAddress)
{
    own_bus bus;
    bus.stop();
    EXPECT_FALSE(bus.has_owner(bus_itself));
    bus.start();
    EXPECT_TRUE(bus.wait_for_owner(bus_itself));
}

TEST(OwnBus, StartsServicesWithTheGivenEnvironment)
{
    const temporary_folder folder;
    own_bus bus({{"MADE", folder / "made"}});
    write_file(
        bus.services() + "/test.service",
        "[D-BUS Service]\nName=org.papermill.Test\nExec=/bin/sh -c \"touch $MADE; exit 1\"\n");
    bus.stop();
    bus.start();
    EXPECT_TRUE(contains(list(bus, "ListActivatableNames"), "org.papermill.Test"));
    // What is started fails, which the client is told.
    EXPECT_NE(bus.run({"gdbus", "introspect", "--session", "--dest", "org.papermill.Test",
                       "--object-path", "/"})
                  .status,
              0);
    EXPECT_TRUE(file_exists(folder / "made"));
}
