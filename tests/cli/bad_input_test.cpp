// What cannot be converted: told clearly, with the file's own name, and nothing is left over.

#include "cli/exit_statuses.h"
#include "tests/support/conversions.h"
#include "tests/support/terminal_test.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr char good_file[] = "an older result";
constexpr int page_width = 100; // points

std::string random_bytes(std::size_t size)
{
    std::mt19937 engine(17);
    std::string result;
    while (result.size() < size)
        result += static_cast<char>(engine() & 255);
    return result;
}

constexpr char broken_ps[] = "%!PS\n0 0 9 9 rectfill showpage\nnosuchoperator\nshowpage\n";
constexpr char broken_eps[] = "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 50 50\n"
                              "0 0 9 9 rectfill nosuchoperator showpage\n";

// Root's rights would make every test of permissions pass. Without capabilities, root is a user as
// any other.
strings without_rights()
{
    return geteuid() == 0 ? strings{"setpriv", "--bounding-set=-all", "--no-new-privs"} : strings{};
}

void expect_refusal(const program_result &result, const std::string &file)
{
    EXPECT_EQ(result.status, cli_failed) << story(result);
    const std::string told = result.out + result.err;
    EXPECT_TRUE(contains(told, file)) << file << story(result);
    for (const char *own_name : {"papermill-in", "papermill-out", "tmp1.eps", "result.pdf"})
        EXPECT_FALSE(contains(told, own_name)) << own_name << story(result);
}

class BadInput : public terminal_test, public testing::WithParamInterface<conversion> {
protected:
    void SetUp() override
    {
        if (how.is(by_pstopdf))
            user.set("APPLE_PDF_STR", "1");
        user.write("stays.txt", "nothing to do with it");
    }

    // The words of a call with this input and output.
    [[nodiscard]] strings words(const std::string &from, const std::string &to) const
    {
        return call_words(how, from, to);
    }

    // Converts `in` to `out`, whose older file is there; says what is then there.
    program_result convert(const strings &wrapper = {})
    {
        user.write(out, good_file);
        before = user.names();
        return user.papermill_under(wrapper, words(in, out));
    }

    // How the console names a file: as it is called where the tools work, which is most often its
    // whole path.
    [[nodiscard]] std::string told(const std::string &name) const
    {
        if (how.is(tells_names_only))
            return name.substr(name.rfind('/') + 1);
        return told_output(name);
    }

    // The output likewise.
    [[nodiscard]] std::string told_output(const std::string &name) const
    {
        return is_merge() ? name : user.path(name);
    }

    // Which file a failure is told of.
    [[nodiscard]] std::string subject(const std::string &output) const
    {
        return is_merge() ? output : user.path(in);
    }

    [[nodiscard]] bool is_merge() const
    {
        return !how.command.empty() && how.command[0] == "merge";
    }

    // One line tells which file it is and what is wrong with it.
    void expect_cause(const program_result &result, const std::string &name,
                      const std::string &cause) const
    {
        expect_refusal(result, name);
        const std::string line = told(name) + ": " + cause + "\n";
        EXPECT_EQ(count(result.out + result.err, line), 1U) << line << story(result);
    }

    // Some conversions delete an older output as soon as they have seen their input.
    void expect_older_output(bool seen = true)
    {
        strings after = user.names();
        if (how.is(deletes_older) && seen) {
            EXPECT_FALSE(user.has(out));
            after.push_back(out);
        } else {
            EXPECT_EQ(user.read(out), good_file);
        }
        std::sort(after.begin(), after.end());
        EXPECT_EQ(after, before);
        EXPECT_EQ(user.read("stays.txt"), "nothing to do with it");
    }

    // The conversion refuses these bytes for this reason, and leaves everything as it is.
    void expect_refused(const std::string &bytes, const std::string &cause)
    {
        user.write(in, bytes);
        const program_result result = convert();
        if (cause.empty())
            expect_refusal(result, told(in));
        else
            expect_cause(result, in, cause);
        EXPECT_EQ(user.read(in), bytes);
        expect_older_output();
    }

    const conversion how = GetParam();
    const std::string in = "my file" + ending_of(how.takes);
    const std::string out =
        how.takes_out ? std::string("out file") + how.ending : output_of(how, in);
    strings before;
};

TEST_P(BadInput, Missing)
{
    expect_cause(convert(), in, "File not found!");
    expect_older_output(false);
}

TEST_P(BadInput, InAMissingFolder)
{
    user.write(out, good_file);
    before = user.names();
    const std::string missing = "no folder/a" + ending_of(how.takes);
    const program_result result = user.papermill(words(missing, out));
    expect_refusal(result, told(missing) + ": File not found!");
    expect_older_output(false);
}

TEST_P(BadInput, Folder)
{
    fs::create_directory(user.path(in));
    user.write(in + "/within", "stays");
    expect_refusal(convert(), told(in));
    EXPECT_EQ(user.read(in + "/within"), "stays");
    expect_older_output(false);
}

