#include "engine/pict_output.h"

#include "app/globals.h"
#include "platform/core/apple_double.h"
#include "platform/core/big_endian.h"
#include "platform/events.h"
#include "platform/memory.h"
#include "platform/processes.h"
#include "platform/quickdraw.h"
#include "platform/resources.h"
#include "platform/strings.h"
#include "settings/path_utils.h"
#include "tests/support/conversion_test.h"
#include "tests/support/eventually.h"
#include "tests/support/picture_reader.h"
#include "tests/support/run_program.h"
#include "tests/support/test_files.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr ResType pict = four_chars("PICT");

// A picture without drawings, 512 zeros before it; `tail` follows it.
std::string picture_file(const std::string &tail = "")
{
    std::string picture("\0\0\0\0\0\0\0\x14\0\x0A\x11\1\xFF\0", 14);
    return std::string(512, '\0') + picture + tail;
}

std::string without_header(const std::string &file)
{
    return file.substr(std::min<std::size_t>(file.size(), 512));
}

FSSpec spec_of(const std::string &path)
{
    FSSpec spec = {};
    EXPECT_EQ(FSPathMakeFSSpec(path.c_str(), &spec, nullptr), noErr) << path;
    return spec;
}

Handle handle_with(const std::string &bytes)
{
    Handle handle = NewHandle(bytes.size());
    std::memcpy(*handle, bytes.data(), bytes.size());
    return handle;
}

// The resource fork beside the file, as another program takes it out of there.
std::string fork_of(const std::string &file)
{
    const std::string beside = platform::apple_double_path(file);
    const temporary_folder out;
    const program_result taken =
        run_program({.arguments = {"unar", "-q", "-k", "visible", "-o", out.path(), beside}});
    EXPECT_EQ(taken.status, 0) << taken.out << taken.err;
    const program_result listed = run_program({.arguments = {"lsar", "-j", beside}});
    const std::size_t at = listed.out.find("\"XADFileSize\": ");
    if (at == std::string::npos || out.names().size() != 1)
        return "";
    const std::size_t size = std::stoul(listed.out.substr(at + 15));
    const std::string made = read_file(out / out.names()[0]);
    return made.size() < size ? "" : made.substr(made.size() - size);
}

struct resource {
    bool named;
    std::string data;
};

// The resources in a fork by type and number, read by the letter of the format.
std::map<std::string, resource> resources_in(const std::string &fork)
{
    std::map<std::string, resource> found;
    const auto word = [&](std::size_t at) { return std::size_t{platform::get16(&fork.at(at))}; };
    const auto number = [&](std::size_t at) { return std::size_t{platform::get32(&fork.at(at))}; };
    if (fork.size() < 16)
        return found;
    const std::size_t data = number(0);
    const std::size_t map = number(4);
    const std::size_t types = map + word(map + 24);
    for (std::size_t t = 0; t < (word(types) + 1) % 65536; ++t) {
        const std::size_t type = types + 2 + 8 * t;
        for (std::size_t r = 0; r < (word(type + 4) + 1) % 65536; ++r) {
            const std::size_t reference = types + word(type + 6) + 12 * r;
            const std::size_t place = data + (number(reference + 4) & 0xFFFFFF);
            const std::string name = fork.substr(type, 4) + " " +
                                     std::to_string(static_cast<std::int16_t>(word(reference)));
            EXPECT_EQ(found.count(name), 0U) << name << " is there twice";
            found[name] = {word(reference + 2) != 0xFFFF, fork.substr(place + 4, number(place))};
        }
    }
    return found;
}

std::string preview_of(const std::string &file)
{
    const auto all = resources_in(fork_of(file));
    const auto found = all.find("PICT 256");
    return found == all.end() ? "(none)" : found->second.data;
}

class Preview : public spine_test {
protected:
    Preview() : eps(folder.write("figure.eps", "%!PS-Adobe-3.0 EPSF-3.0\n")) {}

    // Without a message unless it is told otherwise.
    OSErr add(const std::string &picture, const std::string &more = "")
    {
        console.clear();
        folder.write("figure.pict", picture);
        const OSErr error = add_pict(eps.c_str());
        EXPECT_EQ(console.lines(), "Adding PICT resource to " + eps + ".\n" + more);
        return error;
    }

    std::string eps;
};

} // namespace

// ---- the preview ----

TEST_F(Preview, ThePictureWithoutItsHeaderBecomesAResource)
{
    pict_delete = 0;
    EXPECT_EQ(add(picture_file("drawing")), noErr);
    const auto found = resources_in(fork_of(eps));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.begin()->first, "PICT 256");
    EXPECT_FALSE(found.begin()->second.named);
    EXPECT_EQ(found.begin()->second.data, without_header(picture_file("drawing")));
    EXPECT_EQ(read_file(eps), "%!PS-Adobe-3.0 EPSF-3.0\n");
    EXPECT_EQ(read_file(folder / "figure.pict"), picture_file("drawing"));
    EXPECT_EQ(folder.names(), (words{"._figure.eps", "figure.eps", "figure.pict"}));
}

