// What cannot be converted: told clearly, with the file's own name, and nothing is left over.

#include "cli/exit_statuses.h"
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

// How a file gets to the program, and by which converter it goes.
struct route {
    const char *title;
    const char *extension;
    bool names_output;
    bool pstopdf;
};

void PrintTo(const route &each, std::ostream *stream)
{
    *stream << each.title;
}

const route routes[] = {
    {"PsOpened", ".ps", false, false},   {"PsTo", ".ps", true, false},
    {"EpsOpened", ".eps", false, false}, {"EpsTo", ".eps", true, false},
    {"PsByPstopdf", ".ps", true, true},  {"EpsByPstopdf", ".eps", true, true},
};

class BadInput : public terminal_test, public testing::WithParamInterface<route> {
protected:
    void SetUp() override
    {
        if (how.pstopdf)
            user.set("APPLE_PDF_STR", "1");
        unreachable = user.write("stays.txt", "nothing to do with it");
    }

    [[nodiscard]] bool is_eps() const
    {
        return std::string(how.extension) == ".eps";
    }

    [[nodiscard]] strings words() const
    {
        return how.names_output ? strings{"ps2pdf", in, out} : strings{in};
    }

    // Converts `in` to out.pdf, whose older file is there; says what is then there.
    program_result convert(const strings &wrapper = {})
    {
        user.write(out, good_file);
        before = user.names();
        return user.papermill_under(wrapper, words());
    }

    // The EPS routes delete an older output as soon as they have seen their input.
    void expect_older_output(bool deleted_by_eps = true)
    {
        if (is_eps() && deleted_by_eps) {
            EXPECT_FALSE(user.has(out));
        } else {
            EXPECT_EQ(user.read(out), good_file);
        }
        strings after = user.names();
        if (is_eps() && deleted_by_eps)
            after.push_back(out);
        std::sort(after.begin(), after.end());
        EXPECT_EQ(after, before);
    }

    const route how = GetParam();
    const std::string in = std::string("my file") + how.extension;
    const std::string out = how.names_output ? "out file.pdf" : "my file.pdf";
    std::string unreachable;
    strings before;
};

TEST_P(BadInput, Missing)
{
    const program_result result = convert();
    expect_refusal(result, user.path(in) + ": File not found!");
    expect_older_output(false);
}

TEST_P(BadInput, InAMissingFolder)
{
    user.write(out, good_file);
    before = user.names();
    const program_result result =
        user.papermill({"ps2pdf", "no folder/a" + std::string(how.extension), out});
    expect_refusal(result, user.path("no folder/a") + how.extension + ": File not found!");
    expect_older_output(false);
}

TEST_P(BadInput, Folder)
{
    fs::create_directory(user.path(in));
    expect_refusal(convert(), user.path(in));
    expect_older_output(false);
}

TEST_P(BadInput, Queue)
{
    // Nobody will ever write into it.
    ASSERT_EQ(mkfifo(user.path(in).c_str(), 0600), 0);
    expect_refusal(convert(), user.path(in));
    expect_older_output(false);
}

TEST_P(BadInput, Empty)
{
    user.write(in, "");
    expect_refusal(convert(), user.path(in));
    expect_older_output();
}

TEST_P(BadInput, RandomBytes)
{
    user.write(in, random_bytes(20000));
    expect_refusal(convert(), user.path(in));
    expect_older_output();
}

TEST_P(BadInput, PostScriptError)
{
    user.write(in, is_eps() ? broken_eps : broken_ps);
    const program_result result = convert();
    expect_refusal(result, user.path(in) + ": failed, " + (how.pstopdf ? "pstopdf" : "gs") +
                               " ended with status 1.");
    EXPECT_TRUE(contains(result.out, "nosuchoperator")) << story(result);
    expect_older_output();
}

TEST_P(BadInput, PostScriptErrorWithoutAnOlderOutput)
{
    user.write(in, is_eps() ? broken_eps : broken_ps);
    before = user.names();
    expect_refusal(user.papermill(words()), user.path(in));
    EXPECT_EQ(user.names(), before);
}

TEST_P(BadInput, Unreadable)
{
    user.write(in, is_eps() ? drawing_eps(50, 50) : drawing_ps(50, 50));
    chmod(user.path(in).c_str(), 0);
    strings prove = without_rights();
    prove.insert(prove.end(), {"cat", in});
    ASSERT_NE(user.run(prove).status, 0) << "the test has rights that it should not have";
    const program_result result = convert(without_rights());
    expect_refusal(result, user.path(in));
    EXPECT_TRUE(contains(result.out, "the file can't be read: Permission denied."))
        << story(result);
    expect_older_output(false);
}

std::string route_title(const testing::TestParamInfo<route> &info)
{
    return info.param.title;
}

