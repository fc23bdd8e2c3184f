// The helper script, called by hand.
#include "tests/support/hostile_names.h"
#include "tests/support/script_test.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

class GsScript : public script_test {};

} // namespace

// ---- the conversions ----

TEST_F(GsScript, PostScriptBecomesPdf)
{
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(text_of(output), "one\n\n\f");
    EXPECT_EQ(read_file(capture).substr(0, 15), "GPL Ghostscript");
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(users.names(), (words{"in.ps", "out.pdf"}));
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, TheSystemsConverterMakesPdfToo)
{
    EXPECT_EQ(script("pstopdf", {output, input}), 0);
    EXPECT_EQ(text_of(output), "one\n\n\f");
    EXPECT_EQ(read_file(capture), "Page 1\n");
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(users.names(), (words{"in.ps", "out.pdf"}));
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, TheSystemsConvertersLogIsPartOfTheOutput)
{
    input = users.write("noisy.ps", "%!PS\n(a message) = showpage\n");
    EXPECT_EQ(script("pstopdf", {output, input}), 0);
    EXPECT_NE(read_file(capture).find("a message\n"), std::string::npos);
    EXPECT_EQ(users.names(), (words{"in.ps", "noisy.ps", "out.pdf"}));
}

TEST_F(GsScript, EpsBecomesPixels)
{
    const std::string pnm = users / "out.pnm";
    EXPECT_EQ(script("eps2pnm", {pnm, input, " -r144 -g100x50"}), 0);
    EXPECT_EQ(read_file(pnm).substr(0, 3), "P6\n");
    EXPECT_NE(read_file(pnm).find("\n100 50\n255\n"), std::string::npos);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(users.names(), (words{"in.ps", "out.pnm"}));
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, GhostscriptIsCalledAsItAlwaysWas)
{
    install("gs", keep_words + make_pdf);
    EXPECT_EQ(ps2pdf("-r300  -dPDFSETTINGS=/screen"), 0);
    EXPECT_EQ(tool_words(), (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite", "-r300",
                                   "-dPDFSETTINGS=/screen", "-sOutputFile=papermill-out/result.pdf",
                                   "-c", "save", "pop", "-f", "-_"}));
}

TEST_F(GsScript, AFigureKeepsItsPageAsItLies)
{
    install("gs", keep_words + make_pdf);
    program_call prepared = call("ps2pdf", {output, input, "-r300"});
    prepared.environment["PAPERMILL_PREPARED_FROM"] = "/home/user/figure.eps";
    EXPECT_EQ(run_program(prepared).status, 0);
    EXPECT_EQ(
        tool_words(),
        (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=pdfwrite", "-dAutoRotatePages=/None",
               "-r300", "-sOutputFile=papermill-out/result.pdf", "-c", "save", "pop", "-f", "-_"}));
}

TEST_F(GsScript, PixelsAreAntialiased)
{
    install("gs", keep_words);
    script("eps2pnm", {output, input, " -r300 -g417x833"});
    EXPECT_EQ(tool_words(),
              (words{"-dSAFER", "-dNOPAUSE", "-dBATCH", "-sDEVICE=ppmraw", "-dTextAlphaBits=4",
                     "-dGraphicsAlphaBits=4", "-dNumRenderingThreads=2", "-r300", "-g417x833",
                     "-sOutputFile=papermill-out/result.pnm", "-c", "save", "pop", "-f", "-_"}));
}

TEST_F(GsScript, TheSystemsConverterIsCalledAsItAlwaysWas)
{
    install("pstopdf", keep_words + make_pdf);
    EXPECT_EQ(script("pstopdf", {output, input}), 0);
    EXPECT_EQ(tool_words("pstopdf"),
              (words{"-l", "-p", "-o", "papermill-out/result.pdf", "papermill-in"}));
}

TEST_F(GsScript, OptionsAreWordsAndNothingElse)
{
    install("gs", keep_words + make_pdf);
    users.write("match1", "");
    EXPECT_EQ(ps2pdf("-sA=* -sB=match? -sC=[m]* -sD={a,b} -sE=~ -sF=$HOME -sG=`touch touched` "
                     "-sH=$(touch touched) -sI=a;b -sJ=a|b -sK=\"q r\" -sL=it's -sM=! -sN=\\x"),
              0);
    const words called = tool_words();
    EXPECT_EQ((words{called.begin() + 4, called.end() - 6}),
              (words{"-sA=*", "-sB=match?", "-sC=[m]*", "-sD={a,b}", "-sE=~", "-sF=$HOME",
                     "-sG=`touch", "touched`", "-sH=$(touch", "touched)", "-sI=a;b", "-sJ=a|b",
                     "-sK=\"q", "r\"", "-sL=it's", "-sM=!", "-sN=\\x"}));
    EXPECT_FALSE(file_exists(users / "touched"));
}

