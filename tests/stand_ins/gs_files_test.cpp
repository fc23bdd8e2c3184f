// The file work of gs.script, called as the script calls it.
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

const std::string program = PAPERMILL_BUNDLE "/Resources/bin/gs_files";
const std::string sound_pdf = "%PDF-1.7\nbody\n%%EOF\n";

class GsFiles : public testing::Test {
protected:
    GsFiles() : run(temporary.make_folder("run.1")), capture(temporary / "worksheet")
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
            const std::string copy = temporary / "gs_files";
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
        return run_program(call({"stage", in, out}));
    }

    program_result settle(int status, const std::string &kind = "pdf") const
    {
        return run_program(call({"settle", std::to_string(status), kind, input, output, capture}));
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

TEST_F(GsFiles, AStagedRunHasNamesOfItsOwn)
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

TEST_F(GsFiles, AStageThatIsKilledCanBeClearedUp)
{
    int killed = 0;
    for (bool at_name = true; at_name;) {
        const pid_t child = start_child([&] {
            setenv("PAPERMILL_RUN_FOLDER", run.c_str(), 1);
            setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // a search that needs ptrace itself
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            execl(program.c_str(), "gs_files", "stage", input.c_str(), output.c_str(), nullptr);
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

TEST_F(GsFiles, AnyNameCanBeStagedAndSettled)
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
        for (const char *link : {"/papermill-in", "/papermill-out", "/papermill-to"})
            std::filesystem::remove(run + link);
    }
}

TEST_F(GsFiles, RelativeNamesCountFromTheCurrentFolder)
{
    ASSERT_EQ(stage("in.ps", "out.pdf").status, 0);
    EXPECT_EQ(link_target("papermill-in"), input);
    EXPECT_EQ(link_target("papermill-to"), output);
}

TEST_F(GsFiles, AMissingInputIsTold)
{
    expect_refused(stage(users / "missing.ps", output), 66,
                   users / "missing.ps" + ": File not found!\n");
    expect_refused(stage(users / "no/missing.ps", output), 66,
                   users / "no/missing.ps" + ": File not found!\n");
}

TEST_F(GsFiles, AFolderIsNoInput)
{
    expect_refused(stage(users.path(), output), 66,
                   users.path() + ": this is a folder, not a file.\n");
}

TEST_F(GsFiles, AnEmptyFileIsNoInput)
{
    const std::string empty = users.write("empty.ps", "");
    expect_refused(stage(empty, output), 66, empty + ": the file is empty.\n");
}

TEST_F(GsFiles, WhatIsNoFileIsNoInput)
{
    expect_refused(stage("/dev/zero", output), 66, "/dev/zero: this is no ordinary file.\n");
    const std::string fifo = users / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
    // Nobody writes to it: whoever waited for that would wait for ever.
    expect_refused(stage(fifo, output), 66, fifo + ": this is no ordinary file.\n");
}

TEST_F(GsFiles, AnInputThatCannotBeReadIsTold)
{
    ASSERT_EQ(chmod(input.c_str(), 0), 0);
    expect_refused(run_program(call_without_rights({"stage", input, output})), 66,
                   input + ": the file can't be read: Permission denied.\n");
}

TEST_F(GsFiles, AnInputThatIsALinkIsItsTarget)
{
    const std::string link = users / "link.ps";
    ASSERT_EQ(symlink("in.ps", link.c_str()), 0);
    ASSERT_EQ(stage(link, output).status, 0);
    EXPECT_EQ(read_file(run + "/papermill-in"), "%!PS\n");
}

TEST_F(GsFiles, AnOutputThatIsAFolderIsRefused)
{
    users.make_folder("folder");
    expect_refused(stage(input, users / "folder"), 73,
                   users / "folder" + ": this is a folder; the output needs a file name.\n");
}

TEST_F(GsFiles, AnOutputInAMissingFolderIsRefused)
{
    expect_refused(stage(input, users / "no/out.pdf"), 73,
                   users / "no/out.pdf" + ": there is no folder " + users / "no" + ".\n");
    expect_refused(stage(input, input + "/out.pdf"), 73,
                   input + "/out.pdf: there is no folder " + input + ".\n");
}

TEST_F(GsFiles, AnOutputInALockedFolderIsRefused)
{
    const std::string locked = users.make_folder("locked");
    ASSERT_EQ(chmod(locked.c_str(), 0555), 0);
    expect_refused(run_program(call_without_rights({"stage", input, locked + "/out.pdf"})), 73,
                   locked + "/out.pdf: nothing can be written into the folder " + locked +
                       ": Permission denied.\n");
}

TEST_F(GsFiles, AReadOnlyFileIsNotReplaced)
{
    users.write("out.pdf", "older");
    ASSERT_EQ(chmod(output.c_str(), 0444), 0);
    expect_refused(run_program(call_without_rights({"stage", input, output})), 73,
                   output + ": the file can't be replaced: Permission denied.\n");
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(GsFiles, WithoutARunFolderNothingIsDone)
{
    program_call outside = call({"stage", input, output});
    outside.environment["PAPERMILL_RUN_FOLDER"] = std::nullopt;
    const program_result result = run_program(outside);
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.err,
              "gs_files: called by gs.script alone, with a run's folder in the environment.\n");
    for (const names &odd : {names{}, names{"stage"}, names{"stage", input}, names{"confine"},
                             names{"settle", "0", "pdf", input, output}, names{"other", "x", "y"}})
        EXPECT_EQ(run_program(call(odd)).status, 64);
    EXPECT_EQ(users.names(), names{"in.ps"});
}

// ---- settle ----

TEST_F(GsFiles, AGoodResultIsPutIntoItsPlace)
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

TEST_F(GsFiles, AnOlderFileIsReplacedAndItsPermissionsKept)
{
    for (const mode_t mode : {0600U, 0644U, 0664U, 0755U}) {
        users.write("out.pdf", "older");
        ASSERT_EQ(chmod(output.c_str(), mode), 0);
        after_tool(sound_pdf);
        EXPECT_EQ(settle(0).status, 0);
        EXPECT_EQ(read_file(output), sound_pdf);
        EXPECT_EQ(mode_of(output), mode);
        std::filesystem::remove(run + "/papermill-in");
        std::filesystem::remove(run + "/papermill-out");
        std::filesystem::remove(run + "/papermill-to");
    }
}

TEST_F(GsFiles, ALinkIsWrittenThrough)
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

TEST_F(GsFiles, ALinkToNothingYetGetsItsTarget)
{
    users.make_folder("real");
    ASSERT_EQ(symlink("real/new.pdf", output.c_str()), 0);
    after_tool(sound_pdf);
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(read_file(users / "real/new.pdf"), sound_pdf);
    EXPECT_TRUE(std::filesystem::is_symlink(output));
}

TEST_F(GsFiles, ADeviceIsWrittenTo)
{
    output = "/dev/null";
    after_tool(sound_pdf);
    EXPECT_EQ(std::filesystem::path(link_target("papermill-out")).parent_path(), run);
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(GsFiles, APipeGetsTheBytes)
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

TEST_F(GsFiles, AFailedToolsResultIsThrownAway)
{
    users.write("out.pdf", "older");
    for (const int status : {1, 2, 127, 137, 255}) {
        after_tool(sound_pdf, "it failed\n");
        EXPECT_EQ(settle(status).status, status);
        EXPECT_EQ(ending(), std::to_string(status) + " done\n");
        EXPECT_EQ(read_file(output), "older");
        EXPECT_EQ(users.names(), (names{"in.ps", "out.pdf"}));
        for (const char *link : {"/papermill-in", "/papermill-out", "/papermill-to"})
            std::filesystem::remove(run + link);
    }
}

namespace {

struct bad_result {
    const char *kind;
    std::string result, said;
};

} // namespace

TEST_F(GsFiles, WhatADocumentSaysOfErrorsIsNoError)
{
    after_tool(sound_pdf, "checking ioerror handling\n**** Error as a title\n");
    EXPECT_EQ(settle(0, "pdf").status, 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(read_file(output), sound_pdf);
}

TEST_F(GsFiles, AnUnusableResultLeavesTheOlderFile)
{
    const std::string pixels(3 * 4 * 5, 'p');
    const bad_result bad[] = {
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
    };
    for (const bad_result &each : bad) {
        SCOPED_TRACE(each.result.substr(0, 40) + each.said.substr(0, 40));
        users.write("out.pdf", "older");
        after_tool(each.result, each.said, each.kind);
        EXPECT_EQ(settle(0, each.kind).status, 0);
        EXPECT_EQ(ending(), "0 unusable\n");
        EXPECT_EQ(read_file(output), "older");
        EXPECT_EQ(users.names(), (names{"in.ps", "out.pdf"}));
        for (const char *link : {"/papermill-in", "/papermill-out", "/papermill-to"})
            std::filesystem::remove(run + link);
    }
}

TEST_F(GsFiles, AMissingResultIsUnusable)
{
    ASSERT_EQ(stage(input, output).status, 0);
    write_file(capture, "");
    EXPECT_EQ(settle(0).status, 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(users.names(), names{"in.ps"});
}

TEST_F(GsFiles, APictureIsMeasuredByItsHeader)
{
    const std::string pixels(3 * 4 * 5, 'p');
    for (const std::string &header :
         {std::string("P6\n4 5\n255\n"), std::string("P6\n# a comment 9 9 9\n4 5\n255\n"),
          std::string("P6 4 5 255 ")}) {
        after_tool(header + pixels, "", "pnm");
        EXPECT_EQ(settle(0, "pnm").status, 0);
        EXPECT_EQ(ending(), "0 done\n") << header;
        EXPECT_EQ(read_file(output), header + pixels);
        for (const char *link : {"/papermill-in", "/papermill-out", "/papermill-to"})
            std::filesystem::remove(run + link);
    }
}

TEST_F(GsFiles, ACancelledRunIsLeftAlone)
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

TEST_F(GsFiles, MessagesNameTheUsersFiles)
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

TEST_F(GsFiles, MessagesNameTheFileThatACopyWasMadeOf)
{
    after_tool(sound_pdf, "papermill-in: read\n");
    program_call prepared = call({"settle", "0", "pdf", input, output, capture});
    prepared.environment["PAPERMILL_PREPARED_FROM"] = "/home/user/figure.eps";
    EXPECT_EQ(run_program(prepared).status, 0);
    EXPECT_EQ(read_file(capture), "/home/user/figure.eps: read\n");
}

TEST_F(GsFiles, NamesInLongMessagesAreFoundWhereverTheyStand)
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

TEST_F(GsFiles, MessagesMayHoldAnything)
{
    std::string bytes("\0\xFF papermill-\0in papermill-in\r\n", 30);
    write_file(capture, bytes);
    settle(1);
    const std::size_t at = bytes.rfind("papermill-in");
    EXPECT_EQ(read_file(capture), bytes.replace(at, 12, input));
}

TEST_F(GsFiles, AFolderThatWasLockedMeanwhileIsTold)
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

// ---- confine ----

TEST_F(GsFiles, AConfinedToolWritesOnlyIntoItsOwnFolders)
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
    program_call confined = call({"confine", "sh", "-c", tries});
    confined.folder = run;
    const program_result result = run_program(confined);
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(read_file(run + "/tmp/folder/moved"), "x\n");
    EXPECT_EQ(read_file(run + "/papermill-out/result.pdf"), "x\n");
    EXPECT_EQ(read_file(input), "%!PS\n");
    EXPECT_EQ(names_in(run), (names{"papermill-in", "papermill-out", "papermill-to", "tmp"}));
    EXPECT_EQ(users.names().size(), 2U); // the input and the unfinished output
    EXPECT_EQ(temporary.names(), names{"run.1"});
}

TEST_F(GsFiles, AConfinedToolKeepsItsOpenFilesItsInputAndItsStatus)
{
    program_call confined = call({"confine", "sh", "-c", "cat; echo err >&2; kill -9 $$"});
    confined.input = "from the pipe";
    const program_result result = run_program(confined);
    EXPECT_EQ(result.out, "from the pipe");
    EXPECT_EQ(result.err, "err\n");
    EXPECT_EQ(result.signal, 9);
}

TEST_F(GsFiles, AToolThatIsNotThereIsTold)
{
    const program_result result = run_program(call({"confine", "no-such-tool"}));
    EXPECT_EQ(result.status, 127);
    EXPECT_EQ(result.err, "no-such-tool can't be started: No such file or directory.\n");
}
