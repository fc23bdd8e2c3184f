// Every handler by direct call, with events that the event manager made.
#include "scripting/apple_events.h"

#include "app/globals.h"
#include "console/console_text.h"
#include "console/console_window.h"
#include "engine/dispatch.h"
#include "engine/tool_runner.h"
#include "platform/files.h"
#include "platform/memory.h"
#include "platform/strings.h"
#include "tests/support/conversion_test.h"
#include "tests/support/descriptors.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr AEEventClass papermill_class = four_chars("TSRY");
constexpr AEKeyword destination = four_chars("dest");
constexpr char another[] = "Papermill is busy with another request.";
constexpr char previous[] = "Papermill is busy with a previous request.";

using handler = OSErr (*)(const AppleEvent *, AppleEvent *, std::uint32_t);

// An event and its reply, for the handler that a test calls. What it makes is counted: no handler
// may leave a descriptor behind.
template <class base>
class requests : public base {
protected:
    requests() : handles_before(platform::live_handles())
    {
        clear();
        exit_status = 77;
        command_line[0] = 0;
        in_file[0] = 0;
        out_file[0] = 0;
        curr_dir[0] = 0;
        usePDFTOPS = 0;
        platform::copy_whole(appPath, base::folder.path().c_str());
    }

    ~requests() override
    {
        dispose();
        EXPECT_EQ(platform::live_handles(), handles_before);
    }

    // A new event and a reply that is wanted.
    void clear()
    {
        dispose();
        AECreateAppleEvent(papermill_class, four_chars("test"), &event);
        AECreateAppleEvent(kCoreEventClass, four_chars("ansr"), &reply);
    }

    void want_no_reply()
    {
        AEDisposeDesc(&reply);
    }

    void put_text(AEKeyword keyword, const std::string &text)
    {
        EXPECT_EQ(AEPutParamPtr(&event, keyword, typeChar, text.data(), text.size()), noErr);
    }

    void put_files(const std::vector<std::string> &paths)
    {
        AEDescList list = list_of(paths);
        EXPECT_EQ(AEPutParamDesc(&event, keyDirectObject, &list), noErr);
        AEDisposeDesc(&list);
    }

    OSErr call(handler called)
    {
        return called(&event, &reply, 0);
    }

    // The exit status in the reply, or "none".
    std::string status() const
    {
        std::int32_t number = 0;
        DescType type = 0;
        std::size_t size = 0;
        if (AEGetParamPtr(&reply, keyDirectObject, typeWildCard, &type, &number, sizeof number,
                          &size) != noErr)
            return "none";
        EXPECT_EQ(type, typeLongInteger);
        EXPECT_EQ(size, sizeof number);
        return std::to_string(number);
    }

    // The busy text in the reply, byte for byte, or "none".
    std::string refusal() const
    {
        char busy[100];
        DescType type = 0;
        std::size_t size = 0;
        if (AEGetParamPtr(&reply, keyErrorString, typeWildCard, &type, busy, sizeof busy, &size) !=
            noErr)
            return "none";
        EXPECT_EQ(type, typeChar);
        return {busy, size};
    }

    // A file whose path has that many bytes.
    std::string file_of_length(std::size_t length, const std::string &ending) const
    {
        std::string inner;
        const auto left = [&] {
            return length - base::folder.path().size() - 1 - inner.size() - ending.size();
        };
        while (left() > 200)
            inner += std::string(150, 'd') + "/";
        base::folder.make_folder(inner);
        return base::folder.write(inner + std::string(left(), 'n') + ending, "%!PS\n");
    }

    AppleEvent event = {typeNull, nullptr};
    AppleEvent reply = {typeNull, nullptr};

private:
    void dispose()
    {
        AEDisposeDesc(&event);
        AEDisposeDesc(&reply);
    }

    std::size_t handles_before;
};

using Requests = requests<conversion_test>; // with a script that only reports
using RealRequests = requests<spine_test>;  // with the bundle's tools

// The requests that convert the first file of a list.
struct list_request {
    handler called;
    const char *input;  // names
    const char *output; // what the console calls it
    const char *quote;  // and between what
};
const list_request list_requests[] = {
    {HandleEPS, "a.b.ps", "a.b.eps", "\""},
    {HandleEPS2TIFF, "a.b.eps", "a.b.tiff", ""},
    {HandleEPS2PICT, "a.b.eps", "a.b.pict", ""},
    {HandlePDF2PS, "a.b.pdf", "a.b.ps", ""},
};

const std::string document = "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 10 10\nshowpage\n";

} // namespace

// ---- installation ----

