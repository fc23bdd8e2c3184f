// Every request through a real bus, by clients of others.
#include "scripting/terms.h"
#include "tests/bus/bus_test.h"

#include <algorithm>
#include <regex>

namespace {

class BusRequests : public bus_test {
protected:
    // Files to convert. What is made lies in "made", away from its input.
    BusRequests()
    {
        user.write("a.ps", drawing_ps(200, 100));
        user.write("b.ps", drawing_ps(120, 80));
        user.write("a.eps", drawing_eps(120, 90));
        user.write("b.eps", drawing_eps(40, 30));
        user.run({"gs", "-q", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite", "-sOutputFile=a.pdf",
                  "a.ps"});
        user.run({"mkdir", "made"});
    }

    std::string first_line(const std::string &name) const
    {
        const std::string text = user.read(name);
        return text.substr(0, text.find('\n'));
    }

    // What Ghostscript finds painted.
    std::string bounding_box(const std::string &name) const
    {
        const std::string err = user.run({"gs", "-q", "-dNOSAFER", "-dNOPAUSE", "-dBATCH",
                                          "-sDEVICE=bbox", user.path(name)})
                                    .err;
        const std::size_t at = err.find("%%BoundingBox: ");
        return at == std::string::npos ? err : err.substr(at, err.find('\n', at) - at);
    }

    std::string picture_size(const std::string &name) const
    {
        return user.run({"identify", "-format", "%m %wx%h", name}).out;
    }

    // The files that every way of asking has to have made.
    void expect_all_results()
    {
        EXPECT_EQ(pdf_page_size(user.path("b.pdf")), "120 x 80"); // opened, the second of two
        EXPECT_EQ(user.read("executed"), "here\n");
        EXPECT_EQ(first_line("made/a.dsc"), "%!PS-Adobe-3.0");
        EXPECT_EQ(bounding_box("epsf.eps"), bounding_box("epsf.ps"));
        EXPECT_NE(user.run({"tiffinfo", "etif.tiff"}).out.find("Image Width: "), std::string::npos);
        EXPECT_EQ(picture_size("epic.pict").substr(0, 5), "PICT ");
        EXPECT_EQ(first_line("pdfp.ps").substr(0, 4), "%!PS");
        EXPECT_EQ(bounding_box("pdfp.ps"), bounding_box("pdfp.pdf"));
        EXPECT_EQ(pdf_page_size(user.path("made/converted.pdf")), "120 x 90");
        // The first file only.
        for (const char *name : {"b.tiff", "b.pict", "b.eps.tiff"})
            EXPECT_FALSE(user.has(name)) << name;
    }

    void copy(const std::string &from, const std::string &to)
    {
        user.write(to, user.read(from));
    }

    // An input of its own for each of the requests that name their output themselves.
    void lay_out_inputs()
    {
        copy("a.ps", "epsf.ps");
        copy("a.eps", "etif.eps");
        copy("a.eps", "epic.eps");
        copy("a.pdf", "pdfp.pdf");
        copy("a.pdf", "dscs.pdf");
    }
};

} // namespace

TEST_F(BusRequests, AllTwelveAsEventsByGdbus)
{
    start_service();
    lay_out_inputs();
    const std::string nothing = "(0, @a{sv} {})\n";
    const std::string status = "(0, {'----': <0>})\n";
    const struct {
        std::string event, parameters, reply;
    } requests[] = {
        {"aevt oapp", "{}", nothing},
        {"aevt odoc", files_parameter({user.path("a.ps"), user.path("b.ps")}), nothing},
        {"aevt pdoc", files_parameter({user.path("a.ps")}), "(-1708, @a{sv} {})\n"},
        {"TSRY done", "{}", nothing},
        {"TSRY exec", parameters("echo here > executed", user.work), status},
        {"TSRY dscs", parameters(user.path("dscs.pdf"), user.path("made/a.dsc")), status},
        {"TSRY epsf", files_parameter({user.path("epsf.ps"), user.path("b.ps")}), status},
        {"TSRY etif", files_parameter({user.path("etif.eps"), user.path("b.eps")}), status},
        {"TSRY epic", files_parameter({user.path("epic.eps"), user.path("b.eps")}), status},
        {"TSRY pdfp", files_parameter({user.path("pdfp.pdf")}), status},
        {"TSRY cdoc", files_parameter({user.path("a.eps"), user.path("made/converted.pdf")}),
         nothing},
        {"aevt quit", "{}", nothing},
    };
    for (const auto &each : requests) {
        const program_result result = send(each.event, each.parameters);
        EXPECT_EQ(result.out, each.reply) << each.event << story(result);
    }
    const program_result ended = program->finish();
    program.reset();
    EXPECT_EQ(ended.status, 0) << story(ended);
    expect_all_results();
}