INSTANTIATE_TEST_SUITE_P(Routes, BadInput, testing::ValuesIn(routes), route_title);

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

// ---- the destination ----

class BadOutput : public BadInput {
protected:
    void SetUp() override
    {
        BadInput::SetUp();
        user.write(in, is_eps() ? drawing_eps(50, 50) : drawing_ps(50, 50));
    }
};

TEST_P(BadOutput, MissingFolder)
{
    before = user.names();
    const program_result result = user.papermill({"ps2pdf", in, "no folder/a.pdf"});
    expect_refusal(result, user.path("no folder/a.pdf"));
    EXPECT_EQ(user.names(), before);
}

TEST_P(BadOutput, FolderInItsPlace)
{
    fs::create_directory(user.path("folder"));
    before = user.names();
    const program_result result = user.papermill({"ps2pdf", in, "folder"});
    expect_refusal(result, user.path("folder"));
    EXPECT_EQ(user.names(), before);
    EXPECT_TRUE(fs::is_directory(user.path("folder")));
}

TEST_P(BadOutput, FileAsItsFolder)
{
    before = user.names();
    const program_result result = user.papermill({"ps2pdf", in, "stays.txt/a.pdf"});
    expect_refusal(result, user.path("stays.txt/a.pdf"));
    EXPECT_EQ(user.names(), before);
}

TEST_P(BadOutput, ReadOnlyFolder)
{
    fs::create_directory(user.path("locked"));
    user.write("locked/a.pdf", good_file);
    chmod(user.path("locked").c_str(), 0555);
    strings prove = without_rights();
    prove.insert(prove.end(), {"touch", "locked/b"});
    ASSERT_NE(user.run(prove).status, 0) << "the test has rights that it should not have";

    for (const char *name : {"locked/a.pdf", "locked/b.pdf"}) {
        const program_result result = user.papermill_under(without_rights(), {"ps2pdf", in, name});
        expect_refusal(result, user.path(name));
    }
    EXPECT_EQ(user.read("locked/a.pdf"), good_file);
    EXPECT_EQ(names_in(user.path("locked")), strings{"a.pdf"});
    chmod(user.path("locked").c_str(), 0755);
}

TEST_P(BadOutput, ReadOnlyFile)
{
    user.write("a.pdf", good_file);
    chmod(user.path("a.pdf").c_str(), 0444);
    const program_result result = user.papermill_under(without_rights(), {"ps2pdf", in, "a.pdf"});
    if (is_eps()) { // deletes it first, for which the folder's permissions count
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "50 x 50");
    } else {
        expect_refusal(result, user.path("a.pdf"));
        EXPECT_EQ(user.read("a.pdf"), good_file);
    }
}

TEST_P(BadOutput, IsTheInput)
{
    const std::string content = user.read(in);
    fs::create_symlink(in, user.path("link.pdf"));
    fs::create_hard_link(user.path(in), user.path("hard link.pdf"));
    fs::create_directory_symlink(".", user.path("here"));
    before = user.names();
    for (const std::string &same : {in, std::string("link.pdf"), std::string("hard link.pdf"),
                                    "here/" + in, "./" + in, user.path(in)}) {
        const program_result result = user.papermill({"ps2pdf", in, same});
        expect_refusal(result, user.path(in));
        EXPECT_EQ(user.read(in), content) << same;
    }
    EXPECT_EQ(user.names(), before);
}

TEST_P(BadOutput, LinkIsWrittenThrough)
{
    fs::create_directory(user.path("folder"));
    fs::create_symlink("folder/real.pdf", user.path("link.pdf"));
    for (int time = 0; time < 2; ++time) { // to nothing yet, then to a file
        const program_result result = user.papermill({"ps2pdf", in, "link.pdf"});
        EXPECT_EQ(result.status, cli_done) << story(result);
        EXPECT_TRUE(fs::is_symlink(user.path("link.pdf")));
        EXPECT_EQ(names_in(user.path("folder")), strings{"real.pdf"});
        EXPECT_EQ(pdf_page_size(user.path("folder/real.pdf")), "50 x 50");
    }
}

TEST_P(BadOutput, DeviceIsWrittenThrough)
{
    struct stat before_it = {};
    struct stat after_it = {};
    ASSERT_EQ(stat("/dev/null", &before_it), 0);
    const program_result null = user.papermill({"ps2pdf", in, "/dev/null"});
    EXPECT_EQ(null.status, cli_done) << story(null);
    ASSERT_EQ(stat("/dev/null", &after_it), 0);
    EXPECT_EQ(after_it.st_ino, before_it.st_ino);

    expect_refusal(user.papermill({"ps2pdf", in, "/dev/full"}), "/dev/full");
}

