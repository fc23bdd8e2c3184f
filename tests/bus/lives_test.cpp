// How the programs that answer begin, go on without a bus, and end.
#include "tests/bus/bus_test.h"

#include <algorithm>
#include <csignal>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// Something that listens at a socket and never says a word.
class silent_socket {
public:
    explicit silent_socket(const std::string &path) : file(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        unlink(path.c_str());
        EXPECT_EQ(bind(file, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(file, 100), 0);
    }
    ~silent_socket()
    {
        close(file);
    }
    silent_socket(const silent_socket &) = delete;
    silent_socket &operator=(const silent_socket &) = delete;

    // Whether somebody has connected.
    bool is_asked() const
    {
        fd_set waiting;
        FD_ZERO(&waiting);
        FD_SET(file, &waiting);
        timeval none = {0, 0};
        return select(file + 1, &waiting, nullptr, nullptr, &none) > 0;
    }

private:
    int file;
};

class BusLives : public bus_test {
protected:
    BusLives()
    {
        user.write("a.ps", drawing_ps(80, 60));
        user.write("wait.sh", "while [ ! -e go ]; do sleep 0.01; done\necho made > result\n");
    }

    void start(bool desktop, const strings &options = {})
    {
        if (desktop)
            start_desktop(options);
        else
            start_service(options);
    }

    // A run that ends when there is a file "go".
    std::unique_ptr<running_program> start_waiting_run() const
    {
        auto result =
            std::make_unique<running_program>(method_call("Exec", {"sh wait.sh", user.work}));
        EXPECT_TRUE(eventually([&] { return !user.processes("sleep").empty(); }));
        return result;
    }

    std::string socket_path() const
    {
        return *bus.environment()["XDG_RUNTIME_DIR"] + "/bus";
    }

    program_result end(int signal_number)
    {
        program->send_signal(signal_number);
        const program_result result = program->finish();
        program.reset();
        return result;
    }
};

class BusLivesOfBoth : public BusLives, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Desktop, BusLivesOfBoth, testing::Bool());

constexpr char no_bus[] = "papermill: no session bus answers, so that no request can come in.\n";

} // namespace

// ---- the end ----

TEST_P(BusLivesOfBoth, QuitInARunEndsItAndTellsBothCallers)
{
    for (const char *quit : {"event", "action", "typed"}) {
        start(GetParam());
        user.write("endless.ps", endless_ps());
        user.write("out.pdf", "the user's own");
        const strings before = user.names();
        std::unique_ptr<running_program> run;
        if (std::string(quit) == "event")
            run = std::make_unique<running_program>(event_call(
                "TSRY cdoc", files_parameter({user.path("endless.ps"), user.path("out.pdf")})));
        else
            run = std::make_unique<running_program>(
                method_call("Convert", {user.path("endless.ps"), user.path("out.pdf")}));
        ASSERT_TRUE(eventually([&] { return !user.processes("gs").empty(); }));
        const program_result answer =
            std::string(quit) == "action"
                ? call("org.freedesktop.Application.ActivateAction", {"quit", "@av []", "{}"})
                : send("aevt quit");
        EXPECT_EQ(answer.out, std::string(quit) == "action" ? "()\n" : "(0, @a{sv} {})\n")
            << story(answer);
        const program_result told = run->finish();
        if (std::string(quit) == "event")
            EXPECT_EQ(told.out, "(-609, @a{sv} {})\n") << story(told);
        else
            EXPECT_EQ(told.err, "Error: GDBus.Error:org.papermill.Error.Number609: "
                                "The program ended before it answered. (-609)\n")
                << story(told);
        EXPECT_EQ(program->finish().status, 0);
        program.reset();
        EXPECT_EQ(user.leftovers(), strings());
        EXPECT_EQ(user.names(), before);
        EXPECT_EQ(user.read("out.pdf"), "the user's own");
        EXPECT_TRUE(eventually([&] { return !bus.has_owner(bus_name); }));
    }
}

TEST_P(BusLivesOfBoth, ASignalEndsIt)
{
    for (const int number : {SIGTERM, SIGINT}) {
        start(GetParam());
        const program_result result = end(number);
        if (GetParam())
            EXPECT_EQ(result.status, 0) << story(result);
        else if (number == SIGINT)
            EXPECT_EQ(result.status, 130) << story(result);
        else
            EXPECT_EQ(result.signal, SIGTERM) << story(result);
        EXPECT_FALSE(bus.has_owner(bus_name));
        EXPECT_EQ(user.leftovers(), strings());
    }
}

TEST_P(BusLivesOfBoth, ASignalInARunEndsTheRunAndTellsItsCaller)
{
    for (const int number : {SIGTERM, SIGINT}) {
        start(GetParam());
        user.write("endless.ps", endless_ps());
        running_program run(method_call("PSToEPS", {"['" + user.path("endless.ps") + "']"}));
        ASSERT_TRUE(eventually([&] { return !user.processes("gs").empty(); }));
        end(number);
        const program_result told = run.finish();
        if (GetParam())
            EXPECT_TRUE(contains(told.err, "(-609)")) << story(told);
        else
            EXPECT_EQ(told.out, "(130,)\n") << story(told); // the run was cancelled
        EXPECT_EQ(user.leftovers(), strings());
        EXPECT_FALSE(user.has("endless.eps"));
    }
}