TEST_F(GsScript, AnyNameIsConverted)
{
    for (const std::string &name : hostile_names()) {
        SCOPED_TRACE(name);
        new_run();
        input = users.write(name, one_page);
        output = users / (name + ".pdf");
        EXPECT_EQ(ps2pdf(), 0);
        EXPECT_EQ(read_file(output).substr(0, 5), "%PDF-");
        std::filesystem::remove(input);
        std::filesystem::remove(output);
        EXPECT_EQ(users.names(), words{"in.ps"});
        EXPECT_EQ(temporary.names(), (words{"run.1", "worksheet"}));
    }
}

TEST_F(GsScript, AnyNameIsConvertedInThePlainLocaleToo)
{
    for (const std::string &name : {std::string("\xC3\xA4 \xE2\x82\xAC"), std::string("latin\xE4"),
                                    std::string("\xFF\xFE"), std::string("$(touch touched)")}) {
        for (const char *subcommand : {"ps2pdf", "pstopdf"}) {
            new_run();
            input = users.write(name, one_page);
            output = users / (name + ".pdf");
            program_call plain = call(subcommand, {output, input, ""});
            plain.environment["LC_ALL"] = "C";
            EXPECT_EQ(run_program(plain).status, 0);
            EXPECT_EQ(read_file(output).substr(0, 5), "%PDF-");
            std::filesystem::remove(input);
            std::filesystem::remove(output);
            EXPECT_EQ(users.names(), words{"in.ps"});
        }
    }
}

TEST_F(GsScript, LongPathsAreWhole)
{
    std::string deep;
    while (users.path().size() + deep.size() < 900)
        deep += std::string(80, 'd') + "/";
    users.make_folder(deep);
    input = users.write(deep + "in.ps", one_page);
    output = users / (deep + "out.pdf");
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(read_file(output).substr(0, 5), "%PDF-");
}

// ---- how it can end ----