TEST_P(BadInput, Queue)
{
    // Nobody will ever write into it.
    ASSERT_EQ(mkfifo(user.path(in).c_str(), 0600), 0);
    expect_refusal(convert(), told(in));
    expect_older_output(false);
}

TEST_P(BadInput, Device)
{
    // It never ends.
    fs::create_symlink("/dev/zero", user.path(in));
    expect_refusal(convert(), told(in));
    expect_older_output(false);
}

TEST_P(BadInput, Empty)
{
    // The box of an EPS file is looked for first.
    expect_refused("", how.is(deletes_older) ? "" : "the file is empty.");
}

TEST_P(BadInput, RandomBytes)
{
    expect_refused(random_bytes(20000), how.takes == document::pdf ? "this is no PDF file." : "");
}

TEST_P(BadInput, PlainText)
{
    expect_refused("Dear reader,\nthis is a letter.\n",
                   how.takes == document::pdf ? "this is no PDF file." : "");
}

TEST_P(BadInput, Picture)
{
    const program_result made = user.run({"convert", "-size", "9x9", "xc:red", "red.png"});
    ASSERT_EQ(made.status, 0) << story(made);
    expect_refused(user.read("red.png"), how.takes == document::pdf ? "this is no PDF file." : "");
}

TEST_P(BadInput, CutInHalf)
{
    const std::string whole = make_document(how.takes, page_width);
    if (how.takes == document::pdf)
        expect_refused(whole.substr(0, whole.size() / 2),
                       "the PDF file is damaged: its end is missing.");
    else
        expect_refused(whole.substr(0, whole.find("(papermill") + 4), "");
}

TEST_P(BadInput, Unreadable)
{
    user.write(in, make_document(how.takes, page_width));
    chmod(user.path(in).c_str(), 0);
    strings prove = without_rights();
    prove.insert(prove.end(), {"cat", in});
    ASSERT_NE(user.run(prove).status, 0) << "the test has rights that it should not have";
    const program_result result = convert(without_rights());
    expect_cause(result, in, "the file can't be read: Permission denied.");
    expect_older_output(false);
}

INSTANTIATE_TEST_SUITE_P(Conversions, BadInput, testing::ValuesIn(conversions), conversion_title);

class BadPostScript : public BadInput {
protected:
    const std::string broken = how.takes == document::eps ? broken_eps : broken_ps;
};

TEST_P(BadPostScript, Error)
{
    user.write(in, broken);
    const program_result result = convert();
    expect_cause(result, in, std::string("failed, ") + how.tool + " ended with status 1.");
    EXPECT_TRUE(contains(result.out, "nosuchoperator")) << story(result);
    expect_older_output();
}

TEST_P(BadPostScript, ErrorWithoutAnOlderOutput)
{
    user.write(in, broken);
    before = user.names();
    expect_refusal(user.papermill(words(in, out)), user.path(in));
    EXPECT_EQ(user.names(), before);
}

// Ghostscript would take it for what it is.
TEST_P(BadPostScript, IsAPdfFile)
{
    const std::string pdf = make_document(document::pdf, page_width);
    const std::string ending = how.ending;
    if (how.takes == document::eps || ending == ".eps") {
        const bool by_box = how.is(deletes_older); // which a PDF file has not
        expect_refused(pdf, by_box ? "" : "this is a PDF file, not PostScript.");
        return;
    }
    user.write(in, pdf);
    const program_result result = convert();
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(is_made_of(how, user.path(out), page_width));

    expect_refused(pdf.substr(0, pdf.size() / 2), "the PDF file is damaged: its end is missing.");
}

INSTANTIATE_TEST_SUITE_P(Conversions, BadPostScript,
                         testing::ValuesIn(conversions_that([](const conversion &each) {
                             return each.takes != document::pdf;
                         })),
                         conversion_title);

class BadPdf : public BadInput {
protected:
    // `in`, encrypted by these options of qpdf's.
    void encrypt(const strings &options)
    {
        user.write("plain.pdf", make_document(document::pdf, page_width));
        strings call = {"qpdf", "--allow-weak-crypto", "--encrypt"};
        call.insert(call.end(), options.begin(), options.end());
        call.insert(call.end(), {"--", "plain.pdf", in});
        const program_result made = user.run(call);
        ASSERT_EQ(made.status, 0) << story(made);
        fs::remove(user.path("plain.pdf"));
    }
};

