// Requests that cannot be carried out: each gets its error, and the program goes on.
#include "tests/bus/bus_test.h"

#include <unistd.h>

namespace {

class BusBadInput : public bus_test {
protected:
    // Every test ends with a program that still works.
    void TearDown() override
    {
        EXPECT_EQ(call("Exec", {"true", ""}).out, "(0,)\n");
        bus_test::TearDown();
    }

    std::string console() // all that the service has shown so far
    {
        EXPECT_EQ(call("Exec", {"echo shown", ""}).out, "(0,)\n");
        EXPECT_TRUE(program->wait_for_output("shown"));
        return program->output();
    }
};

} // namespace

TEST_F(BusBadInput, EventsThatNobodyHandlesAndParametersThatDoNotFit)
{
    start_service();
    user.write("a.ps", drawing_ps(80, 60));
    user.write("a.pdf", "no PDF file");
    const std::string ps = quoted(user.path("a.ps"));
    const std::string missing = quoted(user.path("missing.ps"));
    const struct {
        std::string event, parameters;
        int error;
    } requests[] = {
        {"XXXX odoc", "{}", -1708},
        {"TSRY zzzz", "{}", -1708},
        {"aevt done", "{}", -1708},
        // the wrong type
        {"TSRY exec", "{'----': <4711>}", -1700},
        {"TSRY exec", "{'----': <['true', 'false']>}", -1700},
        {"TSRY exec", "{'----': <'true'>, 'dest': <4711>}", -1700},
        {"TSRY epsf", "{'----': <4711>}", -1700},
        {"TSRY dscs", "{'----': <" + ps + ">, 'dest': <5>}", -1700},
        // missing ones
        {"TSRY exec", "{}", -1701},
        {"TSRY dscs", "{}", -1701},
        {"TSRY dscs", "{'----': <" + ps + ">}", -1701},
        {"aevt odoc", "{}", -1701},
        {"TSRY epsf", "{}", -1701},
        {"TSRY cdoc", "{}", -1701},
        {"TSRY cdoc", "{'----': <[" + ps + "]>}", -1701},
        {"TSRY cdoc", "{'----': <" + ps + ">}", -1701},
        // lists of none
        {"aevt odoc", "{'----': <@as []>}", 0},
        {"TSRY epsf", "{'----': <@as []>}", -1701},
        {"TSRY cdoc", "{'----': <@as []>}", -1701},
        {"TSRY cdoc", "{'----': <@aay []>}", -1701},
        // surplus ones
        {"aevt oapp", "{'----': <'a'>}", -1708},
        {"aevt quit", "{'----': <'a'>}", -1708},
        {"aevt odoc", "{'----': <[" + ps + "]>, 'dest': <" + ps + ">}", -1708},
        {"TSRY exec", "{'----': <'touch done'>, 'xtra': <1>}", -1708},
        {"TSRY dscs", "{'----': <" + ps + ">, 'dest': <'/tmp/x'>, 'xtra': <'1'>}", -1708},
        {"TSRY epsf", "{'----': <[" + ps + "]>, 'xtra': <'1'>}", -1708},
        {"TSRY done", "{'xtra': <'1'>}", 0},
        // files that are not there, names that are none
        {"aevt odoc", "{'----': <[" + ps + ", " + missing + "]>}", -43},
        {"TSRY epsf", "{'----': <[" + missing + "]>}", -43},
        {"TSRY dscs", "{'----': <" + missing + ">, 'dest': <'/tmp/x'>}", -43},
        {"TSRY dscs", "{'----': <" + ps + ">, 'dest': <'/nowhere/at/all/x'>}", -120},
        {"TSRY epsf", "{'----': <['a.ps']>}", -43},
        {"TSRY epsf", "{'----': <['']>}", -43},
        {"TSRY epsf", "{'----': <@aay [[]]>}", -43},
        {"TSRY epsf", "{'----': <['http://localhost/a.ps']>}", -43},
        {"TSRY epsf", "{'----': <['file://elsewhere/a.ps']>}", -35},
        {"TSRY epsf", "{'----': <['file:///tmp/%zz.ps']>}", -37},
        {"TSRY epsf", "{'----': <['file://" + user.path("a.ps") + "%00more']>}", -37},
    };
    for (const auto &each : requests) {
        const program_result result = send(each.event, each.parameters);
        EXPECT_EQ(result.out, "(" + std::to_string(each.error) + ", @a{sv} {})\n")
            << each.event << " " << each.parameters << story(result);
    }
    EXPECT_EQ(user.names(), (strings{"a.pdf", "a.ps"}));
    EXPECT_EQ(count(console(), "I missed something.\n"), 2U);
}