TEST_F(GsScript, AnErrorInTheDocumentIsAStatus)
{
    users.write("out.pdf", "older");
    input = users.write("bad.ps", "%!PS\nshowpage nonsense\n");
    EXPECT_EQ(ps2pdf(), 1);
    EXPECT_EQ(ending(), "1 done\n");
    EXPECT_NE(read_file(capture).find("Error: /undefined in nonsense"), std::string::npos);
    EXPECT_EQ(read_file(output), "older");
    EXPECT_EQ(users.names(), (words{"bad.ps", "in.ps", "out.pdf"}));
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, AToolEndedByASignalIsAStatus)
{
    install("gs", make_pdf + "kill -9 $$\n");
    const program_result result = run_program(call("ps2pdf", {output, input, ""}));
    EXPECT_EQ(result.status, 137);
    EXPECT_EQ(ending(), "137 done\n");
    EXPECT_EQ(users.names(), words{"in.ps"});
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, ASuccessWithoutAResultIsUnusable)
{
    users.write("out.pdf", "older");
    install("gs", "echo '   **** Error: nothing is right'\n" + make_pdf);
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    install("gs", "true\n");
    EXPECT_EQ(ps2pdf(), 73); // the run has been staged already
    new_run();
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(ending(), "0 unusable\n");
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(GsScript, WhatCannotBeStagedIsNotStarted)
{
    install("gs", keep_words);
    const std::string missing = users / "missing.ps";
    EXPECT_EQ(script("ps2pdf", {output, missing, ""}), 66);
    EXPECT_EQ(ending(), "66 missing\n");
    EXPECT_EQ(read_file(capture), missing + ": File not found!\n");
    EXPECT_EQ(reports(), 1);
    new_run();
    EXPECT_EQ(script("ps2pdf", {users / "no/out.pdf", input, ""}), 73);
    EXPECT_EQ(ending(), "73 missing\n");
    EXPECT_EQ(read_file(capture),
              users / "no/out.pdf" + ": there is no folder " + users / "no" + ".\n");
    EXPECT_TRUE(tool_words().empty());
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, AMissingToolIsToldWithItsPackage)
{
    // A PATH with all but Ghostscript.
    for (const char *tool : {"sh", "tcsh"})
        ASSERT_EQ(symlink((std::string("/bin/") + tool).c_str(), (tools / tool).c_str()), 0);
    for (const char *tool : {"papermill_run", "osascript"})
        ASSERT_EQ(symlink((bundled_tools + "/" + tool).c_str(), (tools / tool).c_str()), 0);
    path = tools.path();
    EXPECT_EQ(ps2pdf(), 127);
    EXPECT_EQ(ending(), "127 missing\n");
    EXPECT_EQ(read_file(capture), "gs was not found. Install the package ghostscript.\n");
    EXPECT_EQ(reports(), 1);
    EXPECT_EQ(users.names(), words{"in.ps"});
    new_run();
    EXPECT_EQ(script("pstopdf", {output, input}), 127);
    EXPECT_EQ(read_file(capture),
              "pstopdf was not found beside gs.script. Install papermill again.\n");
}

TEST_F(GsScript, AnUnknownSubcommandIsRefused)
{
    for (const char *subcommand : {"", "nonsense", "ps2pdf*", "*", "$HOME", "`touch touched`"}) {
        new_run();
        EXPECT_EQ(script(subcommand, {output, input}), 64);
        EXPECT_EQ(ending(), "64 missing\n");
        EXPECT_EQ(read_file(capture), "gs.script: there is no subcommand of this name.\n");
        EXPECT_EQ(reports(), 1);
    }
    EXPECT_EQ(users.names(), words{"in.ps"});
}

// ---- the report ----

TEST_F(GsScript, TheReportGoesThroughOsascript)
{
    install("osascript",
            "for word; do printf '%s\\n' \"$word\"; done > $PAPERMILL_RUN_FOLDER/told\n");
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(read_file(run + "/told"),
              "-e\ntell application \"papermill\"\n-e\ndone\n-e\nend tell\n");
    EXPECT_EQ(reports(), 0); // never both
}

TEST_F(GsScript, WhereNobodyAnswersTheReportIsASignal)
{
    install("osascript", "exit 1\n");
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, TheStatusIsThereBeforeTheReport)
{
    install("osascript", "cp $PAPERMILL_RUN_FOLDER/status $PAPERMILL_RUN_FOLDER/seen\n");
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(read_file(run + "/seen"), "0 done\n");
    EXPECT_EQ(script("exec", {"false"}), 1);
    EXPECT_EQ(read_file(run + "/seen"), "1 done\n");
}

TEST_F(GsScript, ACancelledRunReportsNothing)
{
    install("osascript", "echo > " + users / "asked" + "\n");
    EXPECT_EQ(script("exec", {"rm", "-rf", run}), 0);
    EXPECT_FALSE(file_exists(users / "asked"));
    EXPECT_EQ(reports(), 0);
    EXPECT_FALSE(file_exists(run));
}

TEST_F(GsScript, ARunThatIsCancelledDuringTheReportGetsNoSignal)
{
    install("osascript", "rm -rf $PAPERMILL_RUN_FOLDER; exit 1\n");
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_EQ(reports(), 0);
}

TEST_F(GsScript, WithoutARunItMakesAFolderOfItsOwnAndReportsToNobody)
{
    program_call alone = call("ps2pdf", {output, input, ""});
    alone.environment["PAPERMILL_RUN_FOLDER"] = std::nullopt;
    alone.environment["TMPDIR"] = run + "/tmp";
    const program_result result = run_program(alone);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(text_of(output), "one\n\n\f");
    EXPECT_TRUE(names_in(run + "/tmp").empty());
    EXPECT_EQ(reports(), 0);
}

TEST_F(GsScript, TheUsersOwnShellSettingsAreNotRead)
{
    for (const char *name : {".tcshrc", ".cshrc", ".login"})
        users.write(name, "touch touched\nalias gs false\n");
    program_call at_home = call("ps2pdf", {output, input, ""});
    at_home.environment["HOME"] = users.path();
    EXPECT_EQ(run_program(at_home).status, 0);
    EXPECT_FALSE(file_exists(users / "touched"));
}

// ---- commands ----

TEST_F(GsScript, ACommandsOutputAndErrorsAreCaptured)
{
    EXPECT_EQ(script("exec", {"sh", "-c", "echo out; echo err >&2; exit 5"}), 5);
    EXPECT_EQ(read_file(capture), "out\nerr\n");
    EXPECT_EQ(ending(), "5 done\n");
    EXPECT_EQ(reports(), 1);
}

TEST_F(GsScript, ACommandGetsItsWordsAsTheyAre)
{
    words command = {"printf", "%s|"};
    for (const std::string &name : hostile_names())
        command.push_back(name);
    EXPECT_EQ(script("exec", command), 0);
    std::string expected;
    for (const std::string &name : hostile_names())
        expected += name + "|";
    EXPECT_EQ(read_file(capture), expected);
    EXPECT_EQ(users.names(), words{"in.ps"});
}

TEST_F(GsScript, ACommandKeepsItsEmptyWords)
{
    EXPECT_EQ(script("exec", {"printf", "%s|", "", "x", ""}), 0);
    EXPECT_EQ(read_file(capture), "|x||");
}

TEST_F(GsScript, ARedirectingCommandsOutputGoesWhereItGoes)
{
    program_call redirected = call("exec1", {"sh", "-c", "echo out; echo err >&2; exit 5"});
    const program_result result = run_program(redirected);
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, "out\n"); // here: this test, which is not what the application prints to
    EXPECT_EQ(result.err, "err\n");
    EXPECT_EQ(read_file(capture), "");
    EXPECT_EQ(ending(), "5 done\n");
}