TEST_F(BusRequests, AllTwelveAsEventsByBusctl)
{
    start_service();
    lay_out_inputs();
    const std::string nothing = "ia{sv} 0 0\n";
    const std::string status = "ia{sv} 0 1 \"----\" i 0\n";
    const auto file = [&](const char *name) { return user.path(name); };
    const struct {
        const char *event_class, *event_id;
        strings parameters;
        std::string reply;
    } requests[] = {
        {"aevt", "oapp", {"0"}, nothing},
        {"aevt", "odoc", {"1", "----", "as", "2", file("a.ps"), file("b.ps")}, nothing},
        {"aevt", "pdoc", {"1", "----", "as", "1", file("a.ps")}, "ia{sv} -1708 0\n"},
        {"TSRY", "done", {"0"}, nothing},
        {"TSRY",
         "exec",
         {"2", "----", "s", "echo here > executed", "dest", "s", user.work},
         status},
        {"TSRY",
         "dscs",
         {"2", "----", "s", file("dscs.pdf"), "dest", "s", file("made/a.dsc")},
         status},
        {"TSRY", "epsf", {"1", "----", "as", "2", file("epsf.ps"), file("b.ps")}, status},
        {"TSRY", "etif", {"1", "----", "as", "1", file("etif.eps")}, status},
        {"TSRY", "epic", {"1", "----", "as", "1", file("epic.eps")}, status},
        {"TSRY", "pdfp", {"1", "----", "as", "1", file("pdfp.pdf")}, status},
        {"TSRY",
         "cdoc",
         {"1", "----", "as", "2", file("a.eps"), file("made/converted.pdf")},
         nothing},
        {"aevt", "quit", {"0"}, nothing},
    };
    for (const auto &each : requests) {
        strings words = {"busctl",
                         "--user",
                         "--timeout=300",
                         "--", // four hyphens are no option
                         "call",
                         bus_name,
                         "/org/papermill/Papermill",
                         "org.papermill.AppleEvents",
                         "Send",
                         "ssa{sv}b",
                         each.event_class,
                         each.event_id};
        words.insert(words.end(), each.parameters.begin(), each.parameters.end());
        words.emplace_back("true");
        const program_result result = user.run(words);
        EXPECT_EQ(result.out, each.reply) << each.event_id << story(result);
    }
    EXPECT_EQ(program->finish().status, 0);
    program.reset();
    expect_all_results();
}

TEST_F(BusRequests, TheTypedMethodsAndWhatDesktopsAsk)
{
    start_service();
    lay_out_inputs();
    const struct {
        std::string method;
        strings words;
        std::string reply;
    } requests[] = {
        {"org.freedesktop.Application.Open",
         {"['" + user.path("a.ps") + "', 'file://" + user.path("b.ps") + "']", "{}"},
         "()\n"},
        {"Done", {}, "()\n"},
        {"Exec", {"echo here > executed", user.work}, "(0,)\n"},
        {"Exec", {"sh -c 'exit 3'", ""}, "(3,)\n"},
        {"PDFToDSC", {user.path("dscs.pdf"), user.path("made/a.dsc")}, "(0,)\n"},
        {"PSToEPS", {"['" + user.path("epsf.ps") + "']"}, "(0,)\n"},
        {"EPSToTIFF",
         {"['" + user.path("etif.eps") + "', '" + user.path("b.eps") + "']"},
         "(0,)\n"},
        {"EPSToPICT", {"['" + user.path("epic.eps") + "']"}, "(0,)\n"},
        {"PDFToPS", {"['" + user.path("pdfp.pdf") + "']"}, "(0,)\n"},
        {"Convert", {user.path("a.eps"), user.path("made/converted.pdf")}, "()\n"},
        {"org.freedesktop.Application.ActivateAction", {"quit", "@av []", "{}"}, "()\n"},
    };
    for (const auto &each : requests) {
        const program_result result = call(each.method, each.words);
        EXPECT_EQ(result.out, each.reply) << each.method << story(result);
    }
    EXPECT_EQ(program->finish().status, 0);
    program.reset();
    expect_all_results();
}

