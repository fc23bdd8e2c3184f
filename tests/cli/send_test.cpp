// papermill send: what it asks the running program for, and how it ends.
#include "tests/support/service_test.h"

#include "cli/exit_statuses.h"
#include "scripting/terms.h"
#include "tests/support/eventually.h"

#include <csignal>

namespace {

class Send : public service_test {
protected:
    program_result send(strings words) const
    {
        words.insert(words.begin(), "send");
        return user.papermill(words);
    }

    void expect_done(const strings &words) const
    {
        const program_result r = send(words);
        EXPECT_EQ(r.status, cli_done) << story(r);
        EXPECT_EQ(r.out + r.err, "");
    }

    void expect(const strings &words, int status, const std::string &message) const
    {
        const program_result r = send(words);
        EXPECT_EQ(r.status, status) << story(r);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, "papermill: " + message + "\n");
    }
};

} // namespace

TEST_F(Send, Converts)
{
    start_service();
    user.write("a.ps", drawing_ps(80, 60));
    expect_done({"convert", "a.ps", "b c.pdf"});
    EXPECT_EQ(pdf_page_size(user.path("b c.pdf")), "80 x 60");
    expect_done({"pdf2ps", user.path("b c.pdf")});
    EXPECT_TRUE(user.has("b c.ps"));
    expect_done({"pdf2dsc", "--", "b c.pdf", "../c.dsc"});
    EXPECT_TRUE(file_exists(user.elsewhere("c.dsc")));
    user.write("-e.eps", drawing_eps(50, 40));
    expect_done({"ps2eps", "a.ps", "-e.eps"});
    EXPECT_TRUE(user.has("a.eps"));
    expect_done({"eps2tiff", "--", "-e.eps"});
    EXPECT_TRUE(user.has("-e.tiff"));
    expect_done({"eps2pict", "./-e.eps"});
    EXPECT_TRUE(user.has("-e.pict"));
    expect_done({"open", "a.ps", "-e.eps"});
    EXPECT_TRUE(user.has("a.pdf"));
    EXPECT_EQ(pdf_page_size(user.path("-e.pdf")), "50 x 40");
}

TEST_F(Send, RunsACommandInTheFolder)
{
    start_service();
    expect_done({"exec", "--in", ".", "touch made"});
    EXPECT_TRUE(user.has("made"));
    expect_done({"exec", "touch too", "--in", user.work});
    EXPECT_TRUE(user.has("too"));
    expect_done({"exec", "-q -h > " + user.path("help")}); // of Ghostscript
    EXPECT_TRUE(contains(user.read("help"), "Ghostscript"));
}

TEST_F(Send, EndsTheProgram)
{
    start_service();
    expect_done({"RUN"});
    expect_done({"done"});
    expect_done({"quit"});
    EXPECT_EQ(service->finish().status, 0);
    service.reset();
    expect({"run"}, cli_failed, "run: papermill is not answering on the session bus. (-600)");
}

TEST_F(Send, TellsWhatWentWrong)
{
    start_service();
    expect({"exec", "sh -c 'exit 3'"}, cli_failed, "exec: the work ended with exit status 3.");
    expect({"print", "a.ps"}, cli_failed,
           "print: The request was refused or is not understood. (-1708)");
    expect({"open", "none.ps"}, cli_failed, "open: File not found. (-43)");
    expect({"convert", "none.ps", "nowhere/a.pdf"}, cli_failed, "convert: File not found. (-43)");
}

TEST_F(Send, TellsThatTheProgramIsBusy)
{
    start_service();
    running_program first(user.call({"send", "exec", "sleep 100"}));
    ASSERT_TRUE(wait_for("sleep"));
    expect({"exec", "true"}, cli_busy, "exec: Papermill is busy with a previous request. (-1708)");
    expect({"open", "a.ps"}, cli_busy, "open: Papermill is busy with another request. (-1708)");
}

TEST_F(Send, AnInterruptEndsTheWait)
{
    start_service();
    for (const int number : {SIGINT, SIGTERM}) {
        running_program waiting(user.call({"send", "exec", "sleep 100"}));
        ASSERT_TRUE(wait_for("sleep"));
        waiting.send_signal(number);
        const program_result r = waiting.finish();
        EXPECT_EQ(r.err, "papermill: exec: User canceled. (-128)\n");
        EXPECT_EQ(r.signal, number == SIGINT ? 0 : number) << story(r);
        EXPECT_EQ(r.status, number == SIGINT ? int{cli_interrupted} : -1);
        end_service(); // and the run with it
        start_service();
    }
}

TEST_F(Send, TellsThatTheProgramHasEnded)
{
    start_service();
    running_program waiting(user.call({"send", "exec", "sleep 100"}));
    ASSERT_TRUE(wait_for("sleep"));
    service->send_signal(SIGKILL);
    const program_result r = waiting.finish();
    EXPECT_EQ(r.err, "papermill: exec: The program ended before it answered. (-609)\n");
    EXPECT_EQ(r.status, cli_failed);
    for (const pid_t pid : user.processes(""))
        kill(pid, SIGKILL);
    service->finish();
    service.reset();
    user.papermill({"settings", "list"}); // removes what the killed one has left
}

TEST_F(Send, RefusesWhatIsNoRequest)
{
    expect({"fly"}, cli_usage, "there is no request fly; \"papermill send --help\" shows them.");
    const auto refused = [&](const strings &words, const std::string &call) {
        expect(words, cli_usage, "the call is: papermill send " + call);
    };
    refused({"convert"}, "convert INPUT OUTPUT");
    refused({"convert", "a"}, "convert INPUT OUTPUT");
    refused({"convert", "a", "b", "c"}, "convert INPUT OUTPUT");
    refused({"open"}, "open FILES...");
    refused({"done", "x"}, "done");
    refused({"exec"}, "exec [--in FOLDER] COMMAND");
    refused({"exec", "a", "b"}, "exec [--in FOLDER] COMMAND");
    refused({"exec", "a", "--in"}, "exec [--in FOLDER] COMMAND");
    EXPECT_EQ(user.papermill({"send"}).status, cli_usage);
}

TEST_F(Send, NeedsNoStartUp)
{
    user.environment["TMPDIR"] = "/nowhere";
    expect({"done"}, cli_failed, "done: papermill is not answering on the session bus. (-600)");
    EXPECT_FALSE(file_exists(user.home + "/.config"));
}

TEST_F(Send, ItsHelpListsTheRequests)
{
    const program_result help = user.papermill({"send", "--help"});
    for (std::size_t i = 0; i < scripting_term_count; ++i)
        EXPECT_TRUE(contains(help.out, std::string(" ") + scripting_terms[i].word)) << i;
    EXPECT_TRUE(contains(help.out, "exec [--in FOLDER] COMMAND\n"));
    EXPECT_TRUE(contains(help.out, "ps2eps FILES...\n"));
}