TEST_F(GsScript, ARedirectingCommandsErrorsAreCaptured)
{
    // As the application's shell runs it: output into the file, errors to where the application's
    // own go.
    const words started = {"sh",
                           "-c",
                           "exec \"$0\" \"$@\" > out.txt 2>&2",
                           bundled_tools + "/gs.script",
                           "exec1",
                           std::to_string(getpid()),
                           capture,
                           "sh",
                           "-c",
                           "echo out; echo err >&2"};
    program_call redirected = call("exec1", {});
    redirected.arguments = started;
    // The program's standard error is the test's own: let the call share it.
    const pid_t child = start_child([&] {
        for (const auto &[name, value] : redirected.environment) {
            if (value)
                setenv(name.c_str(), value->c_str(), 1);
            else
                unsetenv(name.c_str());
        }
        ASSERT_EQ(chdir(users.path().c_str()), 0);
        std::vector<char *> pointers;
        for (const std::string &word : started)
            pointers.push_back(const_cast<char *>(word.c_str()));
        pointers.push_back(nullptr);
        execvp(pointers[0], pointers.data());
    });
    EXPECT_TRUE(child_succeeded(child));
    EXPECT_EQ(read_file(users / "out.txt"), "out\n");
    EXPECT_EQ(read_file(capture), "err\n");
}

TEST_F(GsScript, ACommandThatCannotBeStartedIsTold)
{
    EXPECT_EQ(script("exec", {"no-such-command"}), 127);
    EXPECT_EQ(ending(), "127 missing\n");
    EXPECT_NE(read_file(capture).find("no-such-command: not found"), std::string::npos);
    new_run();
    EXPECT_EQ(script("exec", {input}), 126);
    EXPECT_EQ(ending(), "126 missing\n");
}

TEST_F(GsScript, AnEmptyCommandDoesNothing)
{
    EXPECT_EQ(script("exec", {}), 0);
    EXPECT_EQ(ending(), "0 done\n");
    EXPECT_EQ(reports(), 1);
}

// ---- documents that mean harm ----

namespace {

// Reports of every attempt whether it succeeded, and goes on to the next one.
const std::string attempt_head = "%!PS\n"
                                 "/try { exch print mark exch stopped { cleartomark ( failed) = } "
                                 "{ cleartomark ( SUCCEEDED) = } ifelse flush } def\n";

class HarmfulDocument : public GsScript {
protected:
    HarmfulDocument()
    {
        secret = users.write("secret", "a secret\n");
    }