TEST_P(BadPdf, Encrypted)
{
    const std::vector<strings> ways = {{"user", "owner", "40"},
                                       {"user", "owner", "128", "--use-aes=n"},
                                       {"user", "owner", "128", "--use-aes=y"},
                                       {"user", "owner", "256"}};
    for (const strings &options : ways) {
        SCOPED_TRACE(options[2] + options.back());
        encrypt(options);
        const std::string bytes = user.read(in);
        program_call call = user.call(words(in, out));
        call.input = "user\n"; // nobody asks for it
        user.write(out, good_file);
        before = user.names();
        expect_cause(run_program(call), in,
                     "the file is encrypted; it opens with its password only.");
        EXPECT_EQ(user.read(in), bytes);
        expect_older_output();
    }
}

TEST_P(BadPdf, ThatOnlyItsOwnerMayChangeOpens)
{
    encrypt({"", "owner", "128", "--use-aes=y"});
    const program_result result = convert();
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(is_made_of(how, user.path(out), page_width)) << story(result);
}

TEST_P(BadPdf, WithoutPages)
{
    expect_refused(pdf_file({}), "the PDF file has no pages.");
}

TEST_P(BadPdf, WhoseCatalogIsMissing)
{
    std::string bytes = make_document(document::pdf, page_width);
    bytes.replace(bytes.find("/Catalog /Pages"), 15, "/Nothing /Named");
    expect_refused(bytes, "");
}

TEST_P(BadPdf, WithAPageThatCannotBeRead)
{
    // What stands in the place of the second page is no page.
    std::string bytes = pdf_file({{50, 50, "0 0 9 9 re f"}, {50, 50, "0 0 9 9 re f"}});
    const std::size_t at = bytes.find("6 0 obj\n<<");
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, 10, "6 0 obj\n77");
    user.write(in, bytes);
    const program_result result = convert();
    // Whoever can mend it says so. A picture is of the first page, which is whole.
    if (result.status == cli_done) {
        const bool picture = std::string(how.ending) == ".pict";
        EXPECT_TRUE(contains(result.out, picture ? "page 1 of 2 is taken" : "may be missing"))
            << story(result);
    } else {
        expect_refusal(result, told(in));
        expect_older_output();
    }
}

INSTANTIATE_TEST_SUITE_P(Conversions, BadPdf,
                         testing::ValuesIn(conversions_that([](const conversion &each) {
                             return each.takes == document::pdf;
                         })),
                         conversion_title);

class BadFile : public terminal_test {};

TEST_F(BadFile, EpsWithoutABoundingBox)
{
    user.write("a b.eps", "%!PS-Adobe-3.0 EPSF-3.0\n0 0 9 9 rectfill\nshowpage\n");
    const program_result result = user.papermill({"a b.eps"});
    expect_refusal(result, "Bounding Box comment not found in " + user.path("a b.eps") + "!");
    EXPECT_EQ(user.names(), strings{"a b.eps"});
}

TEST_F(BadFile, EpsWhoseBoxStandsBeforeItsHeader)
{
    user.write("a b.eps", "%%BoundingBox: 0 0 50 50\n%!PS\n0 0 9 9 rectfill\nshowpage\n");
    const program_result result = user.papermill({"a b.eps"});
    expect_refusal(result, user.path("a b.eps"));
    EXPECT_EQ(user.names(), strings{"a b.eps"});
}

TEST_F(BadFile, EpsWhoseBoxIsEmpty)
{
    user.write("a b.eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 5 5 5 5\nshowpage\n");
    const program_result result = user.papermill({"a b.eps"});
    EXPECT_TRUE(result.status == cli_done || result.status == cli_failed) << story(result);
    EXPECT_EQ(user.has("a b.pdf"), result.status == cli_done) << story(result);
    EXPECT_TRUE(contains(result.out, user.path("a b.eps")));
}

// ---- resolutions and sizes of pictures ----

class BadResolution : public BadInput {
protected:
    const char *const setting =
        std::string(how.ending).find("tiff") != std::string::npos ? "TIFF_OPTION_STR" : "PICT_RES";
};

TEST_P(BadResolution, IsRefused)
{
    const std::string bytes = make_document(how.takes, page_width);
    const std::pair<const char *, const char *> values[] = {
        {"0", "0"},          {"-72", "-72"},    {"10001", "10001"}, {"999999999", "999999999"},
        {"99999999999", ""}, {"nonsense", "0"}, {"%d", "0"},        {"0.5", "0"}};
    for (const auto &[value, number] : values) {
        SCOPED_TRACE(value);
        ASSERT_EQ(user.papermill({"settings", "set", "--", setting, value}).status, cli_done);
        user.write(in, bytes);
        const program_result result = convert();
        expect_refusal(result, user.path(in) + ": not converted, " + number);
        EXPECT_TRUE(
            contains(result.out, "is no resolution; it goes from 1 to 10000 dots per inch."))
            << story(result);
        EXPECT_EQ(user.read(out), good_file);
        EXPECT_EQ(user.names(), before);
    }
}