TEST_F(BusBadInput, PathsWithANulInThem)
{
    start_service();
    user.write("a.ps", drawing_ps(80, 60));
    const program_result result = python(
        "path = os.fsencode(sys.argv[1]) + b'/a.ps'\n"
        "def files(path): return {'----': dbus.Array([dbus.ByteArray(path)], signature='ay')}\n"
        "for bytes in (path + b'\\0more', path + b'\\0\\0', b'\\0' + path, b'\\0', b''):\n"
        "    print(int(send('TSRY', 'epsf', files(bytes))[0]))\n"
        "print(int(send('TSRY', 'epsf', files(path + b'\\0'))[0]))\n", // the usual end
        {user.work});
    EXPECT_EQ(result.out, "-37\n-37\n-43\n-43\n-43\n0\n") << story(result);
}

TEST_F(BusBadInput, MessagesThatAreNoRequest)
{
    start_service();
    const program_result result = python(
        "def raw(signature, *values, **more):\n"
        "    interface = more.get('interface', 'org.papermill.AppleEvents')\n"
        "    return trouble(lambda: bus.call_blocking(name, more.get('path', place), interface,\n"
        "                                             more.get('member', 'Send'), signature,\n"
        "                                             values, timeout=300))\n"
        "none = dbus.Dictionary({}, signature='sv')\n"
        "def one(key, value): return dbus.Dictionary({key: value}, signature='sv')\n"
        "print(raw('ss', 'TSRY', 'done'))\n"
        "print(raw('', ))\n"
        "print(raw('ssa{sv}i', 'TSRY', 'done', none, 1))\n"
        "print(raw('ssa{ss}b', 'TSRY', 'done', dbus.Dictionary({}, signature='ss'), True))\n"
        "print(raw('ssa{sv}bs', 'TSRY', 'done', none, True, 'more'))\n"
        "for codes in (('TSR', 'done'), ('TSRYY', 'done'), ('TSRY', ''), ('TSRY', '\\u00e9one'),\n"
        "              ('', '')):\n"
        "    print(raw('ssa{sv}b', codes[0], codes[1], none, True))\n"
        "print(raw('ssa{sv}b', 'TSRY', 'exec', one('direct', 'true'), True))\n"
        "print(raw('ssa{sv}b', 'TSRY', 'exec', one('', 'true'), True))\n"
        "for value in (4.5, True, dbus.Byte(1), dbus.Int64(1), dbus.Array([1], signature='i'),\n"
        "              dbus.String('x', variant_level=2), dbus.ObjectPath('/x'),\n"
        "              dbus.Struct(('a', 1)), dbus.Dictionary({'a': 'b'}, signature='ss')):\n"
        "    print(raw('ssa{sv}b', 'TSRY', 'exec', one('----', value), True))\n"
        "print(raw('ssa{sv}b', 'TSRY', 'done', one('run ', 'one'), True))\n"
        "print(raw('s', 'TSRY', member='Dance'))\n"
        "print(raw('s', 'TSRY', member='Send', interface='org.papermill.Nothing'))\n"
        "print(raw('ssa{sv}b', 'TSRY', 'done', none, True, path='/somewhere'))\n"
        "own = 'org.papermill.Papermill'\n"
        "print(raw('s', 'one', member='Convert', interface=own))\n"
        "print(raw('sss', 'one', 'two', 'three', member='Convert', interface=own))\n"
        "print(raw('s', 'one', member='PSToEPS', interface=own))\n"
        "print(raw('i', 1, member='Done', interface=own))\n"
        "print(raw('ss', own, 'x', member='Get', interface='org.freedesktop.DBus.Properties'))\n"
        "print(raw('', member='Ping', interface='org.freedesktop.DBus.Peer'))\n");
    const std::string refused = "org.freedesktop.DBus.Error.InvalidArgs: ";
    const std::string send_takes =
        refused + "Send takes class, ID, parameters and whether a reply is wanted: ssa{sv}b\n";
    std::string expected;
    for (int i = 0; i < 5; ++i)
        expected += send_takes;
    for (int i = 0; i < 4; ++i) // four letters with an accent are more than four bytes
        expected += refused + "class and ID have four bytes each\n";
    expected += refused + "class and ID have four bytes each\n";
    expected += refused + "\"direct\" is no keyword of four bytes\n";
    expected += refused + "\"\" is no keyword of four bytes\n";
    for (const char *type : {"d", "b", "y", "x", "ai", "v", "o", "(si)", "a{ss}"})
        expected += refused + "a value of type " + type + " cannot be the parameter \"----\"\n";
    expected += refused + "a value of type s cannot be the parameter \"run \"\n";
    const std::string text = result.out;
    EXPECT_EQ(text.substr(0, expected.size()), expected);
    for (const char *error :
         {"org.freedesktop.DBus.Error.UnknownMethod: ",
          "org.freedesktop.DBus.Error.UnknownObject: ",
          "org.freedesktop.DBus.Error.InvalidArgs: Convert takes ss\n",
          "org.freedesktop.DBus.Error.InvalidArgs: PSToEPS takes as\n",
          "org.freedesktop.DBus.Error.InvalidArgs: Done takes nothing\n", "\nnone: None\n"})
        EXPECT_TRUE(contains(text, error)) << error << story(result);
    EXPECT_EQ(count(text, "Error.UnknownMethod"), 2U) << story(result);
}