    // All ways to get at a file, but for those that are allowed of it.
    static std::string attempts_on(const std::string &file, const std::string &allowed = "")
    {
        std::string result;
        const auto add = [&](const std::string &what, const std::string &code) {
            if (allowed.find("(" + what + ")") == std::string::npos)
                result += "(" + what + " " + file + ") { " + code + " } try\n";
        };
        for (const char *mode : {"r", "w", "a", "r+", "w+", "a+"})
            add(mode, "(" + file + ") (" + mode + ") file closefile");
        add("delete", "(" + file + ") deletefile");
        add("rename", "(" + file + ") (" + file + ".moved) renamefile");
        add("status", "(" + file + ") status not { stop } if");
        add("run", "(" + file + ") run");
        add("list", "/found false def (" + file +
                        ") { pop /found true def } 1000 string filenameforall found not { stop } "
                        "if");
        add("list*", "/found false def (" + file +
                         "*) { pop /found true def } 1000 string filenameforall found not { stop } "
                         "if");
        return result;
    }

    std::string secret;
};

} // namespace

TEST_F(HarmfulDocument, ReachesNoFileButItsOwnTemporaryOnes)
{
    const std::string place = run + "/tmp";
    std::string document = attempt_head;
    for (const std::string &file : {secret,
                                    users / "new",
                                    input,
                                    run + "/status",
                                    run + "/papermill-in",
                                    run + "/papermill-to",
                                    run + "/new",
                                    run + "/papermill-out/new",
                                    capture,
                                    place + "/../status",
                                    place + "/../../worksheet",
                                    place + "/../papermill-in",
                                    place + "/../papermill-out/new",
                                    place + "/./../new",
                                    std::string("papermill-in"),
                                    std::string("papermill-to"),
                                    std::string("papermill-out/new"),
                                    std::string("papermill-out/../new"),
                                    std::string("papermill-out/../secret"),
                                    std::string("./new"),
                                    std::string("new"),
                                    std::string("tmp/new"),
                                    std::string("../worksheet"),
                                    std::string("status"),
                                    std::string("/etc/passwd"),
                                    std::string("%os%/etc/passwd"),
                                    "%os%" + secret,
                                    std::string("/proc/self/environ"),
                                    std::string("/proc/self/cmdline"),
                                    std::string("/proc/self/fd/0"),
                                    "/proc/self/root" + secret,
                                    std::string("/proc/self/cwd/new"),
                                    std::string("~/.profile"),
                                    std::string("%pipe%touch ") + users / "piped",
                                    "|touch " + users / "piped"})
        document += attempts_on(file);
    document += attempts_on(output, "");
    input = users.write("harm.ps", document + "showpage\n");
    const std::string bytes = read_file(input);
    const words before = users.names();

    EXPECT_EQ(ps2pdf(), 0) << read_file(capture);
    const std::string said = read_file(capture);
    EXPECT_EQ(said.find("SUCCEEDED"), std::string::npos) << said;
    EXPECT_GT(std::count(said.begin(), said.end(), '\n'), 36 * 12);
    EXPECT_EQ(read_file(input), bytes);
    EXPECT_EQ(read_file(secret), "a secret\n");
    words after = users.names();
    after.erase(std::find(after.begin(), after.end(), "out.pdf"));
    EXPECT_EQ(after, before);
    EXPECT_EQ(ending(), "0 done\n");
}

TEST_F(HarmfulDocument, CanUseItsOwnTemporaryFolder)
{
    // So that the test above can fail.
    input = users.write("tmp.ps", attempt_head + "(own) { (" + run +
                                      "/tmp/own) (w) file closefile } try\nshowpage\n");
    EXPECT_EQ(ps2pdf(), 0);
    EXPECT_NE(read_file(capture).find("own SUCCEEDED\n"), std::string::npos);
    EXPECT_TRUE(file_exists(run + "/tmp/own"));
}

TEST_F(HarmfulDocument, CannotWriteIntoItself)
{
    for (const std::string &name :
         {std::string("papermill-in"), users / "self.ps", std::string("/proc/self/fd/0"),
          std::string("/dev/stdin"), std::string("/proc/self/fd/3"), std::string("%stdin")}) {
        for (const char *subcommand :
             {"ps2pdf", "pstopdf", "eps2pnm", "ps2ascii", "ps2eps", "eps2eps", "ps2tiff"}) {
            new_run();
            input = users.write("self.ps", attempt_head + "(self) { (" + name +
                                               ") (r+) file dup (HACKED) writestring closefile } "
                                               "try\nshowpage\n");
            const std::string bytes = read_file(input);
            script(subcommand, {output, input, "-sDEVICE=ppmraw -r72 -g20x20"});
            EXPECT_EQ(read_file(input), bytes) << name;
            EXPECT_NE(said().find("self failed"), std::string::npos) << subcommand << name;
        }
    }
}