TEST_P(BadResolution, OfAHugePageIsToldBeforeTheDiskIsFull)
{
    // 200 x 200 inches at 600 dots per inch: 14,400 million pixels.
    user.set(setting, "600");
    std::string document =
        "<< /PageSize [14400 14400] >> setpagedevice\n0 0 9 9 rectfill showpage\n";
    if (how.takes == document::eps)
        document = "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 14400 14400\n"
                   "0 0 9 9 rectfill showpage\n";
    else if (how.takes == document::pdf)
        document = pdf_file({{14400, 14400, "0 0 9 9 re f"}});
    else
        document.insert(0, "%!PS\n");
    user.write(in, document);
    user.write(out, good_file);
    before = user.names();
    // What is written on the way is held up, too.
    const program_result result =
        user.papermill_under({"prlimit", "--fsize=500000000"}, words(in, out));
    if (how.takes == document::eps)
        expect_cause(result, in,
                     "a picture of 14400 x 14400 points at 600 dots per inch can't be made; 16000 "
                     "pixels a side and 128 million in all are the most.");
    else
        expect_cause(result, in, "a page is too large for a picture at this resolution.");
    EXPECT_EQ(user.read(in), document);
    expect_older_output();
}

INSTANTIATE_TEST_SUITE_P(Conversions, BadResolution,
                         testing::ValuesIn(conversions_that([](const conversion &each) {
                             const std::string ending = each.ending;
                             return contains(ending, "tiff") || contains(ending, "pict");
                         })),
                         conversion_title);

// ---- tools that fail ----

class FailingTool : public BadInput {
protected:
    // The conversion's tool is a program that does this; the console names the end.
    void expect_told(const std::string &does, const std::string &end)
    {
        const fs::path tools = user.elsewhere("tools");
        fs::create_directory(tools);
        for (const char *name : {"gs", "pdftops"}) {
            write_file(tools / name, "#!/bin/sh\n" + does + "\n");
            fs::permissions(tools / name, fs::perms::owner_all);
        }
        user.environment["PATH"] = tools.string() + ":" + std::getenv("PATH");
        user.write(in, make_document(how.takes, page_width));
        const program_result result = convert();
        EXPECT_EQ(result.status, cli_failed) << story(result);
        EXPECT_EQ(count(result.out, subject(out) + ": failed, " + how.tool + " " + end + "\n"), 1U)
            << story(result);
        EXPECT_EQ(count(result.out, ": failed, "), 1U) << story(result);
        expect_older_output();
    }
};

TEST_P(FailingTool, StatusIsTold)
{
    expect_told("echo a word from the tool; exit 7", "ended with status 7.");
}

TEST_P(FailingTool, SignalIsTold)
{
    expect_told("kill -KILL $$", "was ended by signal 9.");
}

TEST_P(FailingTool, SuccessWithoutAResultIsTold)
{
    expect_told("exit 0", "ended without an error but left no usable result.");
}

TEST_P(FailingTool, SuccessWithAnEmptyResultIsTold)
{
    expect_told(
        "for name in ps eps pdf txt text.pdf dsc bbox pnm; do : > papermill-out/result.$name; "
        "done; : > papermill-out/result-1.tiff",
        "ended without an error but left no usable result.");
}

INSTANTIATE_TEST_SUITE_P(Conversions, FailingTool,
                         testing::ValuesIn(conversions_that([](const conversion &each) {
                             return !each.is(by_pstopdf);
                         })),
                         conversion_title);

// ---- the destination ----

class BadOutput : public BadInput {
protected:
    void SetUp() override
    {
        BadInput::SetUp();
        user.write(in, make_document(how.takes, page_width));
    }

    // Converts `in` to an output that cannot be.
    void expect_refused_output(const std::string &output)
    {
        before = user.names();
        expect_refusal(user.papermill(words(in, output)), told_output(output));
        EXPECT_EQ(user.names(), before);
    }

    const std::string name = std::string("a") + how.ending;
};

TEST_P(BadOutput, MissingFolder)
{
    expect_refused_output("no folder/" + name);
}

TEST_P(BadOutput, FolderInItsPlace)
{
    fs::create_directory(user.path("folder"));
    expect_refused_output("folder");
    EXPECT_TRUE(fs::is_directory(user.path("folder")));
}

TEST_P(BadOutput, FileAsItsFolder)
{
    expect_refused_output("stays.txt/" + name);
}

TEST_P(BadOutput, ReadOnlyFolder)
{
    fs::create_directory(user.path("locked"));
    user.write("locked/" + name, good_file);
    chmod(user.path("locked").c_str(), 0555);
    strings prove = without_rights();
    prove.insert(prove.end(), {"touch", "locked/b"});
    ASSERT_NE(user.run(prove).status, 0) << "the test has rights that it should not have";

    for (const std::string &output : {"locked/" + name, "locked/b" + name}) {
        const program_result result = user.papermill_under(without_rights(), words(in, output));
        expect_refusal(result, told_output(output));
    }
    EXPECT_EQ(user.read("locked/" + name), good_file);
    EXPECT_EQ(names_in(user.path("locked")), strings{name});
    chmod(user.path("locked").c_str(), 0755);
}