TEST_F(Preview, TheSecondOneTakesTheFirstOnesPlace)
{
    pict_delete = 0;
    for (const std::string tail : {"first", "a second that is longer", "3", ""}) {
        EXPECT_EQ(add(picture_file(tail)), noErr);
        const auto found = resources_in(fork_of(eps));
        EXPECT_EQ(found.size(), 1U);
        EXPECT_EQ(found.at("PICT 256").data, without_header(picture_file(tail)));
    }
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST_F(Preview, ThePictureFileIsDeletedWhenTheSettingSaysSo)
{
    pict_delete = 1;
    EXPECT_EQ(add(picture_file()), noErr);
    EXPECT_EQ(preview_of(eps), without_header(picture_file()));
    EXPECT_EQ(folder.names(), (words{"._figure.eps", "figure.eps"}));
    pict_delete = 0;
}

TEST_F(Preview, OtherResourcesAndFinderInformationStay)
{
    pict_delete = 0;
    EXPECT_EQ(set_file_info(eps.c_str(), four_chars("ttxt"), four_chars("EPSF")), noErr);
    const FSSpec spec = spec_of(eps);
    FSpCreateResFile(&spec, four_chars("ttxt"), four_chars("EPSF"), 0);
    const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
    ASSERT_NE(file, -1);
    const unsigned char name[] = "\5words";
    AddResource(handle_with("other data"), four_chars("Cstr"), 7, name);
    AddResource(handle_with("another picture"), pict, 128, name);
    CloseResFile(file);

    EXPECT_EQ(add(picture_file("one")), noErr);
    EXPECT_EQ(add(picture_file("two and more")), noErr);
    const auto found = resources_in(fork_of(eps));
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found.at("Cstr 7").data, "other data");
    EXPECT_TRUE(found.at("Cstr 7").named);
    EXPECT_EQ(found.at("PICT 128").data, "another picture");
    EXPECT_EQ(found.at("PICT 256").data, without_header(picture_file("two and more")));
    const std::string listed =
        run_program({.arguments = {"lsar", "-L", platform::apple_double_path(eps)}}).out;
    EXPECT_NE(listed.find("Mac OS type code:          EPSF"), std::string::npos) << listed;
    EXPECT_NE(listed.find("Mac OS creator code:       ttxt"), std::string::npos) << listed;
}

TEST_F(Preview, EntriesOfAnAppleDoubleFileThatMeanNothingHereStay)
{
    pict_delete = 0;
    const std::string beside = folder / "._figure.eps";
    std::filesystem::copy_file(PAPERMILL_SOURCE_DIR "/tests/platform/core/data/apple_double.bin",
                               beside);
    const auto before = resources_in(fork_of(eps));
    EXPECT_EQ(add(picture_file("drawing")), noErr);
    auto after = resources_in(fork_of(eps));
    EXPECT_EQ(after.size(), before.size());
    ASSERT_EQ(before.count("PICT 256"), 1U); // replaced
    EXPECT_EQ(after.at("PICT 256").data, without_header(picture_file("drawing")));
    for (const auto &[name, old] : before) {
        if (name == "PICT 256")
            continue;
        EXPECT_EQ(after.at(name).data, old.data) << name;
        EXPECT_EQ(after.at(name).named, old.named) << name;
    }
    const std::string listed = run_program({.arguments = {"lsar", "-L", beside}}).out;
    EXPECT_NE(listed.find("A comment of the Finder's, kept whole"), std::string::npos) << listed;
    EXPECT_NE(listed.find("Mac OS creator code:       ttxt"), std::string::npos) << listed;
}

TEST_F(Preview, TheCurrentResourceFileStaysTheCurrentOne)
{
    pict_delete = 0;
    const FSSpec other = spec_of(folder.write("other", ""));
    FSpCreateResFile(&other, 0, 0, 0);
    const ResFileRefNum file = FSpOpenResFile(&other, fsCurPerm);
    ASSERT_NE(file, -1);
    EXPECT_EQ(add(picture_file()), noErr);
    EXPECT_EQ(CurResFile(), file);
    CloseResFile(file);
}