TEST_F(HarmfulDocument, CannotWriteIntoWhatGhostscriptReads)
{
    if (!kernel_confines())
        GTEST_SKIP() << "this system's kernel offers no protection";
    // A font of the user's, and a private Ghostscript's library.
    const std::string library = users.make_folder("library");
    const std::string file = users.write("library/own.ps", "% a library\n");
    const std::string home = users.make_folder("home");
    users.make_folder("home/.fonts");
    const std::string font = users.write("home/.fonts/own.ttf", "a font\n");
    input = users.write("harm.ps",
                        attempt_head + "(library) { (" + file +
                            ") (r+) file dup (X) writestring closefile } try\n(font) { (" + font +
                            ") (r+) file dup (X) writestring closefile } try\n"
                            "showpage\n");
    for (const char *subcommand : {"ps2pdf", "pstopdf"}) {
        new_run();
        program_call harm = call(subcommand, {output, input, ""});
        harm.environment["GS_LIB"] = library;
        harm.environment["HOME"] = home;
        harm.environment["XDG_CACHE_HOME"] = std::nullopt;
        EXPECT_EQ(run_program(harm).status, 0);
        EXPECT_NE(read_file(capture).find("library failed"), std::string::npos);
        EXPECT_NE(read_file(capture).find("font failed"), std::string::npos);
        EXPECT_EQ(read_file(file), "% a library\n");
        EXPECT_EQ(read_file(font), "a font\n");
    }
}

TEST_F(HarmfulDocument, CannotSendItsPagesElsewhere)
{
    const words before = users.names();
    for (const std::string &place :
         {"%pipe%touch " + users / "piped", "|touch " + users / "piped", users / "new.pdf",
          std::string("papermill-out/new.pdf"), run + "/papermill-out/new%d.pdf",
          std::string("papermill-to"), std::string("new.pdf"), std::string("status"), secret}) {
        for (const char *device : {"", "(ppmraw) selectdevice ", "(txtwrite) selectdevice "}) {
            new_run();
            input =
                users.write("harm.ps", std::string("%!PS\n") + device + "<< /OutputFile (" + place +
                                           ") >> setpagedevice 0 0 9 9 rectfill showpage\n");
            ps2pdf();
            std::filesystem::remove(output);
            std::filesystem::remove(input);
            EXPECT_EQ(users.names(), before) << place << device;
            EXPECT_EQ(read_file(secret), "a secret\n");
            EXPECT_EQ(names_in(run),
                      (words{"papermill-in", "papermill-out", "papermill-to", "status", "tmp"}));
        }
    }
}

TEST_F(HarmfulDocument, CannotTurnItsProtectionOff)
{
    const std::string touch = "(" + users / "new" + ") (w) file closefile";
    input = users.write(
        "harm.ps",
        attempt_head + "(safer) { << /SAFER false >> setuserparams " + touch + " } try\n" +
            "(permit) { << /PermitFileWriting [(*)] >> setuserparams " + touch + " } try\n" +
            "(lock) { << /LockFilePermissions false /PermitFileControl [(*)] >> setuserparams " +
            touch + " } try\n" + "(system) { << /GenericResourceDir (" + users.path() +
            "/) >> setsystemparams (" + secret + ") (r) file closefile } try\n" +
            "(control) { /PermitFileWriting (*) .addcontrolpath " + touch + " } try\nshowpage\n");
    ps2pdf(); // the last attempt ends Ghostscript
    EXPECT_EQ(read_file(capture).find("SUCCEEDED"), std::string::npos) << read_file(capture);
    EXPECT_FALSE(file_exists(users / "new"));
}

TEST_F(HarmfulDocument, MayOnlySpoilItsOwnResult)
{
    users.write("out.pdf", "older");
    for (const char *harm : {"(papermill-out/result.pdf) deletefile",
                             "(papermill-out/result.pdf) (w) file dup (no pdf) writestring "
                             "closefile quit"}) {
        new_run();
        input = users.write("harm.ps", std::string("%!PS\nshowpage ") + harm + "\n");
        ps2pdf();
        EXPECT_NE(ending(), "0 done\n");
        EXPECT_EQ(read_file(output), "older");
        EXPECT_EQ(users.names(), (words{"harm.ps", "in.ps", "out.pdf", "secret"}));
    }
}