TEST_F(BusBadInput, ListsOfTenThousandFiles)
{
    start_service();
    user.write("a.ps", drawing_ps(80, 60));
    const program_result result = python(
        "path = sys.argv[1] + '/a.ps'\n"
        "def files(last): return {'----': dbus.Array([path] * 9999 + [last], signature='s')}\n"
        "print(send('aevt', 'odoc', files(sys.argv[1] + '/missing.ps')))\n"
        "print(os.listdir(sys.argv[1]))\n"
        "print(send('TSRY', 'epsf', files(path)))\n"
        "print(sorted(os.listdir(sys.argv[1])))\n",
        {user.work});
    EXPECT_EQ(result.out, "(dbus.Int32(-43), dbus.Dictionary({}, signature=dbus.Signature('sv')))\n"
                          "['a.ps']\n"
                          "(dbus.Int32(0), dbus.Dictionary({dbus.String('----'): "
                          "dbus.Int32(0, variant_level=1)}, signature=dbus.Signature('sv')))\n"
                          "['a.eps', 'a.ps']\n")
        << story(result);
}

TEST_F(BusBadInput, CommandsOfAnyLength)
{
    start_service();
    // Only what fits into 2047 bytes is run, and that is told.
    const program_result result =
        python("start = '> out echo '\n"
               "for size in (2047, 2048, 2049, 1000000):\n"
               "    for kind in (str, os.fsencode):\n"
               "        text = kind(start + 'x' * (size - len(start)))\n"
               "        value = dbus.ByteArray(text) if kind == os.fsencode else text\n"
               "        reply = send('TSRY', 'exec', {'----': value, 'dest': sys.argv[1]})\n"
               "        out = sys.argv[1] + '/out'\n"
               "        print(size, int(reply[0]), int(reply[1]['----']), os.path.getsize(out))\n"
               "        os.remove(out)\n"
               "command = start + 'y' * (1000000 - len(start))\n"
               "own = dbus.Interface(papermill, name)\n"
               "print(own.Exec(command, sys.argv[1], signature='ss', timeout=300))\n",
               {user.work});
    std::string expected;
    for (const char *size : {"2047", "2048", "2049", "1000000"}) {
        for (int i = 0; i < 2; ++i)
            expected += std::string(size) + " 0 0 2037\n";
    }
    EXPECT_EQ(result.out, expected + "0\n") << story(result);
    EXPECT_EQ(user.read("out").size(), 2037U);
    const std::string text = console();
    EXPECT_FALSE(contains(text, "has 2047 bytes"));
    EXPECT_EQ(count(text, "The command has 2048 bytes; only the first 2047 are run.\n"), 2U);
    EXPECT_EQ(count(text, "The command has 2049 bytes; only the first 2047 are run.\n"), 2U);
    EXPECT_EQ(count(text, "The command has 1000000 bytes; only the first 2047 are run.\n"), 3U);
}

