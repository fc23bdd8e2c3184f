// The steps of a run around its tools: names, protection, the result.
#include "platform/core/run_folder.h"
#include "tests/support/hostile_names.h"
#include "tests/support/run_program.h"
#include "tests/support/test_files.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using names = std::vector<std::string>;

const std::string program = PAPERMILL_RUN_STEPS;
const std::string sound_pdf = "%PDF-1.7\nbody\n%%EOF\n";

class PapermillRun : public testing::Test {
protected:
    PapermillRun() : run(temporary.make_folder("run.1")), capture(temporary / "worksheet")
    {
        temporary.make_folder("run.1/tmp");
        input = users.write("in.ps", "%!PS\n");
        output = users / "out.pdf";
    }

    program_call call(names arguments) const
    {
        arguments.insert(arguments.begin(), program);
        program_call result;
        result.arguments = std::move(arguments);
        result.folder = users.path();
        result.environment["PAPERMILL_RUN_FOLDER"] = run;
        result.environment["PAPERMILL_PREPARED_FROM"] = std::nullopt;
        result.environment["TMPDIR"] = run + "/tmp";
        return result;
    }

    // Without root's rights, which would open everything. Whoever else it is must reach the program
    // and its folders.
    program_call call_without_rights(const names &arguments) const
    {
        program_call result = call(arguments);
        if (getuid() == 0) {
            const std::string copy = temporary / "run_steps";
            std::filesystem::copy_file(result.arguments[0], copy,
                                       std::filesystem::copy_options::overwrite_existing);
            result.arguments[0] = copy;
            const names privileges = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                                      "--"};
            result.arguments.insert(result.arguments.begin(), privileges.begin(), privileges.end());
            EXPECT_EQ(chown(run.c_str(), 65534, 65534), 0);
        }
        return result;
    }

    program_result stage(const std::string &in, const std::string &out) const
    {
        return run_program(call({"stage", "any", out, in}));
    }

    program_result settle(int status, const std::string &kind = "pdf") const
    {
        return run_program(call({"settle", std::to_string(status), kind, capture, output, input}));
    }

    // For another stage in the same folder.
    void unlink_all() const
    {
        for (const std::string &name : names_in(run)) {
            if (name != "tmp")
                std::filesystem::remove_all(run + "/" + name);
        }
    }

    // A staged run whose tool has left this result and said this.
    void after_tool(const std::string &result, const std::string &said = "",
                    const std::string &kind = "pdf") const
    {
        ASSERT_EQ(stage(input, output).status, 0);
        write_file(run + "/papermill-out/result." + kind, result);
        write_file(capture, said);
    }

    std::string ending() const
    {
        return read_file(run + "/status");
    }

    std::string link_target(const std::string &name) const
    {
        return std::filesystem::read_symlink(run + "/" + name);
    }

    // A stage that is refused leaves nothing but its message.
    void expect_refused(const program_result &result, int status, const std::string &message) const
    {
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.err, message);
        EXPECT_EQ(result.out, "");
        EXPECT_FALSE(file_exists(run + "/papermill-out"));
        for (const std::string &name : users.names())
            EXPECT_NE(name.substr(0, 11), ".papermill-");
        std::filesystem::remove(run + "/papermill-in");
    }

    temporary_folder temporary;
    temporary_folder users;
    std::string run, capture, input, output;
};

mode_t mode_of(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

} // namespace

// ---- stage ----

TEST_F(PapermillRun, AStagedRunHasNamesOfItsOwn)
{
    const program_result result = stage(input, output);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(link_target("papermill-in"), input);
    EXPECT_EQ(link_target("papermill-to"), output);
    const std::string unfinished = link_target("papermill-out");
    EXPECT_EQ(unfinished.substr(0, unfinished.size() - 6), users / ".papermill-");
    EXPECT_EQ(mode_of(unfinished), 0700U);
    EXPECT_EQ(users.names(), (names{unfinished.substr(users.path().size() + 1), "in.ps"}));
}

// Kills the child where it has made its `number`th name in a folder. False: it has made fewer.
static bool kill_at_name(pid_t child, int number)
{
    int status = 0;
    waitpid(child, &status, 0); // it has become the program
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int made = 0;;) {
        if (ptrace(PTRACE_SYSCALL, child, nullptr, 0) != 0 || waitpid(child, &status, 0) != child ||
            !WIFSTOPPED(status))
            return false;
        __ptrace_syscall_info call = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call);
        if (call.op != PTRACE_SYSCALL_INFO_ENTRY)
            continue;
        const bool makes_name = call.entry.nr == SYS_symlinkat || call.entry.nr == SYS_mkdirat
#ifdef SYS_mkdir
                                || call.entry.nr == SYS_symlink || call.entry.nr == SYS_mkdir
#endif
            ;
        if (!makes_name || ++made < number)
            continue;
        ptrace(PTRACE_SYSCALL, child, nullptr, 0);
        waitpid(child, &status, 0); // the name is there
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return true;
    }
}