TEST_P(BadOutput, ReadOnlyFile)
{
    user.write(name, good_file);
    chmod(user.path(name).c_str(), 0444);
    const program_result result = user.papermill_under(without_rights(), words(in, name));
    if (how.is(deletes_older)) { // for which the folder's permissions count
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_TRUE(is_made_of(how, user.path(name), page_width));
    } else {
        expect_refusal(result, told_output(name));
        EXPECT_EQ(user.read(name), good_file);
    }
}

TEST_P(BadOutput, IsTheInput)
{
    const std::string content = user.read(in);
    fs::create_symlink(in, user.path("link"));
    fs::create_hard_link(user.path(in), user.path("hard link"));
    fs::create_directory_symlink(".", user.path("here"));
    before = user.names();
    for (const std::string &same : {in, std::string("link"), std::string("hard link"), "here/" + in,
                                    "./" + in, user.path(in)}) {
        const program_result result = user.papermill(words(in, same));
        if (how.is(goes_onto_itself)) {
            EXPECT_EQ(result.status, cli_done) << story(result);
            EXPECT_TRUE(is_made_of(how, user.path(in), page_width)) << same;
        } else {
            expect_cause(result, in, "the output would replace the input. Choose another name.");
            EXPECT_EQ(user.read(in), content) << same;
        }
    }
    EXPECT_EQ(user.names(), before);
}

TEST_P(BadOutput, LinkIsWrittenThrough)
{
    fs::create_directory(user.path("folder"));
    fs::create_symlink("folder/real" + name, user.path(name));
    for (int time = 0; time < 2; ++time) { // to nothing yet, then to a file
        const program_result result = user.papermill(words(in, name));
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_TRUE(fs::is_symlink(user.path(name)));
        EXPECT_EQ(names_in(user.path("folder")), strings{"real" + name});
        EXPECT_TRUE(is_made_of(how, user.path("folder/real" + name), page_width));
    }
}

TEST_P(BadOutput, DeviceIsWrittenThrough)
{
    struct stat before_it = {};
    struct stat after_it = {};
    ASSERT_EQ(stat("/dev/null", &before_it), 0);
    const program_result null = user.papermill(words(in, "/dev/null"));
    EXPECT_EQ(null.status, cli_done) << story(null);
    ASSERT_EQ(stat("/dev/null", &after_it), 0);
    EXPECT_EQ(after_it.st_ino, before_it.st_ino);

    expect_refusal(user.papermill(words(in, "/dev/full")), "/dev/full");
}

TEST_P(BadOutput, ThatIsReplacedKeepsItsPermissions)
{
    user.write(name, good_file);
    chmod(user.path(name).c_str(), 0640);
    const program_result result = user.papermill(words(in, name));
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_TRUE(is_made_of(how, user.path(name), page_width));
    struct stat status = {};
    ASSERT_EQ(stat(user.path(name).c_str(), &status), 0);
    if (!how.is(deletes_older)) {
        EXPECT_EQ(status.st_mode & 07777, 0640U);
    }
}

INSTANTIATE_TEST_SUITE_P(Conversions, BadOutput, testing::ValuesIn(conversions_that(takes_out)),
                         conversion_title);

// Where the output is named after the input and lies beside it.
class BadNeighbour : public BadOutput {};

TEST_P(BadNeighbour, FolderInItsPlace)
{
    fs::create_directory(user.path(out));
    before = user.names();
    expect_refusal(user.papermill(words(in, "")), user.path(out));
    EXPECT_EQ(user.names(), before);
    EXPECT_EQ(names_in(user.path(out)), strings());
}

TEST_P(BadNeighbour, ReadOnlyFolder)
{
    user.write(out, good_file);
    before = user.names();
    chmod(user.work.c_str(), 0555);
    expect_refusal(user.papermill_under(without_rights(), words(in, "")), user.path(""));
    chmod(user.work.c_str(), 0755);
    EXPECT_EQ(user.read(out), good_file);
    EXPECT_EQ(user.names(), before);
}

TEST_P(BadNeighbour, LinkIsWrittenThrough)
{
    fs::create_directory(user.path("folder"));
    fs::create_symlink("folder/real", user.path(out));
    for (int time = 0; time < 2; ++time) { // to nothing yet, then to a file
        const program_result result = user.papermill(words(in, ""));
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_TRUE(fs::is_symlink(user.path(out)));
        EXPECT_EQ(names_in(user.path("folder")), strings{"real"});
        EXPECT_TRUE(is_made_of(how, user.path("folder/real"), page_width));
    }
}