TEST_F(BusRequests, ByPythonWithBytesForPathsThatAreNoUtf8)
{
    start_service();
    lay_out_inputs();
    const program_result result = python(
        "folder = os.fsencode(sys.argv[1]) + b'/'\n"
        "odd = folder + b'\\xff\\xfe b.ps'\n"
        "os.rename(folder + b'b.ps', odd)\n"
        "def array(path): return dbus.ByteArray(path)\n"
        "print(send('aevt', 'odoc', {'----': dbus.Array([array(odd)], signature='ay')}))\n"
        "reply = send('TSRY', 'exec', {'----': 'echo here > executed', 'dest': array(folder)})\n"
        "print(type(reply[0]).__name__, reply[0], [(str(key), type(value).__name__, int(value))\n"
        "                                          for key, value in reply[1].items()])\n"
        "out = folder + b'made/\\xe9.pdf'\n"
        "print(send('TSRY', 'cdoc', {'----': dbus.Array([array(folder + b'a.eps'), array(out)],\n"
        "                                               signature='ay')})[0])\n"
        "uri = 'file://' + sys.argv[1] + '/made/%E9.pdf'\n"
        "own = dbus.Interface(papermill, name)\n"
        "print(own.PDFToPS([uri], signature='as', timeout=300))\n"
        "print(sorted(os.listdir(folder + b'made')), os.path.exists(odd[:-2] + b'pdf'))\n"
        "try: send('aevt', 'pdoc', {}, False)\n"
        "finally: print(send('TSRY', 'exec', {'----': 'true'}, False))\n",
        {user.work});
    EXPECT_EQ(result.out, "(dbus.Int32(0), dbus.Dictionary({}, signature=dbus.Signature('sv')))\n"
                          "Int32 0 [('----', 'Int32', 0)]\n"
                          "0\n"
                          "0\n"
                          "[b'\\xe9.pdf', b'\\xe9.ps'] True\n"
                          "(dbus.Int32(0), dbus.Dictionary({}, signature=dbus.Signature('sv')))\n")
        << story(result);
    EXPECT_EQ(user.read("executed"), "here\n");
}

TEST_F(BusRequests, TheDesktopProgramAnswersAllOfThemAsWell)
{
    start_desktop();
    lay_out_inputs();
    const program_result result = python(
        "def path(file): return sys.argv[1] + '/' + file\n"
        "def files(*names):\n"
        "    return {'----': dbus.Array([path(each) for each in names], signature='s')}\n"
        "requests = (('aevt', 'oapp', {}), ('aevt', 'odoc', files('a.ps', 'b.ps')),\n"
        "            ('aevt', 'pdoc', files('a.ps')), ('TSRY', 'done', {}),\n"
        "            ('TSRY', 'exec', {'----': 'echo here > executed', 'dest': sys.argv[1]}),\n"
        "            ('TSRY', 'dscs', {'----': path('dscs.pdf'), 'dest': path('made/a.dsc')}),\n"
        "            ('TSRY', 'epsf', files('epsf.ps')), ('TSRY', 'etif', files('etif.eps')),\n"
        "            ('TSRY', 'epic', files('epic.eps')), ('TSRY', 'pdfp', files('pdfp.pdf')),\n"
        "            ('TSRY', 'cdoc', files('a.eps', 'made/converted.pdf')),\n"
        "            ('aevt', 'quit', {}))\n"
        "for event_class, event_id, values in requests:\n"
        "    error, reply = send(event_class, event_id, values)\n"
        "    print(event_id, int(error), {str(key): int(value) for key, value in reply.items()})\n",
        {user.work});
    EXPECT_EQ(result.out, "oapp 0 {}\nodoc 0 {}\npdoc -1708 {}\ndone 0 {}\n"
                          "exec 0 {'----': 0}\ndscs 0 {'----': 0}\nepsf 0 {'----': 0}\n"
                          "etif 0 {'----': 0}\nepic 0 {'----': 0}\npdfp 0 {'----': 0}\n"
                          "cdoc 0 {}\nquit 0 {}\n")
        << story(result);
    EXPECT_EQ(program->finish().status, 0);
    program.reset();
    expect_all_results();
}

TEST_F(BusRequests, ABusyProgramSaysSoInBothWordingsAndAtOnce)
{
    start_service();
    const auto run = start_run();
    const std::string with_another =
        "(-1708, {'errs': <'" + std::string(busy_with_another) + "'>})\n";
    const std::string with_previous =
        "(-1708, {'errs': <'" + std::string(busy_with_previous) + "'>})\n";
    const std::string list = files_parameter({user.path("a.ps")});
    const struct {
        const char *event;
        std::string parameters, reply;
    } requests[] = {
        {"aevt odoc", list, with_another},
        {"TSRY epsf", list, with_another},
        {"TSRY etif", list, with_another},
        {"TSRY epic", list, with_another},
        {"TSRY pdfp", list, with_another},
        {"TSRY cdoc", list, with_another},
        {"TSRY exec", "{'----': <'true'>}", with_previous},
        {"TSRY dscs", parameters(user.path("a.pdf"), user.path("made/a.dsc")), with_previous},
        {"aevt oapp", "{}", "(0, @a{sv} {})\n"},
        {"aevt pdoc", list, "(-1708, @a{sv} {})\n"},
    };
    for (const auto &each : requests)
        EXPECT_EQ(send(each.event, each.parameters).out, each.reply) << each.event;
    EXPECT_EQ(call("Convert", {user.path("a.ps"), user.path("made/a.pdf")}).err,
              "Error: GDBus.Error:org.papermill.Error.Number1708: " +
                  std::string(busy_with_another) + " (-1708)\n");
    EXPECT_EQ(call("Exec", {"true", ""}).err,
              "Error: GDBus.Error:org.papermill.Error.Number1708: " +
                  std::string(busy_with_previous) + " (-1708)\n");
    // Nobody who does not want a reply gets a text.
    EXPECT_EQ(call("org.papermill.AppleEvents.Send", {"TSRY", "epsf", list, "false"}).out,
              "(-1708, @a{sv} {})\n");
    const program_call busy = method_call("Exec", {"true", ""});
    EXPECT_TRUE(can_end_within(std::chrono::milliseconds(500), [&] { run_program(busy); }));
    end_run();
    EXPECT_EQ(run->finish().out, "(143,)\n");
}