TEST_F(PapermillRun, AStageThatIsKilledCanBeClearedUp)
{
    int killed = 0;
    for (bool at_name = true; at_name;) {
        const pid_t child = start_child([&] {
            setenv("PAPERMILL_RUN_FOLDER", run.c_str(), 1);
            setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // a search that needs ptrace itself
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            execl(program.c_str(), "run_steps", "stage", "any", output.c_str(), input.c_str(),
                  nullptr);
        });
        at_name = kill_at_name(child, killed + 1);
        if (at_name)
            ++killed;
        platform::remove_run_folder(run);
        EXPECT_EQ(users.names(), names{"in.ps"}) << killed;
        temporary.make_folder("run.1/tmp");
    }
    if (killed == 0)
        GTEST_SKIP() << "no process may be watched here";
    EXPECT_EQ(killed, 4); // three links and a folder
}

TEST_F(PapermillRun, AnyNameCanBeStagedAndSettled)
{
    for (const std::string &name : hostile_names()) {
        input = users.write(name, "%!PS\n");
        output = users / (name + ".pdf");
        after_tool(sound_pdf);
        EXPECT_EQ(read_file(run + "/papermill-in"), "%!PS\n");
        EXPECT_EQ(settle(0).status, 0);
        EXPECT_EQ(ending(), "0 done\n");
        EXPECT_EQ(read_file(output), sound_pdf) << name;
        std::filesystem::remove(input);
        std::filesystem::remove(output);
        EXPECT_EQ(users.names(), names{"in.ps"}) << name;
        unlink_all();
    }
}

TEST_F(PapermillRun, RelativeNamesCountFromTheCurrentFolder)
{
    ASSERT_EQ(stage("in.ps", "out.pdf").status, 0);
    EXPECT_EQ(link_target("papermill-in"), input);
    EXPECT_EQ(link_target("papermill-to"), output);
}

TEST_F(PapermillRun, AMissingInputIsTold)
{
    expect_refused(stage(users / "missing.ps", output), 66,
                   users / "missing.ps" + ": File not found!\n");
    expect_refused(stage(users / "no/missing.ps", output), 66,
                   users / "no/missing.ps" + ": File not found!\n");
}

TEST_F(PapermillRun, AFolderIsNoInput)
{
    expect_refused(stage(users.path(), output), 66,
                   users.path() + ": this is a folder, not a file.\n");
}

TEST_F(PapermillRun, AnEmptyFileIsNoInput)
{
    const std::string empty = users.write("empty.ps", "");
    expect_refused(stage(empty, output), 66, empty + ": the file is empty.\n");
}

TEST_F(PapermillRun, WhatIsNoFileIsNoInput)
{
    expect_refused(stage("/dev/zero", output), 66, "/dev/zero: this is no ordinary file.\n");
    const std::string fifo = users / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
    // Nobody writes to it: whoever waited for that would wait for ever.
    expect_refused(stage(fifo, output), 66, fifo + ": this is no ordinary file.\n");
}

TEST_F(PapermillRun, AnInputThatCannotBeReadIsTold)
{
    ASSERT_EQ(chmod(input.c_str(), 0), 0);
    expect_refused(run_program(call_without_rights({"stage", "any", output, input})), 66,
                   input + ": the file can't be read: Permission denied.\n");
}

TEST_F(PapermillRun, AnInputThatIsALinkIsItsTarget)
{
    const std::string link = users / "link.ps";
    ASSERT_EQ(symlink("in.ps", link.c_str()), 0);
    ASSERT_EQ(stage(link, output).status, 0);
    EXPECT_EQ(read_file(run + "/papermill-in"), "%!PS\n");
}

TEST_F(PapermillRun, AnOutputThatIsAFolderIsRefused)
{
    users.make_folder("folder");
    expect_refused(stage(input, users / "folder"), 73,
                   users / "folder" + ": this is a folder; the output needs a file name.\n");
}

TEST_F(PapermillRun, AnOutputInAMissingFolderIsRefused)
{
    expect_refused(stage(input, users / "no/out.pdf"), 73,
                   users / "no/out.pdf" + ": there is no folder " + users / "no" + ".\n");
    expect_refused(stage(input, input + "/out.pdf"), 73,
                   input + "/out.pdf: there is no folder " + input + ".\n");
}

TEST_F(PapermillRun, AnOutputInALockedFolderIsRefused)
{
    const std::string locked = users.make_folder("locked");
    ASSERT_EQ(chmod(locked.c_str(), 0555), 0);
    expect_refused(run_program(call_without_rights({"stage", "any", locked + "/out.pdf", input})),
                   73,
                   locked + "/out.pdf: nothing can be written into the folder " + locked +
                       ": Permission denied.\n");
}