TEST_F(Requests, TheHandlersAreInstalledInTheirOrderThenInteractionIsAllowed)
{
    DoAEInstallation();
    EXPECT_EQ(watched.installed,
              (words{"aevt/oapp", "aevt/odoc", "aevt/pdoc", "aevt/quit", "TSRY/done", "TSRY/exec",
                     "TSRY/dscs", "TSRY/epsf", "TSRY/etif", "TSRY/epic", "TSRY/pdfp", "TSRY/cdoc",
                     "AESetInteractionAllowed(1)"}));
    EXPECT_EQ(watched.other_installations, 0U);
    EXPECT_EQ(HandleODOC_UPP, &HandleODOC);
    EXPECT_EQ(HandleDone_UPP, &HandleDone);
    EXPECT_EQ(HandleConvert_UPP, &HandleConvert);
    EXPECT_EQ(myIdleProcSend_UPP, &myIdleProcSend);
    EXPECT_EQ(myIdleProcRec_UPP, &myIdleProcRec);
}

TEST_F(Requests, EachEventReachesItsHandler)
{
    DoAEInstallation();
    inRun = 1; // so that each tells itself apart without working
    const struct {
        AEEventID id;
        std::string answer;
    } events[] = {{four_chars("exec"), previous}, {four_chars("dscs"), previous},
                  {four_chars("epsf"), another},  {four_chars("etif"), another},
                  {four_chars("epic"), another},  {four_chars("pdfp"), another},
                  {four_chars("cdoc"), another},  {four_chars("done"), "none"}};
    for (const auto &[id, answer] : events) {
        clear();
        AEDisposeDesc(&event);
        AECreateAppleEvent(papermill_class, id, &event);
        EXPECT_EQ(platform::handle_apple_event(&event, &reply),
                  answer == "none" ? OSErr{noErr} : OSErr{errAEEventNotHandled});
        EXPECT_EQ(refusal(), answer);
    }
    inRun = 0;
}

TEST_F(Requests, ASendersWaitEndsWhenTheUserCancels)
{
    EventRecord record = {};
    std::int32_t sleep = 0;
    EXPECT_EQ(myIdleProcSend(&record, &sleep, nullptr), 0);
    EXPECT_EQ(myIdleProcRec(&record, &sleep, nullptr), 0);
    watched.user_cancels = true;
    EXPECT_EQ(myIdleProcSend(&record, &sleep, nullptr), 1);
    EXPECT_EQ(myIdleProcRec(&record, &sleep, nullptr), 0);
}

// ---- what every program knows ----

TEST_F(Requests, AnUnreadParameterIsMissedWithTheNumberOfAnUnhandledEvent)
{
    EXPECT_EQ(RequiredCheck(&event), noErr);
    put_text(keyDirectObject, "x");
    EXPECT_EQ(RequiredCheck(&event), -1708);
    char read[4];
    AEGetParamPtr(&event, keyDirectObject, typeChar, nullptr, read, sizeof read, nullptr);
    EXPECT_EQ(RequiredCheck(&event), noErr);
    const AppleEvent none = {typeNull, nullptr};
    EXPECT_EQ(RequiredCheck(&none), errAEWrongDataType); // any other error as it is
}

TEST_F(Requests, TheStartOnlyLooksForParameters)
{
    inRun = 1; // which is nothing to it
    EXPECT_EQ(call(HandleOAPP), noErr);
    put_text(keyDirectObject, "x");
    EXPECT_EQ(call(HandleOAPP), -1708);
    inRun = 0;
    EXPECT_EQ(console.text(), "");
}