TEST_F(BusBadInput, PathsThatAreTooLong)
{
    start_service();
    user.write("a.ps", drawing_ps(80, 60));
    // A file that is there, 1100 bytes deep, and paths of sizes around 1024 that are not.
    const program_result result = python(
        "from collections import Counter\n"
        "folder = sys.argv[1]\n"
        "parts = ['d' * 100] * 11\n"
        "here = os.open(folder, os.O_RDONLY)\n"
        "for part in parts:\n"
        "    os.mkdir(part, dir_fd=here)\n"
        "    here = os.open(part, os.O_RDONLY, dir_fd=here)\n"
        "with os.fdopen(os.open('a.ps', os.O_WRONLY | os.O_CREAT, dir_fd=here), 'w') as file:\n"
        "    file.write('%!PS\\nshowpage\\n')\n"
        "deep = '/'.join([folder] + parts)\n"
        "def files(*paths): return {'----': dbus.Array(paths, signature='s')}\n"
        "print(send('TSRY', 'epsf', files(deep + '/a.ps'))[0] < 0)\n"
        "print(send('aevt', 'odoc', files(deep + '/a.ps'))[0] < 0)\n"
        "print(send('TSRY', 'cdoc', files(folder + '/a.ps', deep + '/a.pdf'))[0] < 0)\n"
        "print(send('TSRY', 'exec', {'----': 'touch x', 'dest': deep})[0] < 0)\n"
        "print(send('TSRY', 'dscs', {'----': folder + '/a.ps', 'dest': deep + '/a.dsc'})[0] < 0)\n"
        "for size in (1022, 1023, 1024, 1025, 4096, 100000):\n"
        "    path = folder + '/' + 'x' * (size - len(folder) - 1)\n"
        "    print(send('TSRY', 'epsf', files(path))[0] < 0,\n"
        "          send('TSRY', 'cdoc', files(folder + '/a.ps', path))[0])\n"
        "print(os.listdir(here), sorted(os.listdir(folder)))\n",
        {user.work});
    EXPECT_EQ(result.out.substr(0, 25), "True\nTrue\nTrue\nTrue\nTrue\n") << story(result);
    EXPECT_EQ(count(result.out, "True"), 11U) << story(result);
    EXPECT_TRUE(contains(result.out, "\n['a.ps'] ['a.ps', 'ddd")) << story(result);
    user.run({"rm", "-rf", std::string(100, 'd')});
}

TEST_F(BusBadInput, ClientsThatVanish)
{
    start_service();
    user.write("a.ps", drawing_ps(80, 60));
    // In the middle of a run, before the reply.
    auto vanishing = start_run();
    vanishing.reset();
    EXPECT_EQ(call("Exec", {"true", ""}).out, "");
    end_run();
    // Without looking at a reply at all.
    const program_result result = python(
        "import dbus.bus, dbus.lowlevel\n"
        "for i in range(50):\n"
        "    own = dbus.bus.BusConnection(os.environ['DBUS_SESSION_BUS_ADDRESS'])\n"
        "    message = dbus.lowlevel.MethodCallMessage(name, place, name, 'Exec')\n"
        "    message.append('true', '', signature='ss')\n"
        "    own.send_message(message)\n"
        "    own.flush()\n"
        "    own.close()\n"
        "own = dbus.Interface(papermill, name)\n" // until they are all answered
        "while 'busy' in trouble(lambda: own.Exec('true', '', signature='ss', timeout=300)): pass\n"
        "papermill.Convert(sys.argv[1] + '/a.ps', sys.argv[1] + '/a.pdf', dbus_interface=name,\n"
        "                  signature='ss', ignore_reply=True)\n"
        "bus.flush()\n",
        {user.work});
    EXPECT_EQ(result.status, 0) << story(result);
    // What nobody waits for is done.
    EXPECT_TRUE(eventually([&] { return user.has("a.pdf"); }));
    EXPECT_TRUE(eventually([&] { return call("Exec", {"true", ""}).out == "(0,)\n"; }));
}