TEST_F(PapermillRun, AReadOnlyFileIsNotReplaced)
{
    users.write("out.pdf", "older");
    ASSERT_EQ(chmod(output.c_str(), 0444), 0);
    expect_refused(run_program(call_without_rights({"stage", "any", output, input})), 73,
                   output + ": the file can't be replaced: Permission denied.\n");
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(PapermillRun, IncompleteCallsAreRefused)
{
    const names whole = {"tools", "pdf", "any", "0", capture, output, "1", input, "true"};
    std::vector<names> odd = {{},
                              {"other", "x", "y"},
                              {"stage", "any", output, input},
                              {"limit", "1"},
                              {"then", "file", "3", "true"},
                              {"command", "exec", "0", capture},
                              {"unknown", "0"}};
    for (std::size_t size = 1; size < whole.size(); ++size)
        odd.emplace_back(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    for (const names &words : odd) {
        program_call refused = call(words);
        refused.arguments[0] = PAPERMILL_BUNDLE "/Resources/bin/papermill_run";
        const program_result result = run_program(refused);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.err, "papermill_run: called by gs.script alone.\n");
    }
    EXPECT_EQ(users.names(), names{"in.ps"});
    EXPECT_EQ(names_in(run), names{"tmp"});
}

// ---- stage: several inputs, PDF files ----

namespace {

class PapermillRunInputs : public PapermillRun {
protected:
    PapermillRunInputs()
    {
        std::filesystem::remove(input);
    }

    void make_inputs(int count)
    {
        for (int i = 1; i <= count; ++i)
            inputs.push_back(users.write("doc" + std::to_string(i) + ".pdf", whole_pdf));
    }

    program_result stage_all(const std::string &kind = "pdf") const
    {
        names words = {"stage", kind, output};
        words.insert(words.end(), inputs.begin(), inputs.end());
        return run_program(call(words));
    }

    program_result settle_all(int status, const std::string &said) const
    {
        write_file(run + "/papermill-out/result.pdf", sound_pdf);
        write_file(capture, said);
        names words = {"settle", std::to_string(status), "pdf", capture, output};
        words.insert(words.end(), inputs.begin(), inputs.end());
        return run_program(call(words));
    }

    // A stage of the PDF file alone.
    program_result stage_pdf(const std::string &bytes)
    {
        unlink_all();
        inputs = {users.write("doc.pdf", bytes)};
        return stage_all();
    }

    names inputs;
    const std::string whole_pdf = "%PDF-1.7\nbody\nstartxref\n9\n%%EOF\n";
};

} // namespace

TEST_F(PapermillRunInputs, SeveralInputsAreNumbered)
{
    make_inputs(11);
    EXPECT_EQ(stage_all().err, "");
    EXPECT_FALSE(file_exists(run + "/papermill-in"));
    for (int i = 1; i <= 11; ++i)
        EXPECT_EQ(link_target("papermill-in-" + std::to_string(i)),
                  users / ("doc" + std::to_string(i) + ".pdf"));
    EXPECT_FALSE(file_exists(run + "/papermill-in-0"));
    EXPECT_FALSE(file_exists(run + "/papermill-in-12"));
}

TEST_F(PapermillRunInputs, OneInputOfSeveralMayStandTwice)
{
    make_inputs(1);
    inputs.push_back(inputs[0]);
    EXPECT_EQ(stage_all().status, 0);
    EXPECT_EQ(link_target("papermill-in-2"), inputs[0]);
}

TEST_F(PapermillRunInputs, AnyNamesAreStagedTogether)
{
    for (const std::string &name : hostile_names())
        inputs.push_back(users.write(name, whole_pdf));
    EXPECT_EQ(stage_all().err, "");
    for (std::size_t i = 0; i < inputs.size(); ++i)
        EXPECT_EQ(link_target("papermill-in-" + std::to_string(i + 1)), inputs[i]);
}

TEST_F(PapermillRunInputs, AllMustBeGood)
{
    make_inputs(2);
    inputs.push_back(users / "missing.pdf");
    expect_refused(stage_all(), 66, users / "missing.pdf" + ": File not found!\n");
    inputs[1] = users.write("empty.pdf", "");
    expect_refused(stage_all(), 66, users / "empty.pdf" + ": the file is empty.\n");
    EXPECT_EQ(names_in(run), names{"tmp"});
}

TEST_F(PapermillRunInputs, MessagesNameEachOfThem)
{
    make_inputs(12);
    ASSERT_EQ(stage_all().status, 0);
    settle_all(1, "papermill-in-1 papermill-in-2 papermill-in-10 papermill-in-11 papermill-in-12 "
                  "papermill-in-1papermill-in-1: papermill-out/result.pdf\n");
    EXPECT_EQ(read_file(capture), inputs[0] + " " + inputs[1] + " " + inputs[9] + " " + inputs[10] +
                                      " " + inputs[11] + " " + inputs[0] + inputs[0] + ": " +
                                      output + "\n");
}

TEST_F(PapermillRunInputs, WhatHasNoHeadIsNoPdfFile)
{
    const std::string message = users / "doc.pdf" + ": this is no PDF file.\n";
    expect_refused(stage_pdf("%!PS\nstartxref\n9\n%%EOF\n"), 66, message);
    expect_refused(stage_pdf("%PDF"), 66, message);
    expect_refused(stage_pdf(std::string(1020, ' ') + whole_pdf), 66, message); // cut by the limit
    expect_refused(stage_pdf(std::string(5000, 'x')), 66, message);
    EXPECT_EQ(stage_all("any").status, 0); // where anything is taken
}

TEST_F(PapermillRunInputs, WhatHasNoEndIsADamagedPdfFile)
{
    const std::string message =
        users / "doc.pdf" + ": the PDF file is damaged: its end is missing.\n";
    expect_refused(stage_pdf("%PDF-1.7\n"), 66, message);
    expect_refused(stage_pdf(whole_pdf.substr(0, whole_pdf.find("xref"))), 66, message);
    // The end of an older state of the file is not its end.
    expect_refused(stage_pdf(whole_pdf + std::string(3000, 'x')), 66, message);
    expect_refused(stage_pdf("%PDF-1.7\n" + std::string(9000, '\0')), 66, message);
}

TEST_F(PapermillRunInputs, APdfFileMayHaveSomethingAroundIt)
{
    for (const std::string &bytes :
         {whole_pdf, std::string(1019, ' ') + whole_pdf, "junk\n" + whole_pdf,
          whole_pdf + std::string(2000, 'x'), whole_pdf + std::string(100000, '\0'),
          whole_pdf + "\r\n\x1A" + std::string(4094, '\0'),
          whole_pdf.substr(0, 9) + std::string(100000, 'x') + whole_pdf.substr(9)}) {
        const program_result result = stage_pdf(bytes);
        EXPECT_EQ(result.status, 0) << bytes.size();
        EXPECT_EQ(result.err, "");
    }
}

// ---- settle ----

TEST_F(PapermillRun, AGoodResultIsPutIntoItsPlace)
{
    after_tool(sound_pdf, "all is well\n");
    const program_result result = settle(0);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(read_file(output), sound_pdf);
    EXPECT_EQ(users.names(), (names{"in.ps", "out.pdf"}));
    EXPECT_EQ(read_file(capture), "all is well\n");
}

TEST_F(PapermillRun, AnOlderFileIsReplacedAndItsPermissionsKept)
{
    for (const mode_t mode : {0600U, 0644U, 0664U, 0755U}) {
        users.write("out.pdf", "older");
        ASSERT_EQ(chmod(output.c_str(), mode), 0);
        after_tool(sound_pdf);
        EXPECT_EQ(settle(0).status, 0);
        EXPECT_EQ(read_file(output), sound_pdf);
        EXPECT_EQ(mode_of(output), mode);
        unlink_all();
    }
}

TEST_F(PapermillRun, ALinkIsWrittenThrough)
{
    users.make_folder("real");
    users.write("real/target.pdf", "older");
    ASSERT_EQ(symlink("real/target.pdf", (users / "middle.pdf").c_str()), 0);
    ASSERT_EQ(symlink((users / "middle.pdf").c_str(), output.c_str()), 0);
    after_tool(sound_pdf);
    // The unfinished output lies where the file is, so that it can be moved in one step.
    EXPECT_EQ(link_target("papermill-out").find(users / "real/.papermill-"), 0U);
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(read_file(users / "real/target.pdf"), sound_pdf);
    EXPECT_TRUE(std::filesystem::is_symlink(output));
    EXPECT_TRUE(std::filesystem::is_symlink(users / "middle.pdf"));
    EXPECT_EQ(users.names(), (names{"in.ps", "middle.pdf", "out.pdf", "real"}));
}

TEST_F(PapermillRun, ALinkToNothingYetGetsItsTarget)
{
    users.make_folder("real");
    ASSERT_EQ(symlink("real/new.pdf", output.c_str()), 0);
    after_tool(sound_pdf);
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(read_file(users / "real/new.pdf"), sound_pdf);
    EXPECT_TRUE(std::filesystem::is_symlink(output));
}

TEST_F(PapermillRun, ADeviceIsWrittenTo)
{
    output = "/dev/null";
    after_tool(sound_pdf);
    EXPECT_EQ(std::filesystem::path(link_target("papermill-out")).parent_path(), run);
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(PapermillRun, APipeGetsTheBytes)
{
    output = users / "fifo.pdf";
    ASSERT_EQ(mkfifo(output.c_str(), 0666), 0);
    after_tool(sound_pdf);
    std::string got;
    std::thread reader([&] { got = read_file(output); });
    EXPECT_EQ(settle(0).status, 0);
    reader.join();
    EXPECT_EQ(got, sound_pdf);
    EXPECT_EQ(users.names(), (names{"fifo.pdf", "in.ps"}));
}

TEST_F(PapermillRun, AFailedToolsResultIsThrownAway)
{
    users.write("out.pdf", "older");
    for (const int status : {1, 2, 127, 137, 255}) {
        after_tool(sound_pdf, "it failed\n");
        EXPECT_EQ(settle(status).status, status);
        // A shell's word for a tool that could not be started.
        EXPECT_EQ(ending(), std::to_string(status) + (status == 127 ? " missing\n" : " done\n"));
        EXPECT_EQ(read_file(output), "older");
        EXPECT_EQ(users.names(), (names{"in.ps", "out.pdf"}));
        unlink_all();
    }
}

namespace {

struct tool_result {
    const char *kind;
    std::string result, said;
};

} // namespace

TEST_F(PapermillRun, WhatADocumentSaysOfErrorsIsNoError)
{
    after_tool(sound_pdf, "checking ioerror handling\n**** Error as a title\n");
    EXPECT_EQ(settle(0, "pdf").status, 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(read_file(output), sound_pdf);
}

TEST_F(PapermillRun, AnUnusableResultLeavesTheOlderFile)
{
    const std::string pixels(3 * 4 * 5, 'p');
    const tool_result bad[] = {
        {"pdf", "", ""},
        {"pdf", "%PDF-1.7\ncut sho", ""},
        {"pdf", "no pdf\n%%EOF\n", ""},
        {"pdf", "%PDF-1.7\n%%EOF" + std::string(2000, 'x'), ""},
        {"pdf", sound_pdf, "page 1\n   **** Error: Cannot find a page.\n"},
        {"pdf", sound_pdf, "Error: /ioerror in --showpage--\n"},
        {"pdf", sound_pdf, std::string(65530, 'x') + "   **** Error" + std::string(70000, 'y')},
        {"pdf", sound_pdf, "GPL Ghostscript 10.00.0: ERROR: ioerror (-12) on closing device.\n"},
        {"pnm", "", ""},
        {"pnm", "P6\n4 5\n255\n" + pixels.substr(1), ""},
        {"pnm", "P6\n# made by a tool\n4 5\n255\n" + pixels.substr(1), ""},
        {"pnm", "P5\n4 5\n255\n" + pixels, ""},
        {"pnm", "P6\n0 5\n255\n" + pixels, ""},
        {"pnm", "P6\n-4 -5\n255\n" + pixels, ""},
        {"pnm", "P6\n4000000000 4000000000\n255\n" + pixels, ""},
        {"pnm", "P6\n99999999999999999999999 1\n255\n" + pixels, ""},
        {"pnm", "P6\n4 5", ""},
        {"pdf", sound_pdf, "GPL Ghostscript:\n   **** This file requires a password for access.\n"},
        {"pdf", sound_pdf, "\n   **** Warning: PDF document has no pages.\n"},
        {"ps", "%!PS-Adobe-3.0\n%%Trailer\n", ""},
        {"eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%Trailer\n", ""},
        {"dsc", "%!PS-Adobe-3.0\n%%Pages: 0\n%%EndComments\n%%EOF", ""},
        {"txt", " \n\f", ""},
        {"bbox", "", ""},
        {"bbox", "Page 1\n", ""},
        {"pict", std::string(600, '\0'), ""},
    };
    for (const tool_result &each : bad) {
        SCOPED_TRACE(each.result.substr(0, 40) + each.said.substr(0, 40));
        users.write("out.pdf", "older");
        after_tool(each.result, each.said, each.kind);
        EXPECT_EQ(settle(0, each.kind).status, 0);
        EXPECT_EQ(ending(), "0 unusable\n");
        EXPECT_EQ(read_file(output), "older");
        EXPECT_EQ(users.names(), (names{"in.ps", "out.pdf"}));
        unlink_all();
    }
}

TEST_F(PapermillRun, EveryKindOfResultIsTaken)
{
    const tool_result good[] = {
        {"ps", "%!PS-Adobe-3.0\n%%EOF\n", ""},
        {"eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%EOF\n", ""},
        {"dsc", "%!PS-Adobe-3.0\n%%Pages: 10\n%%EOF", ""},
        {"txt", "\n a word\n\f", ""},
        {"bbox", "%%BoundingBox: 0 0 0 0\n", ""},
        {"pict", std::string(522, '\0') + std::string("\0\x11\x02\xFF\0\xFF", 6), ""},
    };
    for (const tool_result &each : good) {
        after_tool(each.result, "", each.kind);
        EXPECT_EQ(settle(0, each.kind).status, 0);
        EXPECT_EQ(ending(), "0 done\n") << each.kind;
        EXPECT_EQ(read_file(output), each.result);
        EXPECT_EQ(read_file(capture), "");
        unlink_all();
    }
}

TEST_F(PapermillRun, AMissingResultIsUnusable)
{
    ASSERT_EQ(stage(input, output).status, 0);
    write_file(capture, "");
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(users.names(), names{"in.ps"});
}

TEST_F(PapermillRun, APictureIsMeasuredByItsHeader)
{
    const std::string pixels(3 * 4 * 5, 'p');
    for (const std::string &header :
         {std::string("P6\n4 5\n255\n"), std::string("P6\n# a comment 9 9 9\n4 5\n255\n"),
          std::string("P6 4 5 255 ")}) {
        after_tool(header + pixels, "", "pnm");
        EXPECT_EQ(settle(0, "pnm").status, 0);
        EXPECT_EQ(ending(), "0 done\n") << header;
        EXPECT_EQ(read_file(output), header + pixels);
        unlink_all();
    }
}

TEST_F(PapermillRun, ACancelledRunIsLeftAlone)
{
    users.write("out.pdf", "older");
    after_tool(sound_pdf, "said by papermill-in\n");
    std::filesystem::remove_all(run);
    const program_result result = settle(0);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(settle(3).status, 3);
    EXPECT_EQ(read_file(output), "older");
    EXPECT_EQ(read_file(capture), "said by papermill-in\n");
    EXPECT_FALSE(file_exists(run));
}

TEST_F(PapermillRun, MessagesNameTheUsersFiles)
{
    after_tool(sound_pdf,
               "papermill-in: read\npapermill-out/result.pdf: written\n"
               "papermill-i papermill-out/result.pd papermill- papermill-inpapermill-in\n");
    settle(0);
    EXPECT_EQ(read_file(capture), input + ": read\n" + output +
                                      ": written\n"
                                      "papermill-i papermill-out/result.pd papermill- " +
                                      input + input + "\n");
    EXPECT_EQ(temporary.names(), (names{"run.1", "worksheet"}));
}

TEST_F(PapermillRun, MessagesNameTheFileThatACopyWasMadeOf)
{
    after_tool(sound_pdf, "papermill-in: read\n");
    program_call prepared = call({"settle", "0", "pdf", capture, output, input});
    prepared.environment["PAPERMILL_PREPARED_FROM"] = "/home/user/figure.eps";
    EXPECT_EQ(run_program(prepared).status, 0);
    EXPECT_EQ(read_file(capture), "/home/user/figure.eps: read\n");
}

TEST_F(PapermillRun, NamesInLongMessagesAreFoundWhereverTheyStand)
{
    // Around the end of the window that is looked at, the name is cut at every place.
    for (std::size_t before = 65536 - 30; before <= 65536 + 2; ++before) {
        const std::string head(before, 'x');
        const std::string tail(70000, 'y');
        write_file(capture, head + "papermill-in" + tail + "papermill-in");
        ASSERT_EQ(settle(1).status, 1);
        EXPECT_EQ(read_file(capture), head + input + tail + input) << before;
    }
}

TEST_F(PapermillRun, MessagesMayHoldAnything)
{
    std::string bytes("\0\xFF papermill-\0in papermill-in\r\n", 30);
    write_file(capture, bytes);
    settle(1);
    const std::size_t at = bytes.rfind("papermill-in");
    EXPECT_EQ(read_file(capture), bytes.replace(at, 12, input));
}

TEST_F(PapermillRun, AFolderThatWasLockedMeanwhileIsTold)
{
    const std::string place = users.make_folder("place");
    output = place + "/out.pdf";
    after_tool(sound_pdf, "done\n");
    const std::string unfinished = link_target("papermill-out");
    std::filesystem::create_directory(output); // somebody else was faster
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(read_file(capture).find("done\n" + output + ": the result can't be put there: "), 0U);
    EXPECT_FALSE(file_exists(unfinished));
    EXPECT_TRUE(std::filesystem::is_directory(output));
}

// ---- settle: a file for each page ----

namespace {

// The least that makes a TIFF file: one strip of a byte.
std::string page_tiff(char pixel)
{
    return std::string("II*\0\x0A\0\0\0", 8) + pixel + '\0' + std::string("\2\0", 2) +
           std::string("\x11\1\4\0\1\0\0\0\x08\0\0\0", 12) +
           std::string("\x17\1\4\0\1\0\0\0\1\0\0\0", 12) + std::string(4, '\0');
}

class PapermillRunPages : public PapermillRun {
protected:
    PapermillRunPages()
    {
        output = users / "page-%d.tiff";
    }

    // A staged run that has left these pages.
    void after_pages(const names &pages) const
    {
        unlink_all();
        ASSERT_EQ(stage(input, output).status, 0);
        for (std::size_t i = 0; i < pages.size(); ++i)
            write_file(run + "/papermill-out/result-" + std::to_string(i + 1) + ".tiff", pages[i]);
        write_file(capture, "");
    }

    const std::string red = page_tiff('r'), green = page_tiff('g'), blue = page_tiff('b');
};

} // namespace

TEST_F(PapermillRunPages, ArePutIntoTheirPlacesFromOneOn)
{
    names pages(11, green);
    pages[0] = red;
    pages[10] = blue;
    after_pages(pages);
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(users.names().size(), 12U);
    EXPECT_EQ(read_file(users / "page-1.tiff"), red);
    EXPECT_EQ(read_file(users / "page-2.tiff"), green);
    EXPECT_EQ(read_file(users / "page-11.tiff"), blue);
    EXPECT_EQ(read_file(capture), "");
}

TEST_F(PapermillRunPages, AreNumberedAtTheLastPlaceForIt)
{
    users.make_folder("%d");
    output = users / "%d/50%d of %s-%d-%dx.tiff";
    after_pages({red, blue});
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(names_in(users / "%d"), (names{"50%d of %s-%d-1x.tiff", "50%d of %s-%d-2x.tiff"}));
}

TEST_F(PapermillRunPages, AreNotMovedUnlessAllAreSound)
{
    users.write("page-1.tiff", "older");
    after_pages({red, green, blue.substr(0, blue.size() - 8)});
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(read_file(users / "page-1.tiff"), "older");
    EXPECT_EQ(users.names(), (names{"in.ps", "page-1.tiff"}));
}

TEST_F(PapermillRunPages, AreNotMovedAfterAnError)
{
    after_pages({red});
    EXPECT_EQ(settle(1, "tiff").status, 1);
    EXPECT_EQ(users.names(), names{"in.ps"});
    after_pages({red});
    write_file(capture, "Error: /ioerror in --showpage--\n");
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(users.names(), names{"in.ps"});
}

TEST_F(PapermillRunPages, AreMissingWhenThereIsNone)
{
    after_pages({});
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(users.names(), names{"in.ps"});
}

TEST_F(PapermillRunPages, AreWrittenThroughLinks)
{
    users.make_folder("real");
    users.write("real/first.tiff", "older");
    ASSERT_EQ(symlink("real/first.tiff", (users / "page-1.tiff").c_str()), 0);
    ASSERT_EQ(symlink("real/second.tiff", (users / "page-2.tiff").c_str()), 0);
    ASSERT_EQ(chmod((users / "real/first.tiff").c_str(), 0600), 0);
    after_pages({red, green, blue});
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(read_file(users / "real/first.tiff"), red);
    EXPECT_EQ(mode_of(users / "real/first.tiff"), 0600U);
    EXPECT_EQ(read_file(users / "real/second.tiff"), green);
    EXPECT_TRUE(std::filesystem::is_symlink(users / "page-1.tiff"));
    EXPECT_TRUE(std::filesystem::is_symlink(users / "page-2.tiff"));
    EXPECT_EQ(read_file(users / "page-3.tiff"), blue);
}

TEST_F(PapermillRunPages, ThatCannotBePutThereAreNamed)
{
    users.make_folder("page-2.tiff");
    after_pages({red, green, blue});
    EXPECT_EQ(settle(0, "tiff").status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(read_file(capture),
              users / "page-2.tiff" + ": the result can't be put there: Is a directory.\n");
    EXPECT_FALSE(file_exists(users / "page-3.tiff"));
}

TEST_F(PapermillRunPages, AreNamedInMessages)
{
    after_pages({red});
    write_file(capture, "papermill-out/result-%d.tiff\n");
    settle(0, "tiff");
    EXPECT_EQ(read_file(capture), output + "\n");
}

// ---- settle: boxes ----

TEST_F(PapermillRun, BoxesAreApartFromMessages)
{
    after_tool("a warning\n%%BoundingBox: 3010 3020 3110 3220\n", "said before\n", "bbox");
    EXPECT_EQ(settle(0, "bbox").status, 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(read_file(output), "%%BoundingBox: 10 20 110 220\n");
    EXPECT_EQ(read_file(capture), "said before\na warning\n");
}

TEST_F(PapermillRun, WhatAFailedMeasurementSaidIsAMessage)
{
    after_tool("%%BoundingBox: 3010 3020 3110 3220\nGhostscript about papermill-in\n", "", "bbox");
    EXPECT_EQ(settle(1, "bbox").status, 1);
    EXPECT_EQ(ending(), "1 done\n");
    EXPECT_EQ(read_file(capture), "Ghostscript about " + input + "\n");
    EXPECT_EQ(users.names(), names{"in.ps"});
}

// ---- settle: what it says ----

namespace {

// What Ghostscript and pdftops say.
const std::string locked = "GPL Ghostscript 10.00.0: \n"
                           "   **** This file requires a password for access.\n"
                           "Error: /unknownerror in --runpdf--\n";
const std::string no_pages = "\n   **** Warning: PDF document has no pages.\n"
                             "   No pages will be processed (FirstPage > LastPage).\n";
const std::string repaired = "\nThe following errors were encountered at least once while "
                             "processing this file:\n\tstartxref offset invalid\n\n"
                             "   **** This file had errors that were repaired or ignored.\n";

const std::string locked_message = ": the file is encrypted; it opens with its password only.\n";
const std::string no_pages_message = ": the PDF file has no pages.\n";
const std::string repaired_message =
    ": the file was damaged and has been repaired; something may be missing.\n";

} // namespace

TEST_F(PapermillRun, TheCauseIsToldInClearWords)
{
    const struct {
        std::string said;
        int status;
        std::string message, ending;
    } causes[] = {
        {locked, 1, locked_message, "1 done\n"},
        {"Command Line Error: Incorrect password\n", 1, locked_message, "1 done\n"},
        {"GPL Ghostscript:\n   **** Error: Password did not work.\n", 1, locked_message,
         "1 done\n"},
        {no_pages, 0, no_pages_message, "0 unusable\n"},
        {"Syntax Error: Invalid page count 0\nCommand Line Error: Wrong page range given\n", 99,
         no_pages_message, "99 done\n"},
        {repaired, 0, repaired_message, "0 done\n"},
        {"", 153, ": a page is too large for a picture at this resolution.\n", "153 done\n"},
    };
    for (const auto &each : causes) {
        after_tool(sound_pdf, each.said);
        EXPECT_EQ(settle(each.status).status, each.status);
        EXPECT_EQ(read_file(capture), each.said + input + each.message);
        EXPECT_EQ(ending(), each.ending);
        EXPECT_EQ(std::filesystem::remove(output), each.ending == "0 done\n");
        unlink_all();
    }
}

TEST_F(PapermillRun, ARepairThatLedToNothingIsNotTold)
{
    after_tool("", repaired);
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(read_file(capture), repaired);
    unlink_all();
    after_tool(sound_pdf, repaired);
    EXPECT_EQ(settle(1).status, 1);
    EXPECT_EQ(read_file(capture), repaired);
}

TEST_F(PapermillRun, TheWorstCauseIsTold)
{
    after_tool(sound_pdf, repaired + no_pages + locked + repaired + no_pages);
    settle(1);
    EXPECT_NE(read_file(capture).find(input + locked_message), std::string::npos);
    EXPECT_EQ(read_file(capture).find(no_pages_message), std::string::npos);
    EXPECT_EQ(read_file(capture).find(repaired_message), std::string::npos);
}

TEST_F(PapermillRun, ADocumentWithoutTextIsTold)
{
    after_tool("\n\f", "", "txt");
    EXPECT_EQ(settle(0, "txt").status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(read_file(capture), input + ": there is no text in it.\n");
    unlink_all();
    after_tool("\n\f", "", "txt");
    settle(1, "txt"); // nobody knows
    EXPECT_EQ(read_file(capture), "");
}

TEST_F(PapermillRun, TheCauseNamesTheFileThatACopyWasMadeOf)
{
    after_tool(sound_pdf, locked);
    program_call prepared = call({"settle", "1", "pdf", capture, output, input});
    prepared.environment["PAPERMILL_PREPARED_FROM"] = "/home/user/figure.eps";
    run_program(prepared);
    EXPECT_EQ(read_file(capture), locked + "/home/user/figure.eps" + locked_message);
}

TEST_F(PapermillRunInputs, TheFileThatIsToBlameIsNamed)
{
    make_inputs(12);
    const auto announced = [](int number) {
        return "papermill-in-" + std::to_string(number) + ":\n";
    };
    const struct {
        std::string said, blamed, message;
        int status;
    } causes[] = {
        {announced(1) + locked, inputs[0], locked_message, 1},
        {announced(1) + "Processing pages 1 through 3.\n" + announced(2) + locked, inputs[1],
         locked_message, 1},
        {announced(1) + announced(10) + locked, inputs[9], locked_message, 1},
        {announced(1) + announced(2) + no_pages + announced(12) + "Page 1\n", inputs[1],
         no_pages_message, 0},
        {announced(1) + announced(11) + no_pages + announced(12) + no_pages, inputs[10],
         no_pages_message, 0},
        {announced(1) + announced(2) + repaired + announced(3), inputs[1], repaired_message, 0},
        {announced(1) + repaired + announced(2) + no_pages + announced(3), inputs[1],
         no_pages_message, 0},
        {announced(1) + "papermill-in-13:\npapermill-in-0:\npapermill-in-2\n" + locked, inputs[0],
         locked_message, 1},
        {locked, inputs[0], locked_message, 1},
    };
    for (const auto &each : causes) {
        ASSERT_EQ(stage_all().status, 0);
        settle_all(each.status, each.said);
        const std::string shown = read_file(capture);
        const std::string last = each.blamed + each.message;
        ASSERT_GE(shown.size(), last.size());
        EXPECT_EQ(shown.substr(shown.size() - last.size()), last) << each.said;
        unlink_all();
    }
}

// ---- the tool ----

TEST_F(PapermillRun, NoFileBecomesLargerThanTheLimit)
{
    ASSERT_EQ(stage(input, output).status, 0);
    const auto write_bytes = [&](int count) {
        return run_program(
            call({"tool", "10", "dd", "if=/dev/zero", "status=none", "of=papermill-out/result",
                  "bs=1", "count=" + std::to_string(count)}));
    };
    EXPECT_EQ(write_bytes(10240).status, 0);
    EXPECT_EQ(std::filesystem::file_size(run + "/papermill-out/result"), 10240U);
    EXPECT_EQ(write_bytes(10241).status, 128 + SIGXFSZ);
    EXPECT_EQ(std::filesystem::file_size(run + "/papermill-out/result"), 10240U);
}

TEST_F(PapermillRun, TheLimitDoesNotLiftAnother)
{
    ASSERT_EQ(stage(input, output).status, 0);
    program_call limited = call({"tool", "100", "sh", "-c", "ulimit -f"});
    EXPECT_EQ(run_program(limited).out, "200\n"); // in blocks of 512 bytes
    limited.arguments.insert(limited.arguments.begin(),
                             {"sh", "-c", "ulimit -S -f 10; exec \"$@\"", "sh"});
    EXPECT_EQ(run_program(limited).out, "10\n");
}

TEST_F(PapermillRun, AToolWritesOnlyIntoItsOwnFolders)
{
    if (!kernel_confines())
        GTEST_SKIP() << "this system's kernel offers no protection";
    ASSERT_EQ(stage(input, output).status, 0);
    const std::string tries = "echo x > $TMPDIR/tmp; echo x > papermill-out/result.pdf; "
                              "mkdir $TMPDIR/folder; mv $TMPDIR/tmp $TMPDIR/folder/moved; "
                              "echo x > /dev/null; "
                              "{ echo x > mine; mkdir folder; echo x >> '" +
                              input + "'; rm '" + input + "'; ln -s x '" + users / "link" +
                              "'; mv '" + input + "' $TMPDIR/in; echo x > '" + output +
                              "'; echo x > " + temporary / "outside" + "; } 2>/dev/null; exit 7";
    const program_result result = run_program(call({"tool", "0", "sh", "-c", tries}));
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(read_file(run + "/tmp/folder/moved"), "x\n");
    EXPECT_EQ(read_file(run + "/papermill-out/result.pdf"), "x\n");
    EXPECT_EQ(read_file(input), "%!PS\n");
    EXPECT_EQ(names_in(run), (names{"papermill-in", "papermill-out", "papermill-to", "tmp"}));
    EXPECT_EQ(users.names().size(), 2U); // the input and the unfinished output
    EXPECT_EQ(temporary.names(), names{"run.1"});
}

TEST_F(PapermillRun, AToolReadsTheDocumentAndItsEndingIsTold)
{
    ASSERT_EQ(stage(input, output).status, 0);
    const program_result result =
        run_program(call({"tool", "0", "sh", "-c", "cat; echo err >&2; kill -9 $$"}));
    EXPECT_EQ(result.out, "%!PS\n");
    EXPECT_EQ(result.err, "err\n");
    EXPECT_EQ(result.status, 128 + 9);
}

TEST_F(PapermillRun, AToolThatIsNotThereIsTold)
{
    ASSERT_EQ(stage(input, output).status, 0);
    const program_result result = run_program(call({"tool", "0", "no-such-tool"}));
    EXPECT_EQ(result.status, 127);
    EXPECT_EQ(result.err, "no-such-tool can't be started: No such file or directory.\n");
}

TEST_F(PapermillRun, ADocumentThatIsGoneIsTold)
{
    ASSERT_EQ(stage(input, output).status, 0);
    std::filesystem::remove(input);
    const program_result result = run_program(call({"tool", "0", "true"}));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "papermill-in: the file can't be read: No such file or directory.\n");
}