INSTANTIATE_TEST_SUITE_P(Routes, BadOutput, testing::ValuesIn(routes), route_title);

TEST_F(BadFile, PdfThatIsOpenedIsNotReplacedByItself)
{
    user.write("doc.ps", drawing_ps(50, 50));
    ASSERT_EQ(user.papermill({"doc.ps"}).status, cli_done);
    const std::string content = user.read("doc.pdf");
    expect_refusal(user.papermill({"doc.pdf"}), user.path("doc.pdf"));
    EXPECT_EQ(user.read("doc.pdf"), content);
    EXPECT_EQ(user.names(), (strings{"doc.pdf", "doc.ps"}));
}

TEST_F(BadFile, ThatIsReplacedKeepsItsPermissions)
{
    user.write("in.ps", drawing_ps(50, 50));
    user.write("a.pdf", good_file);
    chmod(user.path("a.pdf").c_str(), 0640);
    EXPECT_EQ(user.papermill({"ps2pdf", "in.ps", "a.pdf"}).status, cli_done);
    struct stat status = {};
    ASSERT_EQ(stat(user.path("a.pdf").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(pdf_page_size(user.path("a.pdf")), "50 x 50");
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

class FullDisk : public BadOutput {};

TEST_P(FullDisk, AtTheDestination)
{
    fs::create_directory(user.path("disk"));
    std::string found;
    // Under another name, or the EPS routes would make room.
    const program_result result =
        with_full_disk(user, user.path("disk"), {"ps2pdf", in, "disk/new.pdf"}, &found);
    if (result.status == 99)
        GTEST_SKIP() << "no disk may be mounted here";
    expect_refusal(result, user.path(in));
    EXPECT_TRUE(contains(result.out, "No space left on device")) << story(result);
    EXPECT_EQ(found, user.path("disk") + ":\nout.pdf\n");
}

TEST_P(FullDisk, OverAnOlderFile)
{
    fs::create_directory(user.path("disk"));
    user.write(in, big_ps(2)); // more than the older file gives free
    if (is_eps())
        user.write(in, "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 600 800\n" + big_ps(2));
    std::string found;
    const program_result result =
        with_full_disk(user, user.path("disk"), {"ps2pdf", in, "disk/out.pdf"}, &found);
    if (result.status == 99)
        GTEST_SKIP() << "no disk may be mounted here";
    expect_refusal(result, user.path(in));
    if (!is_eps()) {
        EXPECT_EQ(found, user.path("disk") + ":\nout.pdf\n");
    }
}

TEST_P(FullDisk, OfTheTemporaryFolder)
{
    std::string found;
    const program_result result = with_full_disk(user, user.tmp, {"ps2pdf", in, "new.pdf"}, &found);
    if (result.status == 99)
        GTEST_SKIP() << "no disk may be mounted here";
    expect_refusal(result, user.path(in));
    EXPECT_TRUE(contains(result.out, "No space left on device")) << story(result);
    EXPECT_FALSE(user.has("new.pdf"));
    EXPECT_EQ(found, user.tmp + ":\nout.pdf\n");
}

TEST_P(FullDisk, AsALimitOfFileSizes)
{
    std::string document = big_ps(2);
    if (is_eps())
        document.insert(0, "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 600 800\n");
    user.write(in, document);
    user.papermill({"settings", "list"}); // the preferences file is there
    before = user.names();
    const program_result result =
        user.papermill_under({"prlimit", "--fsize=4096"}, {"ps2pdf", in, "new.pdf"});
    expect_refusal(result, user.path(in));
    EXPECT_EQ(user.names(), before);
}

INSTANTIATE_TEST_SUITE_P(Routes, FullDisk, testing::ValuesIn(routes), route_title);

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

class MissingGhostscript : public BadOutput {};

TEST_P(MissingGhostscript, IsNamedWithItsPackage)
{
    for (const char *place : {"/usr/local/bin/gs", "/usr/texbin/gs", "/sw/bin/gs"}) {
        if (access(place, F_OK) == 0)
            GTEST_SKIP() << "there is a " << place;
    }
    user.environment["PATH"] = tools_without(user, "gs");
    const program_result result = convert();
    expect_refusal(result, user.path(in));
    EXPECT_TRUE(contains(result.out, "gs was not found. Install the package ghostscript."))
        << story(result);
    expect_older_output();
}

INSTANTIATE_TEST_SUITE_P(Routes, MissingGhostscript, testing::ValuesIn(routes), route_title);

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
    const program_result result = without_tcsh(user, {"ps2pdf", in, "new.pdf"});
    if (result.status == 99)
        GTEST_SKIP() << "tcsh cannot be hidden here";
    expect_refusal(result, user.path(in));
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