TEST_F(BusBadInput, AHundredClientsAtOnceAreAllAnswered)
{
    const std::string code =
        "import threading\n"
        "from gi.repository import Gio, GLib\n"
        "address = os.environ['DBUS_SESSION_BUS_ADDRESS']\n"
        "flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT |\n"
        "         Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)\n"
        "clients = [Gio.DBusConnection.new_for_address_sync(address, flags, None, None)\n"
        "           for i in range(100)]\n"
        "answers, loop = [], GLib.MainLoop()\n"
        "def on_answer(client, result):\n"
        "    try: answers.append(client.call_finish(result).print_(False))\n"
        "    except GLib.Error as error: answers.append(error.message)\n"
        "    if len(answers) == len(clients): loop.quit()\n"
        "for client in clients:\n"
        "    client.call(name, place, name, 'Exec', GLib.Variant('(ss)', (sys.argv[1], '')),\n"
        "                None, 0, 300000, None, on_answer)\n"
        "loop.run()\n"
        "done = answers.count('(0,)')\n"
        "busy = answers.count('GDBus.Error:org.papermill.Error.Number1708: Papermill is busy '\n"
        "                     'with a previous request. (-1708)')\n"
        "print(done + busy, done >= 1, busy >= 1)\n";
    start_service();
    const program_result first = python(code, {"sleep 0.5"});
    EXPECT_EQ(first.out, "100 True True\n") << story(first);
    program->send_signal(SIGTERM);
    program->finish();
    start_desktop();
    const program_result second = python(code, {"sleep 0.5"});
    EXPECT_EQ(second.out, "100 True True\n") << story(second);
}

TEST_F(BusBadInput, AnybodyMayReportAtAnyTime)
{
    start_service();
    EXPECT_EQ(send("TSRY done").out, "(0, @a{sv} {})\n");
    EXPECT_EQ(call("Done").out, "()\n");
    // Of a run that is long over, of one that has not begun.
    EXPECT_EQ(send("TSRY done", "{'run ': <-1>}").out, "(0, @a{sv} {})\n");
    EXPECT_EQ(send("TSRY done", "{'run ': <4711>}").out, "(0, @a{sv} {})\n");
    // Only a report can be late.
    EXPECT_EQ(send("TSRY exec", "{'run ': <4711>, '----': <'true'>}").out, "(0, {'----': <0>})\n");
    const auto run = start_run();
    EXPECT_EQ(send("TSRY done", "{'run ': <4711>}").out, "(0, @a{sv} {})\n");
    EXPECT_EQ(send("TSRY exec", "{'----': <'true'>}").out.rfind("(-1708", 0), 0U); // it goes on
    EXPECT_EQ(call("Done").out, "()\n");
    EXPECT_TRUE(run->finish().out.size() > 0); // and that has ended its wait
    end_run();
}

TEST_F(BusBadInput, AnEventWithTooManyParametersIsNotTaken)
{
    start_service();
    std::string some;
    std::string many;
    for (int i = 1000; i < 1065; ++i) {
        many += (many.empty() ? "'" : ", '") + std::to_string(i) + "': <'x'>";
        if (i < 1063)
            some = many;
    }
    EXPECT_EQ(send("TSRY exec", "{'----': <'true'>, " + some + "}").out, "(-1708, @a{sv} {})\n");
    EXPECT_NE(send("TSRY exec", "{" + many + "}").err.find("there are too many parameters"),
              std::string::npos);
}