TEST_P(BadNeighbour, QueueIsNotReplaced)
{
    ASSERT_EQ(mkfifo(user.path(out).c_str(), 0600), 0);
    const std::string pipe = user.path(out);
    program_call reader = user.call({});
    reader.arguments = {"cat", pipe};
    running_program reading(reader);
    const program_result result = user.papermill(words(in, ""));
    struct stat status = {};
    ASSERT_EQ(stat(pipe.c_str(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
    if (result.status == cli_done) {
        EXPECT_NE(reading.finish().out, "");
    } else {
        expect_refusal(result, user.path(out));
        user.write(out, ""); // ends the reader
        reading.finish();
    }
}

TEST_P(BadNeighbour, LinkToTheInput)
{
    const std::string content = user.read(in);
    fs::create_symlink(in, user.path(out));
    before = user.names();
    const program_result result = user.papermill(words(in, ""));
    expect_cause(result, in, "the output would replace the input. Choose another name.");
    EXPECT_EQ(user.read(in), content);
    EXPECT_EQ(user.names(), before);
}

INSTANTIATE_TEST_SUITE_P(Conversions, BadNeighbour,
                         testing::ValuesIn(conversions_that(names_its_output)), conversion_title);

TEST_F(BadFile, EpsOfAPageMayReplaceThePage)
{
    user.write("page.eps", drawing_eps(60, 50));
    const program_result result = user.papermill({"ps2eps", "page.eps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(user.names(), strings{"page.eps"});
    EXPECT_TRUE(contains(user.read("page.eps"), "\ncountdictstack\nmark\nnewpath\n"));
    EXPECT_TRUE(contains(user.read("page.eps"), "(papermill) show"));
}

TEST_F(BadFile, PdfThatIsOpenedIsNotReplacedByItself)
{
    user.write("doc.ps", drawing_ps(50, 50));
    ASSERT_EQ(user.papermill({"doc.ps"}).status, cli_done);
    const std::string content = user.read("doc.pdf");
    expect_refusal(user.papermill({"doc.pdf"}), user.path("doc.pdf"));
    EXPECT_EQ(user.read("doc.pdf"), content);
    EXPECT_EQ(user.names(), (strings{"doc.pdf", "doc.ps"}));
}

// ---- no room ----

// Runs papermill WORDS with a tiny disk at `disk`, on which an older "out.pdf" fills all there is.
// The status is 99 when there may be no disk; what stands on it in the end goes to `found`.
program_result with_full_disk(const terminal_user &user, const std::string &disk,
                              const strings &words, std::string *found)
{
    const char *script = "disk=$1 found=$2; shift 2\n"
                         "mount -t tmpfs -o size=4k none \"$disk\" 2> /dev/null || exit 99\n"
                         "head -c 4096 /dev/zero > \"$disk/out.pdf\"\n"
                         "\"$@\"\n"
                         "status=$?\n"
                         "ls -AR \"$disk\" > \"$found\"\n"
                         "cmp -n 4096 \"$disk/out.pdf\" /dev/zero >> \"$found\" 2>&1\n"
                         "exit $status\n";
    const std::string report = user.elsewhere("report");
    program_result result =
        user.papermill_under({"unshare", "-m", "sh", "-c", script, "sh", disk, report}, words);
    if (contains(result.err, "unshare:"))
        result.status = 99;
    *found = read_file(report);
    return result;
}

class FullDisk : public BadOutput {
protected:
    // An index is made in the temporary folder, where there is room, and then put in its place.
    [[nodiscard]] std::string told_full_disk(const std::string &output) const
    {
        return how.is(tells_names_only) ? user.path(output) : subject(output);
    }

    // A document whose result is larger than any of the disks here.
    void write_large_input()
    {
        std::string document = big_ps(2);
        if (how.takes == document::eps)
            document.insert(0, "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 600 800\n");
        if (how.takes == document::pdf) {
            std::string content = "BT /F 8 Tf 20 800 Td 9 TL\n";
            unsigned seed = 1;
            for (int line = 0; line < 300; ++line) {
                content += "(";
                for (int digit = 0; digit < 100; ++digit) {
                    seed = seed * 1103515245 + 12345;
                    content += static_cast<char>('0' + (seed >> 16) % 10);
                }
                content += ") '\n";
            }
            document = pdf_file({{600, 800, content + "ET"}});
        }
        user.write(in, document);
    }
};

TEST_P(FullDisk, AtTheDestination)
{
    fs::create_directory(user.path("disk"));
    std::string found;
    // Under another name, or a conversion that deletes an older file would make room.
    const program_result result =
        with_full_disk(user, user.path("disk"), words(in, "disk/new"), &found);
    if (result.status == 99)
        GTEST_SKIP() << "no disk may be mounted here";
    expect_refusal(result, told_full_disk("disk/new"));
    EXPECT_TRUE(contains(result.out, "No space left on device")) << story(result);
    EXPECT_EQ(found, user.path("disk") + ":\nout.pdf\n");
}

TEST_P(FullDisk, OverAnOlderFile)
{
    fs::create_directory(user.path("disk"));
    write_large_input(); // more than the older file gives free
    std::string found;
    const program_result result =
        with_full_disk(user, user.path("disk"), words(in, "disk/out.pdf"), &found);
    if (result.status == 99)
        GTEST_SKIP() << "no disk may be mounted here";
    expect_refusal(result, told_full_disk("disk/out.pdf"));
    if (!how.is(deletes_older)) {
        EXPECT_EQ(found, user.path("disk") + ":\nout.pdf\n");
    }
}

TEST_P(FullDisk, OfTheTemporaryFolder)
{
    std::string found;
    const program_result result = with_full_disk(user, user.tmp, words(in, "new"), &found);
    if (result.status == 99)
        GTEST_SKIP() << "no disk may be mounted here";
    expect_refusal(result, subject("new"));
    EXPECT_TRUE(contains(result.out, "No space left on device")) << story(result);
    // Neither pdftops nor a small picture needs temporary files. What is made is whole.
    if (user.has("new")) {
        EXPECT_TRUE(std::string(how.tool) == "pdftops" || std::string(how.title) == "Pdf2pict");
        EXPECT_TRUE(is_made_of(how, user.path("new"), page_width));
    }
    EXPECT_EQ(found, user.tmp + ":\nout.pdf\n");
}

TEST_P(FullDisk, AsALimitOfFileSizes)
{
    write_large_input();
    user.papermill({"settings", "list"}); // the preferences file is there
    before = user.names();
    const program_result result =
        user.papermill_under({"prlimit", "--fsize=4096"}, words(in, "new"));
    expect_refusal(result, subject("new"));
    EXPECT_EQ(user.names(), before);
}

INSTANTIATE_TEST_SUITE_P(Conversions, FullDisk, testing::ValuesIn(conversions_that(takes_out)),
                         conversion_title);

// ---- missing tools ----

// A folder for PATH in which every command of the system is, but one.
std::string tools_without(const terminal_user &user, const std::string &missing)
{
    const fs::path folder = user.elsewhere("tools");
    fs::create_directory(folder);
    std::error_code ignored;
    for (const char *place : {"/bin", "/usr/bin"}) {
        for (const auto &entry : fs::directory_iterator(place)) {
            if (entry.path().filename() != missing)
                fs::create_symlink(entry.path(), folder / entry.path().filename(), ignored);
        }
    }
    return folder;
}

class MissingTool : public BadOutput {
protected:
    void expect_missing(const char *tool, const char *package)
    {
        for (const char *folder : {"/usr/local/bin/", "/usr/texbin/", "/sw/bin/"}) {
            if (access((std::string(folder) + tool).c_str(), F_OK) == 0)
                GTEST_SKIP() << "there is a " << folder << tool;
        }
        user.environment["PATH"] = tools_without(user, tool);
        const program_result result = convert();
        expect_refusal(result, subject(out));
        EXPECT_TRUE(contains(
            result.out, std::string(tool) + " was not found. Install the package " + package + "."))
            << story(result);
        expect_older_output();
    }
};

TEST_P(MissingTool, IsNamedWithItsPackage)
{
    if (std::string(how.tool) == "pdftops")
        expect_missing("pdftops", "poppler-utils");
    else
        expect_missing("gs", "ghostscript");
}

INSTANTIATE_TEST_SUITE_P(Conversions, MissingTool, testing::ValuesIn(conversions),
                         conversion_title);

// Runs papermill WORDS where /bin and /usr/bin have no tcsh. Status 99: that cannot be had.
program_result without_tcsh(const terminal_user &user, const strings &words)
{
    const std::string real = user.elsewhere("real");
    fs::create_directory(real);
    const char *script = "real=$1; shift\n"
                         "mount --bind /usr/bin \"$real\" 2> /dev/null &&\n"
                         "mount -t tmpfs none /usr/bin || exit 99\n"
                         "\"$real/ln\" -s \"$real\"/* /usr/bin\n"
                         "\"$real/rm\" -f /usr/bin/tcsh /usr/bin/csh\n"
                         "[ ! -e /bin/tcsh ] || exit 99\n"
                         "exec \"$@\"\n";
    program_result result =
        user.papermill_under({"unshare", "-m", "sh", "-c", script, "sh", real}, words);
    if (contains(result.err, "unshare:"))
        result.status = 99;
    return result;
}

TEST_P(BadOutput, WithoutTcsh)
{
    const program_result result = without_tcsh(user, words(in, "new.pdf"));
    if (result.status == 99)
        GTEST_SKIP() << "tcsh cannot be hidden here";
    expect_refusal(result, subject("new.pdf"));
    EXPECT_TRUE(contains(result.out, "tcsh was not found. Install the package tcsh."))
        << story(result);
    EXPECT_FALSE(user.has("new.pdf"));
}

TEST_F(BadFile, CommandWithoutTcsh)
{
    const program_result result = without_tcsh(user, {"exec", "echo", "hello"});
    if (result.status == 99)
        GTEST_SKIP() << "tcsh cannot be hidden here";
    EXPECT_EQ(result.status, cli_failed) << story(result);
    EXPECT_TRUE(contains(result.out, "tcsh was not found. Install the package tcsh."));
}

// ---- long paths ----

// A folder whose path, with "/" and a name of `name_length` bytes behind it, has `length` bytes.
std::string deep_folder(const terminal_user &user, std::size_t length, std::size_t name_length)
{
    std::string folder = user.work;
    while (folder.size() + 1 + name_length < length) {
        const std::size_t missing = length - folder.size() - 1 - name_length;
        const std::size_t part = missing > 202 ? 200 : missing - 1;
        folder += "/" + std::string(part, 'd');
    }
    fs::create_directories(folder);
    return folder;
}

class LongPath : public terminal_test,
                 public testing::WithParamInterface<std::tuple<std::size_t, const char *>> {
protected:
    const std::size_t length = std::get<0>(GetParam());
    const std::string extension = std::get<1>(GetParam());
    const std::string document = extension == ".ps" ? drawing_ps(50, 50) : drawing_eps(50, 50);
    static constexpr std::size_t longest = 1023; // bytes, without the NUL
};

TEST_P(LongPath, OfTheInput)
{
    const std::string folder = deep_folder(user, length, 20);
    const std::string in = folder + "/" + std::string(20 - extension.size(), 'f') + extension;
    ASSERT_EQ(in.size(), length);
    fs::current_path(folder); // a path of 4000 bytes is too long for what follows
    write_file(fs::path(in).filename(), document);

    const program_result result = user.papermill({"ps2pdf", in, "out.pdf"});
    if (length > longest) {
        expect_refusal(result, in + ": the path is too long.");
        EXPECT_FALSE(user.has("out.pdf"));
    } else {
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(pdf_page_size(user.path("out.pdf")), "50 x 50");
    }
}

TEST_P(LongPath, OfTheOutput)
{
    const std::string folder = deep_folder(user, length, 20);
    const std::string out = folder + "/" + std::string(16, 'f') + ".pdf";
    ASSERT_EQ(out.size(), length);
    const std::string in = user.write("in" + extension, document);
    const program_result result = user.papermill({"ps2pdf", in, out});
    if (length > longest) {
        expect_refusal(result, out + ": the path is too long.");
        EXPECT_EQ(names_in(folder), strings());
    } else {
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(pdf_page_size(out), "50 x 50");
        EXPECT_EQ(names_in(folder).size(), 1U);
    }
}

TEST_P(LongPath, OfTheDerivedOutput)
{
    const std::string folder = deep_folder(user, length, 20);
    const std::string in = folder + "/" + std::string(20 - extension.size(), 'f') + extension;
    fs::current_path(folder);
    write_file(fs::path(in).filename(), document);
    const std::size_t derived = length - extension.size() + 4;

    const program_result result = user.papermill({in});
    if (derived > longest) {
        expect_refusal(result, in + ": the path is too long.");
        EXPECT_EQ(names_in(".").size(), 1U);
    } else {
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(names_in(".").size(), 2U);
    }
}

std::string length_title(const testing::TestParamInfo<LongPath::ParamType> &info)
{
    const auto &[length, extension] = info.param;
    return std::to_string(length) + (std::string(extension) == ".ps" ? "Ps" : "Eps");
}

INSTANTIATE_TEST_SUITE_P(Lengths, LongPath,
                         testing::Combine(testing::Values(1022, 1023, 1024, 1100, 4000),
                                          testing::Values(".ps", ".eps")),
                         length_title);

TEST_F(BadFile, TemporaryFolderThatIsTooLongIsNotTaken)
{
    const std::string folder = deep_folder(user, 1100, 20);
    user.write("in.eps", drawing_eps(50, 50));
    user.environment["TMPDIR"] = folder;
    user.set("DEBUG1", "1"); // names the temporary file
    const program_result result = user.papermill({"in.eps"});
    EXPECT_EQ(result.status, cli_done) << story(result);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "50 x 50");
    EXPECT_TRUE(
        contains(result.out, "Deleting temporary file /tmp/papermill-" + std::to_string(getuid())))
        << story(result);
    EXPECT_EQ(names_in(folder), strings());
}

TEST_F(BadFile, MissingTemporaryFolderIsReplaced)
{
    user.write("in.eps", drawing_eps(50, 50));
    user.environment["TMPDIR"] = user.elsewhere("nowhere");
    EXPECT_EQ(user.papermill({"in.eps"}).status, cli_done);
    EXPECT_EQ(pdf_page_size(user.path("in.pdf")), "50 x 50");
}

} // namespace