TEST_F(Requests, PrintingIsAlwaysRefused)
{
    EXPECT_EQ(call(HandlePDOC), -1708);
    put_files({folder.write("a.ps", "")});
    for (const bool running : {false, true}) {
        inRun = running ? 1 : 0;
        EXPECT_EQ(call(HandlePDOC), -1708);
        EXPECT_EQ(refusal(), "none");
    }
    inRun = 0;
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(Requests, TheReportEndsTheWaitWhateverComesWithIt)
{
    put_text(keyDirectObject, "unread");
    inScript = 1;
    inRun = 1;
    EXPECT_EQ(call(HandleDone), noErr);
    EXPECT_EQ(inScript, 0);
    EXPECT_EQ(status(), "none");
    inRun = 0;
}

TEST_F(Requests, QuitCleansUpAndEndsTheProcessWell)
{
    EXPECT_EXIT(
        {
            char title[32] = "console";
            SetUpTextWindow(title);
            std::atexit([] { std::fputs(text == nullptr ? "cleaned up" : "left", stderr); });
            call(HandleQUIT);
        },
        ::testing::ExitedWithCode(0), "^cleaned up$");
    put_text(keyDirectObject, "x");
    EXPECT_EQ(call(HandleQUIT), -1708); // and goes on
}

// ---- while a run goes on ----

TEST_F(Requests, WhileARunGoesOnRequestsAreRefusedWithTheirBusyText)
{
    const struct {
        handler called;
        const char *busy;
    } refusals[] = {{HandleODOC, another},     {HandleAppleScript, previous},
                    {HandleDSC, previous},     {HandleEPS, another},
                    {HandleEPS2TIFF, another}, {HandleEPS2PICT, another},
                    {HandlePDF2PS, another},   {HandleConvert, another}};
    inRun = 1;
    for (const auto &[called, busy] : refusals) {
        clear();
        put_files({folder.write("a.ps", "")});
        EXPECT_EQ(call(called), -1708);
        EXPECT_EQ(refusal(), busy); // without a NUL behind it
        EXPECT_EQ(status(), "none");
        EXPECT_EQ(RequiredCheck(&event), -1708); // it has read nothing
        want_no_reply();
        EXPECT_EQ(call(called), -1708);
        EXPECT_EQ(reply.dataHandle, nullptr);
    }
    inRun = 0;
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
    EXPECT_STREQ(in_file, "");
}

TEST_F(Requests, OnlyTheListRequestsTakeAnyRunForOne)
{
    inRun = 2;
    for (const handler called :
         {HandleODOC, HandleEPS, HandleEPS2TIFF, HandleEPS2PICT, HandlePDF2PS, HandleConvert})
        EXPECT_EQ(call(called), -1708);
    EXPECT_EQ(call(HandleAppleScript), errAEDescNotFound); // which looks for its command already
    EXPECT_EQ(call(HandleDSC), errAEDescNotFound);
    inRun = 0;
}

// ---- parameters that are not as they should be ----

TEST_F(Requests, TheErrorOfTheFailingCallIsReturnedAndNothingIsDone)
{
    const std::string ps = folder.write("a.ps", document);
    for (const handler called : {HandleODOC, HandleAppleScript, HandleDSC, HandleEPS,
                                 HandleEPS2TIFF, HandleEPS2PICT, HandlePDF2PS, HandleConvert}) {
        clear();
        EXPECT_EQ(call(called), errAEDescNotFound);
        EXPECT_EQ(status(), "none");
    }
    // A number is neither a text nor a file.
    for (const handler called : {HandleODOC, HandleAppleScript, HandleDSC, HandleEPS,
                                 HandleEPS2TIFF, HandleEPS2PICT, HandlePDF2PS, HandleConvert}) {
        clear();
        const std::int32_t number = 7;
        AEPutParamPtr(&event, keyDirectObject, typeLongInteger, &number, sizeof number);
        EXPECT_EQ(call(called), errAECoercionFail);
    }
    for (const auto &request : list_requests) {
        clear();
        put_files({});
        EXPECT_EQ(call(request.called), errAEDescNotFound);
        clear();
        put_files({folder / "absent.ps"});
        EXPECT_EQ(call(request.called), fnfErr);
        clear();
        put_files({"a.ps"}); // relative to what?
        EXPECT_EQ(call(request.called), fnfErr);
        clear();
        put_files({ps});
        put_text(destination, ps);
        EXPECT_EQ(call(request.called), -1708); // more than it takes
        EXPECT_EQ(status(), "none");
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(Requests, AReferenceWithoutItsBytesIsNone)
{
    for (const auto &request : list_requests) {
        clear();
        AEPutParamPtr(&event, keyDirectObject, typeFSRef, "x", 1);
        EXPECT_EQ(call(request.called), paramErr);
    }
    clear();
    AEPutParamPtr(&event, keyDirectObject, typeFSRef, "x", 1);
    EXPECT_EQ(call(HandleDSC), paramErr);
    clear();
    put_text(keyDirectObject, folder.write("a.pdf", ""));
    AEPutParamPtr(&event, destination, typeFSS, "x", 1);
    EXPECT_EQ(call(HandleDSC), paramErr);
    clear();
    put_text(keyDirectObject, "true");
    AEPutParamPtr(&event, destination, typeFSS, "x", 1);
    EXPECT_EQ(call(HandleAppleScript), nsvErr);
    EXPECT_EQ(script.calls(), 0);
}

// ---- opening files ----

TEST_F(Requests, OpenedFilesAreConvertedOneByOneInTheirOrder)
{
    script.does("echo \"${5##*/}\" >> '" + folder / "log" + "'; ends 0 done; reports");
    put_files({folder.write("one.ps", document), "file://" + folder.write("t w o.ps", document),
               folder.write("three.ps", document)});
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(read_file(folder / "log"), "one.ps\nt w o.ps\nthree.ps\n");
    EXPECT_EQ(numberOfJobs, 0);
    EXPECT_EQ(myJobs.next, nullptr);
    EXPECT_EQ(in_file, folder / "three.ps");
    EXPECT_EQ(status(), "none");
    EXPECT_EQ(refusal(), "none");
}

TEST_F(Requests, OneFileAloneIsAListOfOne)
{
    put_text(keyDirectObject, folder.write("one.ps", document));
    want_no_reply();
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(script.calls(), 1);
}

TEST_F(Requests, AnEmptyListOfFilesIsOpenedAtOnce)
{
    put_files({});
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(script.calls(), 0);
    clear();
    put_files({});
    put_text(destination, "x");
    EXPECT_EQ(call(HandleODOC), -1708);
    EXPECT_EQ(console.text(), "");
}

TEST_F(Requests, NoFileIsConvertedWhenOneCannotBeRead)
{
    const std::string one = folder.write("one.ps", document);
    const std::string long_name = folder.write(std::string(250, 'n') + ".ps", document);
    put_files({one, long_name, folder / "absent.ps", one});
    EXPECT_EQ(call(HandleODOC), fnfErr);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(numberOfJobs, 0);
    EXPECT_EQ(myJobs.next, nullptr); // the leak checker of the sanitizers counts the freed records

    clear();
    put_files({one});
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(script.calls(), 1); // none of the files before
}

TEST_F(Requests, FilesThatSomebodyLeftInTheListAreNotConverted)
{
    add_job(folder.write("left.ps", document).c_str());
    add_job(folder.write("over.ps", document).c_str());
    put_files({folder.write("one.ps", document)});
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(script.calls(), 1);
}

TEST_F(Requests, TenThousandFilesAreTakenOrNone)
{
    constexpr int many = 10000;
    std::vector<std::string> files;
    for (int i = 0; i < many; ++i) // empty EPS files need no tool to be told from good ones
        files.push_back(folder.write(std::to_string(i) + ".eps", ""));
    put_files(files);
    watched.console = nullptr; // its text is copied for every operation that is watched
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(failed_conversions, many);
    EXPECT_EQ(script.calls(), 0);

    failed_conversions = 0;
    for (std::string &file : files)
        file += ".absent";
    clear();
    put_files(files);
    EXPECT_EQ(call(HandleODOC), fnfErr);
    EXPECT_EQ(failed_conversions, 0);
}

// ---- commands ----

TEST_F(Requests, ACommandRunsInTheFolderOfTheProgram)
{
    script.does("ends 3 done; reports");
    put_text(keyDirectObject, "gs -h");
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(script.arguments(), (words{"exec", pid, worksheet, "gs", "-h"}));
    EXPECT_STREQ(curr_dir, appPath);
    EXPECT_EQ(script.working_folder(), folder.path());
    EXPECT_STREQ(tmpcomline, "gs -h");
    EXPECT_EQ(status(), "3");
    EXPECT_EQ(shown().find("Processing: gs -h\nCurrent directory -- " + folder.path() + "\n"), 0U);
}

TEST_F(Requests, ACommandRunsInTheFolderThatIsGiven)
{
    folder.make_folder("in here");
    put_text(keyDirectObject, "true");
    put_text(destination, "file://" + folder.path() + "/in%20here");
    want_no_reply();
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(script.working_folder(), folder / "in here");
    EXPECT_EQ(exit_status, 0);
}

TEST_F(Requests, TheFolderThatTheCommandBeforeNamedComesBeforeAllOthers)
{
    folder.make_folder("named");
    folder.make_folder("given");
    put_text(keyDirectObject, "first -@ " + folder / "named");
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(script.working_folder(), folder.path());
    clear();
    put_text(keyDirectObject, "second -@ /nowhere");
    put_text(destination, folder / "given");
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(script.working_folder(), folder / "named");
}

TEST_F(Requests, ALineOfOptionsIsACommandForGhostscript)
{
    const std::pair<const char *, const char *> commands[] = {{"-q -dBATCH", "gs -q -dBATCH"},
                                                              {"-q", "gs -q"},
                                                              {"-quiet", "gs -quiet"},
                                                              {" -q", " -q"},
                                                              {"-Q", "-Q"},
                                                              {"-dBATCH", "-dBATCH"},
                                                              {"gs -q", "gs -q"},
                                                              {"true -q", "true -q"}};
    for (const auto &[sent, run] : commands) {
        clear();
        put_text(keyDirectObject, sent);
        EXPECT_EQ(call(HandleAppleScript), noErr);
        EXPECT_EQ(command_line, "gs.script exec " + pid + " \"" + worksheet + "\" " + run);
    }
}

TEST_F(Requests, ALongCommandIsCutAndTheConsoleSaysSo)
{
    for (const std::size_t size : {std::size_t{2046}, std::size_t{2047}, std::size_t{2048},
                                   std::size_t{2049}, std::size_t{1} << 20}) {
        clear();
        console.clear();
        const std::string sent = "echo " + std::string(size - 6, 'x') + "y";
        put_text(keyDirectObject, sent);
        EXPECT_EQ(call(HandleAppleScript), noErr);
        const std::string run = sent.substr(0, 2047);
        EXPECT_EQ(tmpcomline, run);
        EXPECT_EQ(command_line, "gs.script exec " + pid + " \"" + worksheet + "\" " + run);
        const std::string told = "The command has " + std::to_string(size) +
                                 " bytes; only the first 2047 are run.\nProcessing: ";
        EXPECT_EQ(console.lines().find(size > 2047 ? told : "Processing: "), 0U) << size;
    }
}

TEST_F(Requests, ACommandEndsAtItsNul)
{
    std::memset(tmpcomline, 'x', sizeof tmpcomline);
    put_text(keyDirectObject, std::string("true\0false", 10));
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(script.arguments().back(), "true");
    clear();
    put_text(keyDirectObject, "");
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_STREQ(tmpcomline, "");
}

TEST_F(Requests, ACommandInAFolderThatCannotBeIsNotRun)
{
    const std::pair<std::string, OSErr> folders[] = {{folder / "absent", fnfErr},
                                                     {folder / "no/such", dirNFErr},
                                                     {"here", fnfErr},
                                                     {"file://elsewhere/tmp", nsvErr}};
    platform::copy_whole(command_line, "the one -@ before");
    for (const auto &[path, error] : folders) {
        clear();
        put_text(keyDirectObject, "true");
        put_text(destination, path);
        EXPECT_EQ(call(HandleAppleScript), error) << path;
    }
    EXPECT_STREQ(command_line, "the one -@ before");
    clear();
    put_text(keyDirectObject, "true");
    put_text(destination, folder.write("file", ""));
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(status(), "127");
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(Requests, ACommandOrAnIndexWithMoreThanItTakesIsToldInTheConsole)
{
    put_text(keyDirectObject, "true");
    put_text(four_chars("more"), "x");
    platform::copy_whole(command_line, "before -@ ");
    EXPECT_EQ(call(HandleAppleScript), -1708);
    EXPECT_EQ(console.lines(), "I missed something.\n");
    EXPECT_STREQ(command_line, "before");

    console.clear();
    clear();
    put_text(keyDirectObject, folder.write("a.pdf", ""));
    put_text(destination, folder / "a.dsc");
    put_text(four_chars("more"), "x");
    EXPECT_EQ(call(HandleDSC), -1708);
    EXPECT_EQ(console.lines(), "I missed something.\n");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(status(), "none");
}

// ---- conversions of the first file ----

TEST_F(Requests, OnlyTheFirstFileIsConvertedAndItsStatusReplied)
{
    script.does("ends 3 done; reports");
    const std::string other = folder.write("other.eps", document);
    for (const auto &request : list_requests) {
        clear();
        console.clear();
        const int calls = script.calls();
        const std::string input = folder.write(request.input, document);
        put_files({input, other, folder / "absent"});
        EXPECT_EQ(call(request.called), noErr);
        EXPECT_EQ(script.calls(), calls + 1);
        EXPECT_EQ(status(), "3");
        const std::string quote = request.quote;
        const std::string line = "Converting " + quote + input + quote + " to " + quote +
                                 folder / request.output + quote;
        EXPECT_EQ(console.lines().find(line), 0U) << console.lines();
        EXPECT_EQ(console.lines().find("other"), std::string::npos);

        clear();
        put_text(keyDirectObject, input); // one file is a list of one
        want_no_reply();
        EXPECT_EQ(call(request.called), noErr);
        EXPECT_EQ(script.calls(), calls + 2);
        EXPECT_EQ(reply.dataHandle, nullptr);
    }
}

TEST_F(Requests, PostScriptIsNamedAfterThePdfFileUpToItsLastDot)
{
    folder.make_folder("a.folder");
    const std::pair<const char *, const char *> names[] = {{"one.pdf", "one.ps"},
                                                           {"one.two.pdf", "one.two.ps"},
                                                           {".pdf", ".ps"},
                                                           {"a.folder/name.x", "a.folder/name.ps"},
                                                           // The folder's dot is the last one.
                                                           {"a.folder/name", "a.ps"}};
    for (const auto &[input, output] : names) {
        clear();
        put_files({folder.write(input, "%PDF-")});
        EXPECT_EQ(call(HandlePDF2PS), noErr);
        EXPECT_EQ(script.arguments().at(3), folder / output);
        EXPECT_EQ(out_file, folder / output);
    }
    temporary_folder plain;
    if (plain.path().find('.') == std::string::npos) {
        clear();
        put_files({plain.write("name", "%PDF-")});
        EXPECT_EQ(call(HandlePDF2PS), noErr);
        EXPECT_EQ(script.arguments().at(3), plain / "name.ps");
    }
}

TEST_F(Requests, TheSettingChoosesHowPostScriptIsMade)
{
    put_files({folder.write("a.pdf", "%PDF-")});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(script.arguments().at(0), "pdf2ps");
    usePDFTOPS = 1;
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(script.arguments().at(0), "pdftops");
}

TEST_F(Requests, AToolThatEndsWellWithoutAResultIsNoSuccess)
{
    script.does("ends 0 unusable; reports");
    put_files({folder.write("a.pdf", "%PDF-")});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(status(), "1");
}

TEST_F(Requests, WhatIsRefusedBeforeItsToolRunsHasNoStatusOfAnEarlierRun)
{
    const auto status_of = [&](handler called, const std::vector<std::string> &files) {
        exit_status = 0;
        clear();
        put_files(files);
        EXPECT_EQ(call(called), noErr);
        return status();
    };
    const std::string no_box = folder.write("no_box.eps", "%!PS\n");
    const std::string page = folder.write("page.ps", document);
    const std::string linked = folder.write("linked.ps", document);
    ASSERT_EQ(symlink("linked.ps", (folder / "linked.eps").c_str()), 0);
    ASSERT_EQ(symlink("page.ps", (folder / "page.pdf").c_str()), 0);
    EXPECT_EQ(status_of(HandleEPS2TIFF, {no_box}), "1");
    EXPECT_EQ(status_of(HandleEPS2PICT, {no_box}), "1");
    EXPECT_EQ(status_of(HandleEPS2PICT, {folder.path()}), "1");
    EXPECT_EQ(status_of(HandleEPS, {linked}), "1");
    EXPECT_EQ(status_of(HandlePDF2PS, {folder / "page.pdf"}), "1");
    set_setting("TIFF_OPTION_STR", "0");
    EXPECT_EQ(status_of(HandleEPS2TIFF, {folder.write("good.eps", document)}), "1");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(read_file(page), document);
    EXPECT_EQ(read_file(linked), document);
}

TEST_F(Requests, APageCalledEpsMayTakeItsOwnPlace)
{
    put_files({folder.write("page.eps", document)});
    EXPECT_EQ(call(HandleEPS), noErr);
    EXPECT_EQ(script.calls(), 1);
}

// ---- an index of pages ----

TEST_F(Requests, AnIndexIsMadeAtItsDestination)
{
    script.does("ends 3 done; reports");
    folder.make_folder("out");
    const std::string input = folder.write("in.pdf", "%PDF-");
    const std::string long_name = std::string(200, 'n') + ".dsc";
    for (const std::string &name : {std::string("a.dsc"), std::string("b c"), long_name}) {
        clear();
        put_text(keyDirectObject, input);
        put_text(destination, folder / ("out/" + name));
        EXPECT_EQ(call(HandleDSC), noErr);
        EXPECT_EQ(script.arguments(), (words{"pdf2dsc", pid, worksheet, "in.pdf", name}));
        EXPECT_EQ(script.working_folder(), folder / "out");
        EXPECT_EQ(status(), "3");
    }
    EXPECT_TRUE(file_exists(input));
    want_no_reply();
    EXPECT_EQ(call(HandleDSC), noErr);
}

TEST_F(Requests, AnInputBesideItsIndexIsDeleted)
{
    const std::string input = folder.write("in.pdf", "%PDF-");
    put_text(keyDirectObject, input);
    put_text(destination, folder / "out.dsc");
    EXPECT_EQ(call(HandleDSC), noErr);
    EXPECT_FALSE(file_exists(input));
}

TEST_F(Requests, AnInputIsNotItsOwnIndex)
{
    const std::string input = folder.write("in.pdf", "%PDF-");
    ASSERT_EQ(link(input.c_str(), (folder / "linked.dsc").c_str()), 0);
    for (const char *name : {"in.pdf", "linked.dsc"}) {
        clear();
        exit_status = 0;
        put_text(keyDirectObject, input);
        put_text(destination, folder / name);
        EXPECT_EQ(call(HandleDSC), noErr);
        EXPECT_EQ(status(), "1");
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_TRUE(file_exists(input));
}

TEST_F(Requests, AnIndexNeedsInputAndDestination)
{
    const std::string input = folder.write("in.pdf", "%PDF-");
    put_text(keyDirectObject, input);
    EXPECT_EQ(call(HandleDSC), errAEDescNotFound);
    put_text(destination, folder / "no/such.dsc");
    EXPECT_EQ(call(HandleDSC), dirNFErr);
    put_text(destination, "such.dsc");
    EXPECT_EQ(call(HandleDSC), fnfErr);
    put_text(keyDirectObject, folder / "absent.pdf");
    put_text(destination, folder / "such.dsc");
    EXPECT_EQ(call(HandleDSC), fnfErr);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_TRUE(file_exists(input));
}

TEST_F(Requests, AnIndexNeedsItsFolderStill)
{
    folder.make_folder("gone");
    put_text(keyDirectObject, folder.write("in.pdf", "%PDF-"));
    AEDesc place = text_of(folder / "gone/a.dsc");
    AEDesc specification;
    ASSERT_EQ(AECoerceDesc(&place, typeFSS, &specification), noErr);
    AEPutParamDesc(&event, destination, &specification);
    AEDisposeDesc(&place);
    AEDisposeDesc(&specification);
    ASSERT_EQ(rmdir((folder / "gone").c_str()), 0);
    EXPECT_EQ(call(HandleDSC), paramErr); // of the call that makes its path
    EXPECT_EQ(script.calls(), 0);
}

// ---- PDF with a name ----

TEST_F(Requests, AConversionToPdfNamesItsOutput)
{
    script.does("ends 3 done; reports");
    put_files({folder.write("in.ps", document), folder / "a name.pdf", folder / "ignored"});
    EXPECT_EQ(call(HandleConvert), noErr);
    EXPECT_EQ(own_arguments().at(0), folder / "a name.pdf");
    EXPECT_EQ(own_arguments().at(1), folder / "in.ps");
    EXPECT_EQ(status(), "none"); // no status, however it ended
    EXPECT_EQ(exit_status, 3);
    EXPECT_EQ(refusal(), "none");

    clear();
    want_no_reply();
    const std::string long_name = folder / (std::string(220, 'n') + ".pdf");
    put_files({folder.write("in.eps", document), "file://" + long_name});
    EXPECT_EQ(call(HandleConvert), noErr);
    EXPECT_EQ(own_arguments().at(0), long_name);
}

TEST_F(Requests, AConversionToPdfNeedsInputAndOutput)
{
    const std::string input = folder.write("in.ps", document);
    const std::pair<std::vector<std::string>, OSErr> lists[] = {
        {{}, errAEDescNotFound},
        {{input}, errAEDescNotFound},
        {{folder / "absent", folder / "out.pdf"}, fnfErr},
        {{input, "out.pdf"}, fnfErr},
        {{input, folder / "no/out.pdf"}, dirNFErr},
        {{input, "file://elsewhere/out.pdf"}, nsvErr}};
    for (const auto &[files, error] : lists) {
        clear();
        put_files(files);
        EXPECT_EQ(call(HandleConvert), error);
    }
    clear();
    put_files({input, folder / "out.pdf"});
    put_text(destination, folder / "other.pdf");
    EXPECT_EQ(call(HandleConvert), -1708);
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(Requests, AConversionToPdfLeavesItsInputAlone)
{
    const std::string input = folder.write("in.eps", document);
    put_files({input, input});
    EXPECT_EQ(call(HandleConvert), noErr);
    EXPECT_EQ(exit_status, 1);
    EXPECT_EQ(read_file(input), document);
    EXPECT_EQ(script.calls(), 0);
}

// ---- names and paths ----

TEST_F(Requests, AnyNameIsAName)
{
    for (const std::string &name : telling_names()) {
        clear();
        put_files({folder.write(name + ".pdf", "%PDF-")});
        EXPECT_EQ(call(HandlePDF2PS), noErr);
        EXPECT_EQ(script.arguments().at(3), folder / (name + ".ps"));
        clear();
        put_files({folder.write(name + ".ps", document), folder / (name + ".pdf")});
        EXPECT_EQ(call(HandleConvert), noErr);
        EXPECT_EQ(own_arguments().at(0), folder / (name + ".pdf"));
    }
    const std::string bytes = "caf\xE9 \xFF\xC3";
    put_files({folder.write(bytes + ".pdf", "%PDF-")});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(script.arguments().at(3), folder / (bytes + ".ps"));
    put_files({"file://" + folder.path() + "/caf%E9%20%FF%C3.pdf"});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(script.arguments().at(3), folder / (bytes + ".ps"));
}

TEST_F(Requests, PathsThatFitAreTakenWholeAndLongerOnesAreRefused)
{
    const std::string fits = file_of_length(1023, ".pdf");
    const std::string too_long = file_of_length(1024, ".pdf");
    put_files({fits});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(out_file, fits.substr(0, fits.size() - 3) + "ps");
    EXPECT_EQ(script.calls(), 1);
    clear();
    put_files({fits});
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_STREQ(in_file, fits.c_str());

    const int calls = script.calls();
    in_file[0] = 0;
    for (const handler called :
         {HandleODOC, HandleEPS, HandleEPS2TIFF, HandleEPS2PICT, HandlePDF2PS}) {
        clear();
        put_files({too_long});
        EXPECT_EQ(call(called), paramErr);
    }
    clear();
    put_files({too_long, folder / "out.pdf"});
    EXPECT_EQ(call(HandleConvert), paramErr);
    clear();
    put_files({folder.write("a.ps", document), too_long});
    EXPECT_EQ(call(HandleConvert), paramErr);
    clear();
    put_text(keyDirectObject, too_long);
    put_text(destination, folder / "out.dsc");
    EXPECT_EQ(call(HandleDSC), paramErr);
    clear();
    put_text(keyDirectObject, folder.write("a.pdf", document));
    put_text(destination, too_long);
    EXPECT_EQ(call(HandleDSC), paramErr);
    // The folder has 1023 bytes or more: no name fits behind it.
    folder.make_folder("deep");
    std::string deep = too_long.substr(0, too_long.rfind('/'));
    deep += "/" + std::string(1022 - deep.size(), 'f');
    ASSERT_EQ(mkdir(deep.c_str(), 0777), 0);
    clear();
    put_text(keyDirectObject, "true");
    put_text(destination, deep + "/x");
    ASSERT_EQ(mkdir((deep + "/x").c_str(), 0777), 0);
    EXPECT_EQ(call(HandleAppleScript), paramErr);
    EXPECT_EQ(script.calls(), calls);
    EXPECT_EQ(console.lines().find("truncated"), std::string::npos);
    EXPECT_STREQ(in_file, "");
}

TEST_F(Requests, AnOutputThatDoesNotFitIsAFailedConversion)
{
    const std::string input = file_of_length(1022, ".x");
    const std::string no_room = file_of_length(1022, "");
    exit_status = 0;
    put_files({input});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(status(), "0");
    EXPECT_EQ(std::strlen(out_file), 1023U);
    if (no_room.find('.') == std::string::npos) {
        clear();
        put_files({no_room});
        EXPECT_EQ(call(HandlePDF2PS), noErr);
        EXPECT_EQ(status(), "1");
        EXPECT_NE(console.lines().find(no_room + ": the path is too long."), std::string::npos);
    }
}

TEST_F(Requests, RequestsForTheSameFilesTakeNoMoreMemory)
{
    const std::string eps = folder.write(std::string(200, 'n') + ".eps", "no box\n");
    const std::string output = folder / (std::string(200, 'o') + ".pdf");
    const auto round = [&] { // of requests that are refused before a tool runs
        for (const handler called : {HandleODOC, HandleEPS2TIFF, HandleEPS2PICT, HandleConvert}) {
            clear();
            put_files({"file://" + eps, output});
            call(called);
        }
        clear();
        put_text(keyDirectObject, eps);
        put_text(destination, eps);
        EXPECT_EQ(call(HandleDSC), noErr);
        EXPECT_EQ(status(), "1");
        console.clear();
        watched.calls.clear();
        watched.steps.clear();
    };
    const auto growth = [&] {
        const auto before = static_cast<std::int64_t>(mallinfo2().uordblks);
        for (int i = 0; i < 300; ++i)
            round();
        return static_cast<std::int64_t>(mallinfo2().uordblks) - before;
    };
    // Disposed handles rest before they are used again, and the heap keeps small blocks for later,
    // which it counts as used: both come to an end. What is lost in each round does not.
    growth();
    std::vector<std::int64_t> each;
    for (int times = 0; times < 8; ++times)
        each.push_back(growth());
    std::sort(each.begin(), each.end());
    EXPECT_LT(each[each.size() / 2], 300 * 16); // a block in each round
    EXPECT_EQ(script.calls(), 0);
}

// ---- with the real tools ----

TEST_F(RealRequests, EachConversionLeavesItsResult)
{
    const std::string page =
        folder.write("page.ps", "%!PS\n/Helvetica findfont 12 scalefont setfont\n"
                                "20 20 moveto (mill) show showpage\n");
    put_files({page, folder / "made.pdf"});
    EXPECT_EQ(call(HandleConvert), noErr);
    EXPECT_EQ(read_file(folder / "made.pdf").substr(0, 5), "%PDF-");
    EXPECT_EQ(exit_status, 0);

    const struct {
        handler called;
        const char *input;
        const char *output;
        std::string start; // of what it makes
    } conversions[] = {{HandleEPS, "page.ps", "page.eps", "%!PS-Adobe-2.0 EPSF-2.0"},
                       {HandleEPS2TIFF, "page.eps", "page.tiff", "II*"},
                       {HandleEPS2PICT, "page.eps", "page.pict", std::string(512, '\0')},
                       {HandlePDF2PS, "made.pdf", "made.ps", "%!PS"}};
    for (const auto &[called, input, output, start] : conversions) {
        clear();
        put_files({folder / input});
        EXPECT_EQ(call(called), noErr);
        EXPECT_EQ(status(), "0") << console.lines();
        EXPECT_EQ(read_file(folder / output).substr(0, start.size()), start) << output;
    }

    clear();
    folder.make_folder("index");
    put_text(keyDirectObject, folder / "made.pdf");
    put_text(destination, folder / "index/made.dsc");
    EXPECT_EQ(call(HandleDSC), noErr);
    EXPECT_EQ(status(), "0");
    EXPECT_EQ(read_file(folder / "index/made.dsc").substr(0, 4), "%!PS");

    clear();
    put_files({folder.write("other.ps", read_file(page))});
    EXPECT_EQ(call(HandleODOC), noErr);
    EXPECT_EQ(read_file(folder / "other.pdf").substr(0, 5), "%PDF-");
}

TEST_F(RealRequests, ACommandsOutputIsShownAndItsStatusReplied)
{
    put_text(keyDirectObject, "sh -c 'pwd; exit 5'");
    put_text(destination, folder.make_folder("place"));
    EXPECT_EQ(call(HandleAppleScript), noErr);
    EXPECT_EQ(status(), "5");
    EXPECT_NE(console.lines().find("\n" + folder / "place" + "\n"), std::string::npos);
}

TEST_F(RealRequests, AFailedConversionTellsItsStatus)
{
    put_files({folder.write("no.pdf", "this is no PDF file\n")});
    EXPECT_EQ(call(HandlePDF2PS), noErr);
    EXPECT_EQ(status(), std::to_string(exit_status));
    EXPECT_NE(exit_status, 0);
    EXPECT_FALSE(file_exists(folder / "no.ps"));
}