TEST_P(BusLivesOfBoth, RequestsThatWaitAtTheEndAreAnswered)
{
    // In the background they wait until the run is over.
    start(GetParam(), {"--background"});
    const auto run = start_waiting_run();
    running_program quit(event_call("aevt quit", "{}"));
    running_program later(method_call("Exec", {"touch later", user.work}));
    running_program none(method_call("Done", {}));
    user.write("go", "");
    EXPECT_EQ(run->finish().out, "(0,)\n");
    EXPECT_EQ(quit.finish().out, "(0, @a{sv} {})\n");
    // The others came before or after it: they are answered, or told that the program has gone.
    for (running_program *each : {&later, &none}) {
        const program_result answer = each->finish();
        EXPECT_FALSE(answer.timed_out);
        EXPECT_EQ(answer.status == 0, answer.err.empty()) << story(answer);
    }
    EXPECT_EQ(program->finish().status, 0);
    program.reset();
}

// ---- the beginning ----

TEST_F(BusLives, OnlyOneServiceAnswers)
{
    start_service();
    const program_result second = user.papermill({"serve"});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err, "papermill: the program runs already and answers the requests.\n");
    EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n");
    end(SIGTERM);
    start_service(); // the name is free again
}

TEST_F(BusLives, AServiceNeedsABus)
{
    for (const char *address : {"unix:path=/nowhere/bus", "nonsense", ""}) {
        program_call without = user.call({"serve"});
        without.environment["DBUS_SESSION_BUS_ADDRESS"] = address;
        without.environment["XDG_RUNTIME_DIR"] = std::nullopt;
        const program_result result = run_program(without);
        EXPECT_EQ(result.status, 1) << address;
        EXPECT_EQ(result.err, no_bus) << address;
    }
}

TEST_F(BusLives, ASilentBusIsNotWaitedForLong)
{
    const silent_socket silent(user.elsewhere("silent"));
    user.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + user.elsewhere("silent");
    EXPECT_TRUE(can_end_within(std::chrono::seconds(8), [&] {
        const program_result result = user.papermill({"serve"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, no_bus);
    }));
    EXPECT_TRUE(silent.is_asked());
    // The desktop program works without, its tools report by signal.
    program = std::make_unique<running_program>(desktop_call({"a.ps"}));
    EXPECT_TRUE(eventually([&] { return user.has("a.pdf"); }));
    EXPECT_EQ(end(SIGTERM).status, 0);
}

// ---- a bus that goes ----

TEST_P(BusLivesOfBoth, ABusThatDiesInARunAndComesBack)
{
    start(GetParam());
    auto run = start_waiting_run();
    bus.stop();
    run.reset();
    user.write("go", "");
    // The tools report by signal: without, the run would go on for ever.
    EXPECT_TRUE(eventually([&] { return user.has("result"); }));
    EXPECT_TRUE(eventually([&] { return user.processes("papermill_run").empty(); }));
    for (int i = 0; i < 2; ++i) {
        bus.start();
        EXPECT_TRUE(wait_for_names());
        EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n") << "the run has not ended";
        EXPECT_EQ(call("Convert", {user.path("a.ps"), user.path("a.pdf")}).out, "()\n");
        EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
        user.run({"rm", "-f", "a.pdf"});
        bus.stop();
    }
}

TEST_P(BusLivesOfBoth, ABusThatDiesAndComesBackInARun)
{
    start(GetParam());
    auto run = start_waiting_run();
    bus.stop();
    run.reset();
    bus.start();
    EXPECT_TRUE(wait_for_names());
    EXPECT_TRUE(contains(call("Exec", {"true", ""}).err, busy_with_previous));
    user.write("go", "");
    EXPECT_TRUE(eventually([&] { return call("Exec", {"true", ""}).out == "(0,)\n"; }));
    EXPECT_EQ(user.read("result"), "made\n");
}

TEST_P(BusLivesOfBoth, ASilentOneInThePlaceOfTheBus)
{
    start(GetParam());
    bus.stop();
    {
        const silent_socket silent(socket_path());
        EXPECT_TRUE(eventually([&] { return silent.is_asked(); }));
    }
    bus.start();
    EXPECT_TRUE(wait_for_names());
    EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n");
    bus.stop();
    const silent_socket silent(socket_path());
    EXPECT_TRUE(eventually([&] { return silent.is_asked(); }));
    end(SIGTERM); // it does not wait for the silent one
}

TEST_P(BusLivesOfBoth, NoDescriptorIsLostWithABus)
{
    start(GetParam());
    const auto descriptors = [&] {
        return names_in("/proc/" + std::to_string(program->pid()) + "/fd").size();
    };
    EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n");
    const std::size_t before = descriptors();
    for (int i = 0; i < 3; ++i) {
        bus.stop();
        bus.start();
        ASSERT_TRUE(wait_for_names());
        EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n");
    }
    EXPECT_TRUE(eventually([&] { return descriptors() <= before; }));
}

// ---- in the background ----

TEST_P(BusLivesOfBoth, InTheBackgroundRequestsWaitForTheirTurn)
{
    start(GetParam(), {"--background"});
    const auto run = start_waiting_run();
    running_program second(method_call("Exec", {"sh -c 'exit 5'", user.work}));
    running_program third(method_call("Convert", {user.path("a.ps"), user.path("a.pdf")}));
    running_program report(method_call("Done", {}));
    user.write("go", "");
    EXPECT_EQ(run->finish().out, "(0,)\n"); // the report of its tool hung nothing
    EXPECT_EQ(second.finish().out, "(5,)\n");
    EXPECT_EQ(third.finish().out, "()\n");
    EXPECT_EQ(report.finish().out, "()\n");
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "80 x 60");
}