TEST_F(BusRequests, TheObjectTellsWhatItAnswers)
{
    start_service();
    const std::string xml =
        read_file(PAPERMILL_SOURCE_DIR "/resources/org.papermill.Papermill.xml");
    EXPECT_EQ(python("print(papermill.Introspect("
                     "dbus_interface='org.freedesktop.DBus.Introspectable'), end='')")
                  .out,
              xml);
    // Every method that it lists is there: a call without arguments that it does not take is
    // refused for that, and not because there is no such method.
    std::string interface;
    int methods = 0;
    const std::regex names("<(interface|method) name=\"([^\"]*)\"");
    for (std::sregex_iterator each(xml.begin(), xml.end(), names), end; each != end; ++each) {
        if ((*each)[1] == "interface") {
            interface = (*each)[2];
            continue;
        }
        ++methods;
        const std::string name = (*each)[2];
        const program_result result =
            python("own = dbus.Interface(papermill, sys.argv[1])\n"
                   "print(trouble(lambda: own.get_dbus_method(sys.argv[2])(4711)))\n",
                   {interface, name});
        EXPECT_EQ(result.out.rfind("org.freedesktop.DBus.Error.InvalidArgs: " + name + " takes", 0),
                  0U)
            << name << story(result);
    }
    EXPECT_EQ(methods, 12);
}

// The table of the requests and what the bus is told of them are the same.
TEST_F(BusRequests, TheTermsAreTheMethods)
{
    const std::string xml =
        read_file(PAPERMILL_SOURCE_DIR "/resources/org.papermill.Papermill.xml");
    const std::size_t begin = xml.find("<interface name=\"org.papermill.Papermill\">");
    const std::string own = xml.substr(begin, xml.find("</interface>", begin) - begin);
    std::size_t methods = 0;
    for (std::size_t i = 0; i < scripting_term_count; ++i) {
        const scripting_term &term = scripting_terms[i];
        if (term.method == nullptr) {
            EXPECT_EQ(term.event_class, kCoreEventClass) << term.word;
            continue;
        }
        ++methods;
        std::string described = "<method name=\"" + std::string(term.method) + "\"";
        std::string arguments;
        for (const scripting_parameter &each : term.parameters) {
            if (each.value == scripting_value::none)
                continue;
            const bool list = each.value == scripting_value::files;
            arguments += "<arg name=\"" + std::string(each.name) + "\" type=\"" +
                         (list ? "as" : "s") + "\" direction=\"in\"/>";
        }
        if (term.replies_status)
            arguments += "<arg name=\"exit_status\" type=\"i\" direction=\"out\"/>";
        described += arguments.empty() ? "/>" : ">" + arguments + "</method>";
        EXPECT_NE(std::regex_replace(own, std::regex("\\s*\n\\s*"), "").find(described),
                  std::string::npos)
            << described;
    }
    EXPECT_EQ(methods, count(own, "<method "));
}

TEST_F(BusRequests, ShowsItsWindowOnlyWhereItHasOne)
{
    start_service();
    const program_result refused = call("org.freedesktop.Application.Activate", {"{}"});
    EXPECT_EQ(refused.err, "Error: GDBus.Error:org.freedesktop.DBus.Error.NotSupported: "
                           "the program has no window\n");
    EXPECT_EQ(call("org.freedesktop.Application.ActivateAction", {"dance", "@av []", "{}"})
                  .err.rfind("Error: GDBus.Error:org.freedesktop.DBus.Error.InvalidArgs: "
                             "there is no action \"dance\"\n",
                             0),
              0U);
    program->send_signal(SIGTERM);
    program->finish();
    start_desktop();
    EXPECT_EQ(call("org.freedesktop.Application.Activate",
                   {"{'activation-token': <'token'>, 'other': <[1, 2]>}"})
                  .out,
              "()\n");
}