TEST_F(Preview, AMissingOrBrokenPictureIsNoMatter)
{
    console.clear();
    EXPECT_EQ(add_pict(eps.c_str()), fnfErr);
    EXPECT_EQ(console.lines(), "Adding PICT resource to " + eps + ".\n");
    EXPECT_EQ(add(""), eofErr);
    EXPECT_EQ(add(std::string(511, '\0')), eofErr);
    EXPECT_EQ(add(std::string(512, '\0')), eofErr); // nothing behind the header
    EXPECT_EQ(add(std::string(521, '\0')), eofErr);
    EXPECT_EQ(folder.names(), (words{"figure.eps", "figure.pict"}));
    EXPECT_EQ(failed_conversions, 0);
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST_F(Preview, AMissingEpsFileIsNoMatter)
{
    folder.write("none.pict", picture_file());
    EXPECT_EQ(add_pict((folder / "none.eps").c_str()), fnfErr);
    EXPECT_EQ(folder.names(), (words{"figure.eps", "none.pict"}));
}

TEST_F(Preview, ThePictureIsNamedLikeTheEpsFile)
{
    pict_delete = 0;
    const std::pair<const char *, const char *> names[] = {
        {"a.b.eps", "a.b.pict"}, {"plain", "plain.pict"}, {"two words.EPSF", "two words.pict"}};
    for (const auto &[name, picture] : names) {
        const std::string file = folder.write(name, "%!PS\n");
        folder.write(picture, picture_file(name));
        EXPECT_EQ(add_pict(file.c_str()), noErr);
        EXPECT_EQ(preview_of(file), without_header(picture_file(name)));
    }
}

TEST_F(Preview, WhatCannotBeStoredIsToldAndThePictureFileStays)
{
    chmod(folder.path().c_str(), 0755);
    const std::string fresh = folder.write("fresh.eps", "%!PS\n");
    folder.write("fresh.pict", picture_file("fresh"));
    pict_delete = 0;
    EXPECT_EQ(add(picture_file("older")), noErr);
    pict_delete = 1;
    EXPECT_TRUE(in_child_without_rights([&] {
        // A fork that may not be written, and one that cannot be made.
        console.clear();
        EXPECT_EQ(add_pict(eps.c_str()), wrPermErr);
        EXPECT_EQ(console.lines(), "Adding PICT resource to " + eps + ".\n" + eps +
                                       ": the preview can't be stored in it (error -61).\n");
        console.clear();
        EXPECT_EQ(add_pict(fresh.c_str()), eofErr);
        EXPECT_EQ(console.lines(), "Adding PICT resource to " + fresh + ".\ncan't open\n" + fresh +
                                       ": the preview can't be stored in it (error -39).\n");
        EXPECT_EQ(failed_conversions, 2);
    }));
    EXPECT_EQ(preview_of(eps), without_header(picture_file("older")));
    EXPECT_EQ(read_file(folder / "figure.pict"), picture_file("older"));
    EXPECT_EQ(read_file(folder / "fresh.pict"), picture_file("fresh"));
    pict_delete = 0;
}

TEST_F(Preview, ADamagedForkIsToldAndStaysAsItIs)
{
    pict_delete = 1;
    folder.write("._figure.eps", "no AppleDouble file");
    EXPECT_EQ(add(picture_file(),
                  "can't open\n" + eps + ": the preview can't be stored in it (error -199).\n"),
              mapReadErr);
    EXPECT_EQ(read_file(folder / "._figure.eps"), "no AppleDouble file");
    EXPECT_EQ(read_file(folder / "figure.pict"), picture_file());
    pict_delete = 0;
}

TEST_F(Preview, APictureThatIsTooLargeForTheForkIsTold)
{
    // Data that lie behind it could not be found any more: their place has 24 bits.
    pict_delete = 0;
    EXPECT_EQ(add(picture_file("small")), noErr);
    const FSSpec spec = spec_of(eps);
    const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
    AddResource(handle_with("behind it"), four_chars("Cstr"), 7, nullptr);
    CloseResFile(file);

    pict_delete = 1;
    EXPECT_EQ(add(picture_file(std::string(17'000'000, 'x')),
                  eps + ": the preview can't be stored in it (error -194).\n"),
              addResFailed);
    EXPECT_TRUE(preview_of(eps) == without_header(picture_file("small")));
    EXPECT_TRUE(file_exists(folder / "figure.pict"));
    EXPECT_EQ(failed_conversions, 1);
    pict_delete = 0;
}

// ---- drawing anew ----

namespace {

class DrawPict : public spine_test {
protected:
    // A picture file with a ramp of grey, made by ImageMagick; more lies behind the picture.
    std::string ramp(const char *name = "ramp.pict") const
    {
        const program_result made = run_program(
            {.arguments = {"/usr/bin/convert", "-size", "40x90", "gradient:", "-rotate", "90",
                           "-density", "144", "-units", "PixelsPerInch", "pict:-"}});
        EXPECT_EQ(made.status, 0);
        return folder.write(name, made.out + std::string(50000, 'x'));
    }
    ~DrawPict() override
    {
        pict_depth = 32;
    }
};

} // namespace

TEST_F(DrawPict, ThePictureIsDrawnAtTheChosenDepth)
{
    for (const int depth : {32, 16, 8, 4, 2, 1}) {
        pict_depth = depth;
        const std::string path = ramp();
        EXPECT_EQ(drawPICT(path.c_str()), noErr);
        const pict_content seen = read_picture_file(path);
        EXPECT_EQ(seen.complaint, "") << depth;
        EXPECT_EQ(seen.depths, std::vector<int>{depth});
        EXPECT_EQ(seen.modes, std::vector<int>{64});
        EXPECT_EQ(seen.width, 90);
        EXPECT_EQ(seen.height, 40);
        EXPECT_EQ(seen.x_resolution, 144);
        EXPECT_EQ(run_program({{"/usr/bin/identify", "-format", "%m %w %h", path}}).out,
                  "PICT 90 40");
        FInfo info = {};
        const FSSpec spec = spec_of(path);
        EXPECT_EQ(FSpGetFInfo(&spec, &info), noErr);
        EXPECT_EQ(info.fdType, pict);
    }
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST_F(DrawPict, PixelsStayAtTheFullDepth)
{
    const std::string path = ramp();
    const std::string before =
        run_program({{"/usr/bin/convert", "pict:" + path, "-depth", "8", "rgb:-"}}).out;
    EXPECT_EQ(drawPICT(path.c_str()), noErr);
    EXPECT_TRUE(read_picture_file(path).pixels == before);
}

TEST_F(DrawPict, ADepthThatIsNoneChangesNothing)
{
    const std::string path = ramp();
    const std::string before = read_file(path);
    for (const int depth : {-1, 3, 24, 33}) {
        pict_depth = depth;
        EXPECT_EQ(drawPICT(path.c_str()), cDepthErr);
        EXPECT_EQ(read_file(path), before);
    }
    EXPECT_EQ(platform::live_handles(), 0U);
}

TEST_F(DrawPict, WhatIsNoPictureStaysAsItIs)
{
    EXPECT_EQ(drawPICT((folder / "none").c_str()), fnfErr);
    for (const std::string &bytes :
         {std::string(), std::string(512, '\0'), std::string(5000, 'x')}) {
        const std::string path = folder.write("bad.pict", bytes);
        EXPECT_NE(drawPICT(path.c_str()), noErr);
        EXPECT_EQ(read_file(path), bytes);
    }
    EXPECT_EQ(drawPICT(folder.path().c_str()), paramErr);
}

TEST_F(DrawPict, AFullDiskLeavesThePictureWhole)
{
    // Hardly to be packed: the new picture is longer than the old one.
    const program_result made =
        run_program({{"/usr/bin/convert", "-size", "200x200", "-seed", "1", "xc:grey", "+noise",
                      "Random", "-colors", "16", "pict:-"}});
    const std::string path = folder.write("noise.pict", made.out);
    const std::string before = read_file(path);
    ASSERT_TRUE(in_child([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {before.size(), before.size()};
        setrlimit(RLIMIT_FSIZE, &limit);
        pict_depth = 32;
        EXPECT_NE(drawPICT(path.c_str()), noErr);
    }));
    EXPECT_EQ(read_file(path), before);
}

// ---- conversions ----

namespace {

// gs.script leaves a bitmap or a picture where it should; convert is the test's own.
class ToPict : public conversion_test {
protected:
    ToPict()
        : figure(folder.write("figure.eps", "%!PS-Adobe-3.0 EPSF-3.0\n"
                                            "%%BoundingBox: 10 20 110 220\nshowpage\n")),
          output(folder / "figure.pict"), copy(std::string(tmpPath) + "/tmp1.eps"),
          pnm(std::string(tmpPath) + "/tmp1.pnm"), old_path(std::getenv("PATH"))
    {
        script.does("echo pixels > \"$4\"; ends 0 done; reports");
        tools.write("made", picture_file("made"));
        convert_does("cp \"$own/made\" \"$out\"");
        setenv("PATH", (tools.path() + ":" + old_path).c_str(), 1);
    }
    ~ToPict() override
    {
        setenv("PATH", old_path.c_str(), 1);
        pict_preview = pict_delete = 0;
    }

    void convert_does(const std::string &steps) const
    {
        for (const char *name : {"convert", "convert102"})
            tools.write_program(name, "#!/bin/sh\nown='" + tools.path() +
                                          "'\n"
                                          "printf '%s ' \"${0##*/}\" \"$@\" > \"$own/call\"\n"
                                          "echo \"$PAPERMILL_PICTURE,$PAPERMILL_PREPARED_FROM\" "
                                          "> \"$own/environment\"\n"
                                          "for word; do out=$word; done\n" +
                                          steps + "\n");
    }

    std::string convert_call() const
    {
        return read_file(tools / "call");
    }

    std::string figure, output, copy, pnm;
    std::string old_path;
    temporary_folder tools;
};

} // namespace

TEST_F(ToPict, TheFigureIsRenderedAndConverted)
{
    folder.write("figure.pict", "older");
    script.does("[ -e '" + output + "' ] && exit 9; echo pixels > \"$4\"; ends 0 done; reports");
    epstopict(figure.c_str(), nullptr);
    EXPECT_EQ(script.arguments(),
              (words{"eps2pnm", pid, worksheet, pnm, copy, " -r144 -g200x400"}));
    EXPECT_EQ(command_line, "convert -density 144x144 \"" + pnm + "\" \"" + output + "\"");
    EXPECT_EQ(convert_call(), "convert -density 144x144 " + pnm + " " + output + " ");
    EXPECT_EQ(read_file(tools / "environment"), "pict," + figure + "\n");
    EXPECT_EQ(shown(), "Converting " + figure + " to " + output + ".\n" + complete + "Converting " +
                           pnm + " to " + output + "\n");
    EXPECT_EQ(read_file(output), picture_file("made"));
    EXPECT_EQ(folder.names(), (words{"figure.eps", "figure.pict"})); // no preview
    EXPECT_FALSE(file_exists(copy));
    EXPECT_FALSE(file_exists(pnm));
    EXPECT_EQ(names_in(tmpPath), words());
    EXPECT_EQ(std::getenv("PAPERMILL_PICTURE"), nullptr);
}

TEST_F(ToPict, TheSettingIsTheResolutionOfAllConversions)
{
    const std::pair<const char *, const char *> values[] = {
        {nullptr, "144"}, {"", "144"}, {"300", "300"}, {"72 dpi", "72"}, {"1", "1"}};
    const std::string pdf = folder.write("a.pdf", "%PDF");
    for (const auto &[value, dots] : values) {
        if (value != nullptr)
            set_setting("PICT_RES", value);
        const std::string number = dots;
        do_pdf2pict(pdf.c_str(), nullptr);
        EXPECT_EQ(own_arguments().at(2), "-r " + number);
        epstopict(figure.c_str(), nullptr);
        EXPECT_EQ(convert_call(),
                  "convert -density " + number + "x" + number + " " + pnm + " " + output + " ");
    }
}

TEST_F(ToPict, AResolutionThatIsNoneIsRefused)
{
    folder.write("figure.pict", "older");
    const std::string pdf = folder.write("a.pdf", "%PDF");
    for (const char *value : {"0", "-144", "99999", "high"}) {
        set_setting("PICT_RES", value);
        epstopict(figure.c_str(), nullptr);
        do_pdf2pict(pdf.c_str(), nullptr);
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(failed_conversions, 8);
    EXPECT_EQ(read_file(output), "older");
}

TEST_F(ToPict, OlderSystemsHaveTheirOwnTools)
{
    have103 = 0;
    epstopict(figure.c_str(), nullptr);
    EXPECT_EQ(command_line, "convert102 -density 144x144 \"" + pnm + "\" \"" + output + "\"");
    do_pdf2pict((folder / "a.pdf").c_str(), nullptr);
    EXPECT_EQ(script.arguments().front(), "pdf2pict102");
}

TEST_F(ToPict, AFigureThatCannotBePreparedIsNotConverted)
{
    figure = folder.write("plain.eps", "%!PS\nshowpage\n");
    set_setting("PICT_PREVIEW", "1");
    folder.write("plain.pict", picture_file("older"));
    epstopict(figure.c_str(), nullptr);
    EXPECT_EQ(console.lines(), "Converting " + figure + " to " + (folder / "plain.pict") +
                                   ".\nBounding Box comment not found in " + figure + "!\n");
    EXPECT_EQ(convert_call(), "");
    EXPECT_EQ(script.calls(), 0);
    EXPECT_FALSE(file_exists(folder / "._plain.eps"));
}

TEST_F(ToPict, AMissingFigureIsTold)
{
    const std::string missing = folder / "none.eps";
    folder.write("none.pict", "older");
    epstopict(missing.c_str(), nullptr);
    EXPECT_EQ(console.lines(), missing + ": File not found!\n");
    EXPECT_EQ(read_file(folder / "none.pict"), "older");
    EXPECT_EQ(convert_call(), "");
}

TEST_F(ToPict, TheSettingsAttachAndDelete)
{
    struct {
        const char *preview, *remove;
        words left;
    } const ways[] = {
        {"0", "1", {"figure.eps", "figure.pict"}},
        {"yes", "1", {"figure.eps", "figure.pict"}},
        {"1", "0", {"._figure.eps", "figure.eps", "figure.pict"}},
        {"10", "", {"._figure.eps", "figure.eps", "figure.pict"}},
        {"1", "1", {"._figure.eps", "figure.eps"}},
    };
    for (const auto &way : ways) {
        console.clear();
        unlink((folder / "._figure.eps").c_str());
        set_setting("PICT_PREVIEW", way.preview);
        set_setting("PICT_DELETE", way.remove);
        epstopict(figure.c_str(), nullptr);
        EXPECT_EQ(folder.names(), way.left);
        const bool attached = way.left.front() == "._figure.eps";
        EXPECT_EQ(shown().find("Adding PICT resource to " + figure + ".\n") != std::string::npos,
                  attached);
        if (attached) {
            EXPECT_EQ(preview_of(figure), without_header(picture_file("made")));
        }
    }
}

TEST_F(ToPict, TheSecondConversionReplacesThePreview)
{
    set_setting("PICT_PREVIEW", "1");
    epstopict(figure.c_str(), nullptr);
    tools.write("made", picture_file("made anew, and longer"));
    epstopict(figure.c_str(), nullptr);
    const auto found = resources_in(fork_of(figure));
    EXPECT_EQ(found.size(), 1U);
    EXPECT_EQ(found.at("PICT 256").data, without_header(picture_file("made anew, and longer")));
}

TEST_F(ToPict, ThePictureJustMadeIsAttachedNotAnOlderOne)
{
    set_setting("PICT_PREVIEW", "1");
    set_setting("PICT_DELETE", "1");
    folder.write("figure.pict", picture_file("older"));
    const std::string given = folder / "other name";
    epstopict(figure.c_str(), given.c_str());
    EXPECT_EQ(preview_of(figure), without_header(picture_file("made")));
    EXPECT_EQ(read_file(output), picture_file("older"));
    EXPECT_FALSE(file_exists(given));
}

TEST_F(ToPict, NothingIsAttachedWhenNothingWasMade)
{
    set_setting("PICT_PREVIEW", "1");
    for (const bool renders : {false, true}) {
        script.does(renders ? "echo pixels > \"$4\"; ends 0 done; reports"
                            : "ends 1 done; reports");
        convert_does("exit 3");
        console.clear();
        failed_conversions = 0;
        epstopict(figure.c_str(), nullptr);
        EXPECT_EQ(shown().find("Adding"), std::string::npos) << shown();
        EXPECT_EQ(folder.names(), words{"figure.eps"});
        EXPECT_EQ(failed_conversions, 1);
        EXPECT_EQ(exit_status, renders ? 3 : 1);
        EXPECT_FALSE(file_exists(pnm));
    }
    EXPECT_NE(console.lines().find(figure + ": failed, convert ended with status 3.\n"),
              std::string::npos);
}

TEST_F(ToPict, AnInterruptEndsConvertAndLeavesNothing)
{
    set_setting("PICT_PREVIEW", "1");
    convert_does("echo $$ > \"$own/pid\"; kill -TERM $PAPERMILL_PID; exec sleep 1000");
    platform::on_interrupt([] {
        platform::kill_run_processes();
        userCancel = 1;
    });
    epstopict(figure.c_str(), nullptr);
    platform::on_interrupt(nullptr);
    EXPECT_NE(console.lines().find("\nUser cancelled processing.\n"), std::string::npos);
    EXPECT_EQ(console.lines().find("failed"), std::string::npos);
    EXPECT_EQ(last_ending, ended_cancelled);
    EXPECT_EQ(exit_status, 130);
    EXPECT_EQ(inRun, 0);
    const pid_t tool = std::stoi(read_file(tools / "pid"));
    EXPECT_TRUE(eventually([&] { return kill(tool, 0) != 0; }));
    EXPECT_EQ(folder.names(), words{"figure.eps"});
    EXPECT_EQ(names_in(tmpPath), words());
}

namespace {

// With the bundle's own convert, which finds the test's in the place of ImageMagick; gs.script
// leaves a bitmap.
class ByTheBundle : public conversion_test {
protected:
    ByTheBundle()
        : figure(folder.write("figure.eps", "%!PS-Adobe-3.0 EPSF-3.0\n"
                                            "%%BoundingBox: 0 0 20 10\nshowpage\n")),
          old_path(std::getenv("PATH"))
    {
        tools.write("bitmap", "P6 40 20 255\n" + std::string(40 * 20 * 3, 'x'));
        script.does("cat '" + (tools / "bitmap") + "' > \"$4\"; ends 0 done; reports");
        const std::size_t end = old_path.find(PAPERMILL_BUNDLE);
        front = old_path.substr(0, end) + PAPERMILL_BUNDLE "/Resources/bin:";
        setenv("PATH", (front + tools.path() + ":/usr/bin:/bin").c_str(), 1);
        set_setting("PICT_PREVIEW", "1");
    }
    ~ByTheBundle() override
    {
        setenv("PATH", old_path.c_str(), 1);
        pict_preview = 0;
    }

    std::string figure, old_path, front;
    temporary_folder tools;
};

} // namespace

TEST_F(ByTheBundle, ThePictureIsMadeAndAttached)
{
    epstopict(figure.c_str(), (folder / "100%d [0].out").c_str());
    const pict_content picture = read_picture_file(folder / "100%d [0].out");
    EXPECT_EQ(picture.complaint, "") << console.lines();
    EXPECT_TRUE(picture.pixels == std::string(40 * 20 * 3, 'x'));
    EXPECT_EQ(preview_of(figure), without_header(read_file(folder / "100%d [0].out")));
    EXPECT_EQ(folder.names(), (words{"._figure.eps", "100%d [0].out", "figure.eps"}));
    EXPECT_EQ(names_in(tmpPath), words());
}

TEST_F(ByTheBundle, AMissingImageMagickIsTold)
{
    std::filesystem::create_symlink("/usr/bin/env", tools / "env");
    std::filesystem::create_symlink("/bin/cat", tools / "cat");
    setenv("PATH", (front + tools.path()).c_str(), 1);
    epstopict(figure.c_str(), nullptr);
    EXPECT_NE(shown().find("\nconvert was not found. Install the package imagemagick.\n" + figure +
                           ": not done, convert was not started.\n"),
              std::string::npos)
        << shown();
    EXPECT_EQ(last_ending, ended_not_started);
    EXPECT_EQ(exit_status, 127);
    EXPECT_EQ(failed_conversions, 1);
    EXPECT_EQ(folder.names(), words{"figure.eps"});
}

TEST_F(ByTheBundle, WhatImageMagickSaysReachesTheConsoleWithTheUsersName)
{
    tools.write_program("convert", "#!/bin/sh\necho \"convert: bad luck \\`input'\" >&2; exit 9\n");
    epstopict(figure.c_str(), nullptr);
    EXPECT_NE(shown().find("\nconvert: bad luck `" + figure + "'\n" + figure +
                           ": failed, convert ended with status 9.\n"),
              std::string::npos)
        << shown();
    EXPECT_EQ(folder.names(), words{"figure.eps"});
}

TEST_F(ByTheBundle, AnInterruptEndsImageMagickAndLeavesNothing)
{
    tools.write_program("convert", "#!/bin/sh\necho $$ > half; kill -TERM $PAPERMILL_PID\n"
                                   "exec sleep 1000\n");
    platform::on_interrupt([] {
        platform::kill_run_processes();
        userCancel = 1;
    });
    epstopict(figure.c_str(), nullptr);
    platform::on_interrupt(nullptr);
    EXPECT_EQ(last_ending, ended_cancelled) << console.lines();
    EXPECT_EQ(folder.names(), words{"figure.eps"});
    EXPECT_EQ(names_in(tmpPath), words());
}

// ---- PDF and PostScript ----

TEST_F(ToPict, APdfFileGoesToTheScript)
{
    const std::string pdf = folder.write("a.pdf", "%PDF");
    do_pdf2pict(pdf.c_str(), nullptr);
    const std::string to = folder / "a.pict";
    EXPECT_EQ(command_line, "gs.script pdf2pict " + pid + " \"" + worksheet + "\" \"" + to +
                                "\" \"" + pdf + "\" \"-r 144\"");
    EXPECT_EQ(script.arguments(), (words{"pdf2pict", pid, worksheet, to, pdf, "-r 144"}));
    EXPECT_EQ(shown(), "Converting " + pdf + " to " + to + ".\n" + complete);
    EXPECT_STREQ(in_file, pdf.c_str());
    EXPECT_STREQ(unixTool, "gs");
    EXPECT_EQ(redraws(), words{"Converting " + pdf + " to " + to + ".\n"});
    EXPECT_EQ(watched.count("SetCursor"), 2U); // the wait's, and its own
}

TEST_F(ToPict, EitherNameOfAPdfFileCanBeLeftOut)
{
    platform::copy_whole(in_file, "/some/where.pdf");
    do_pdf2pict(nullptr, nullptr);
    EXPECT_EQ(own_arguments(), (words{"/some/where.pict", "/some/where.pdf", "-r 144"}));
    do_pdf2pict(nullptr, "/else/where");
    EXPECT_EQ(own_arguments(), (words{"/else/where", "/some/where.pdf", "-r 144"}));
    do_pdf2pict("/an.other/file", nullptr);
    EXPECT_EQ(own_arguments(), (words{"/an.pict", "/an.other/file", "-r 144"}));
}

TEST_F(ToPict, TheElapsedTimeIsToldAfterACancelToo)
{
    cancel_the_next_run();
    do_pdf2pict("/a.pdf", nullptr);
    EXPECT_EQ(shown(), "Converting /a.pdf to /a.pict.\n\nUser cancelled processing.\n"
                       "Elapsed time = N sec.\n\n");
}

TEST_F(ToPict, APdfFileIsNotItsOwnPicture)
{
    const std::string pdf = folder.write("a.pdf", "%PDF");
    do_pdf2pict(pdf.c_str(), pdf.c_str());
    EXPECT_EQ(console.lines(),
              pdf + ": the output would replace the input. Choose another name.\n");
    EXPECT_EQ(script.calls(), 0);
}

TEST_F(ToPict, NamesReachTheScriptAsTheyAre)
{
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const std::string &name : telling_names()) {
        const std::string from = folder / (name + ".pdf");
        do_pdf2pict(from.c_str(), nullptr);
        EXPECT_EQ(own_arguments(), (words{folder / (name + ".pict"), from, "-r 144"}));
        const std::string eps = folder.write(name + ".eps", read_file(figure));
        epstopict(eps.c_str(), nullptr);
        EXPECT_EQ(read_file(folder / (name + ".pict")), picture_file("made")) << name;
    }
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(ToPict, PathsThatDoNotFitAreRefused)
{
    const std::string path = "/" + std::string(path_size, 'p');
    for (const auto &convert :
         {+[](const char *p) { epstopict(p, nullptr); },
          +[](const char *p) { do_pdf2pict(p, nullptr); },
          +[](const char *p) { do_ps2pict(p, nullptr); },
          +[](const char *p) { epstopict("/a", p); }, +[](const char *p) { do_pdf2pict("/a", p); },
          +[](const char *p) { makepict(p); }}) {
        console.clear();
        convert(path.c_str());
        EXPECT_EQ(script.calls(), 0);
    }
    EXPECT_EQ(failed_conversions, 5); // makepict knows no such extension
    EXPECT_EQ(add_pict(path.c_str()), bdNamErr);
}

TEST_F(ToPict, PostScriptGoesByWayOfAPdf)
{
    const std::string pdf = std::string(tmpPath) + "/xxx.pdf";
    const std::string ps = folder.write("page.ps", "%!PS\n");
    script.does("echo \"$1\" >> '" + (tools / "calls") + "'; echo made > \"$4\"; [ -e '" + pdf +
                "' ] && echo there >> '" + (tools / "calls") + "'; ends 0 done; reports");
    do_ps2pict(ps.c_str(), "/not/used");
    EXPECT_EQ(read_file(tools / "calls"), "ps2pdf\nthere\npdf2pict\nthere\n");
    EXPECT_EQ(own_arguments(), (words{folder / "page.pict", pdf, "-r 144"}));
    EXPECT_EQ(shown(), "Converting " + ps + " to " + pdf + ".\n" + complete + "Converting " + pdf +
                           " to " + (folder / "page.pict") + ".\n" + complete);
    EXPECT_FALSE(file_exists(pdf));
    EXPECT_EQ(read_file(folder / "page.pict"), "made\n");
    EXPECT_EQ(folder.names(), (words{"figure.eps", "page.pict", "page.ps"}));
}

TEST_F(ToPict, AfterAFailedPdfThereIsNoPicture)
{
    const std::string ps = folder.write("page.ps", "%!PS\n");
    for (const way_to_end &way : ways_to_end) {
        if (way.ending == ended_well)
            continue;
        failed_conversions = 0;
        const int before = script.calls();
        script.does(way.steps);
        do_ps2pict(ps.c_str(), nullptr);
        EXPECT_EQ(script.calls(), before + 1) << way.steps;
        EXPECT_EQ(failed_conversions, 1);
        EXPECT_EQ(last_ending, way.ending);
    }
    cancel_the_next_run();
    const int before = script.calls();
    do_ps2pict(ps.c_str(), nullptr);
    EXPECT_EQ(script.calls(), before + 1);
    EXPECT_EQ(last_ending, ended_cancelled);
}

TEST_F(ToPict, AFailureNamesTheUsersFile)
{
    const std::string ps = folder.write("page.ps", "%!PS\n");
    script.does("[ $1 = ps2pdf ] && echo > \"$4\" && ends 0 done || ends 5 done; reports");
    do_ps2pict(ps.c_str(), nullptr);
    EXPECT_NE(console.lines().find(ps + ": failed, gs ended with status 5.\n"), std::string::npos);
    do_pdf2pict("/a.pdf", nullptr);
    EXPECT_NE(console.lines().find("/a.pdf: failed, gs ended with status 5.\n"), std::string::npos);
}

// ---- by extension ----

TEST_F(ToPict, TheExtensionDecides)
{
    struct {
        const char *name, *subcommand;
    } const files[] = {
        {"a.eps", "eps2pnm"},
        {"a.EPS", "eps2pnm"},
        {"a.ePs", "eps2pnm"},
        {"a.epsf", "eps2pnm"},
        {"a.EPSF", "eps2pnm"},
        {"a.ps", "ps2pdf"},
        {"a.PS", "ps2pdf"},
        {"a.pdf", "pdf2pict"},
        {"a.PDF", "pdf2pict"},
        {"a.txt", ""},
        {"a", ""},
        {"eps", ""},
    };
    for (const auto &file : files) {
        const std::string path = folder.write(file.name, read_file(figure));
        const int before = script.calls();
        script.does("ends 1 done; reports");
        pict_preview = 1;
        makepict(path.c_str());
        EXPECT_EQ(pict_preview, 0) << file.name;
        EXPECT_EQ(script.calls() - before, *file.subcommand == 0 ? 0 : 1) << file.name;
        if (*file.subcommand != 0) {
            EXPECT_EQ(script.arguments().front(), file.subcommand) << file.name;
        }
    }
    platform::copy_whole(in_file, "/some/where.pdf");
    makepict(nullptr);
    EXPECT_EQ(script.arguments().front(), "pdf2pict");
}
