#include "engine/tool_environment.h"

#include "app/globals.h"
#include "platform/strings.h"
#include "tests/support/spine_test.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

// A bundle in a folder of the test's own, with or without a private Ghostscript beside it.
class ToolEnvironment : public spine_test {
protected:
    ToolEnvironment()
    {
        setenv("PATH", "/inherited/bin:/more/bin", 1);
        unsetenv("GS_LIB");
        place_bundle("place");
        appPID = 0;
    }

    ~ToolEnvironment() override
    {
        unsetenv("GS_LIB");
    }

    void place_bundle(const std::string &name)
    {
        bundle_folder = folder.make_folder(name);
        platform::copy_whole(appPath, bundle_folder.c_str());
        platform::copy_whole(contentsPath, (bundle_folder + "/Papermill.app/Contents").c_str());
    }

    // One that answers -v with this text, and nothing else.
    void install_private_gs(const std::string &answer) const
    {
        const std::string name = bundle_folder.substr(folder.path().size() + 1);
        folder.make_folder(name + "/bin");
        folder.write(name + "/answer", answer);
        folder.write_program(name + "/bin/gs",
                             "#!/bin/sh\n"
                             "[ \"$*\" = -v ] && exec /bin/cat \"${0%/*}/../answer\"\n");
    }

    static std::string variable(const char *name)
    {
        const char *value = std::getenv(name);
        return value == nullptr ? "(unset)" : value;
    }

    std::string bundle_folder;
};

} // namespace

TEST_F(ToolEnvironment, WithoutAPrivateGhostscriptTheSystemsOneIsUsed)
{
    SetBinaryPath();
    EXPECT_EQ(variable("PATH"), bundle_folder + "/Papermill.app/Contents/Resources/bin:"
                                                "/usr/local/bin:/usr/texbin:/sw/bin:"
                                                "/inherited/bin:/more/bin");
    EXPECT_EQ(variable("GS_LIB"), "(unset)");
    EXPECT_EQ(appPID, getpid());
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolEnvironment, WithoutAPrivateGhostscriptAnInheritedLibraryStays)
{
    setenv("GS_LIB", "/own/library", 1);
    SetBinaryPath();
    EXPECT_EQ(variable("GS_LIB"), "/own/library");
}

TEST_F(ToolEnvironment, APrivateGhostscriptComesNextAfterTheBundlesTools)
{
    install_private_gs("GNU Ghostscript 8.61 (2007-11-21)\nCopyright\n");
    SetBinaryPath();
    EXPECT_EQ(variable("PATH"), bundle_folder +
                                    "/Papermill.app/Contents/Resources/bin:" + bundle_folder +
                                    "/bin:/usr/local/bin:/usr/texbin:/sw/bin:"
                                    "/inherited/bin:/more/bin");
    EXPECT_EQ(variable("GS_LIB"), bundle_folder + "/ghostscript/8.61/lib:" + bundle_folder +
                                      "/ghostscript/8.61/Resource:" + bundle_folder +
                                      "/ghostscript/fonts");
    EXPECT_EQ(console.text(), "");
}

TEST_F(ToolEnvironment, TheLibrarysVersionHasTwoDecimals)
{
    install_private_gs("GPL Ghostscript 8.5 (2005-01-01)\n");
    SetBinaryPath();
    EXPECT_EQ(variable("GS_LIB"), bundle_folder + "/ghostscript/8.50/lib:" + bundle_folder +
                                      "/ghostscript/8.50/Resource:" + bundle_folder +
                                      "/ghostscript/fonts");
}

TEST_F(ToolEnvironment, AVersionThatCannotBeReadCountsAsZero)
{
    install_private_gs("GPL Ghostscript unknown\n");
    SetBinaryPath();
    EXPECT_EQ(variable("GS_LIB"), bundle_folder + "/ghostscript/0.00/lib:" + bundle_folder +
                                      "/ghostscript/0.00/Resource:" + bundle_folder +
                                      "/ghostscript/fonts");
}

TEST_F(ToolEnvironment, APrivateGhostscriptNeedOnlyBeThere)
{
    install_private_gs("");
    ASSERT_EQ(chmod((bundle_folder + "/bin/gs").c_str(), 0644), 0);
    SetBinaryPath(); // its answer is an error of the shell's, on standard error
    EXPECT_NE(variable("PATH").find(bundle_folder + "/bin:"), std::string::npos);
    EXPECT_NE(variable("GS_LIB").find("/ghostscript/0.00/lib"), std::string::npos);
}

TEST_F(ToolEnvironment, DebugLinesTellThatThereIsNoPrivateGhostscript)
{
    doDebug = 1;
    SetBinaryPath();
    EXPECT_EQ(console.lines(), bundle_folder +
                                   "/bin/gs not found. Using system ghostscript.\n"
                                   "PATH = " +
                                   variable("PATH") + "\n\n");
}

TEST_F(ToolEnvironment, DebugLinesTellBothVariablesOfAPrivateGhostscript)
{
    install_private_gs("GPL Ghostscript 8.57 (2007-05-11)\n");
    doDebug = 1;
    SetBinaryPath();
    EXPECT_EQ(console.lines(),
              "PATH = " + variable("PATH") + "\n\nGS_LIB = " + variable("GS_LIB") + "\n\n");
}

TEST_F(ToolEnvironment, TheSearchPathEndsAtItsFirstLineBreak)
{
    for (const char *inherited : {"/one\n/two:/three", "/one\r/two\n/three"}) {
        setenv("PATH", inherited, 1);
        SetBinaryPath();
        EXPECT_EQ(variable("PATH"), bundle_folder + "/Papermill.app/Contents/Resources/bin:"
                                                    "/usr/local/bin:/usr/texbin:/sw/bin:/one");
    }
}

TEST_F(ToolEnvironment, AnUnsetSearchPathLeavesNoEmptyEntry)
{
    const std::string without = bundle_folder + "/Papermill.app/Contents/Resources/bin:"
                                                "/usr/local/bin:/usr/texbin:/sw/bin";
    unsetenv("PATH");
    SetBinaryPath();
    EXPECT_EQ(variable("PATH"), without);
    setenv("PATH", "", 1);
    SetBinaryPath();
    EXPECT_EQ(variable("PATH"), without);
}

TEST_F(ToolEnvironment, TheBundlesFolderMayHaveAnyName)
{
    place_bundle("a \"b\" $(touch touched) `touch touched` $HOME \\ it's");
    install_private_gs("GPL Ghostscript 8.61 (2007-11-21)\n");
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    SetBinaryPath();
    EXPECT_EQ(variable("GS_LIB"), bundle_folder + "/ghostscript/8.61/lib:" + bundle_folder +
                                      "/ghostscript/8.61/Resource:" + bundle_folder +
                                      "/ghostscript/fonts");
    EXPECT_FALSE(file_exists(folder / "touched"));
}

TEST_F(ToolEnvironment, ALongSearchPathComesWhole)
{
    const std::string inherited = "/" + std::string(20000, 'p');
    setenv("PATH", inherited.c_str(), 1);
    SetBinaryPath();
    EXPECT_EQ(variable("PATH"), bundle_folder +
                                    "/Papermill.app/Contents/Resources/bin:"
                                    "/usr/local/bin:/usr/texbin:/sw/bin:" +
                                    inherited);
}

// ---- questions to tools ----

TEST_F(ToolEnvironment, TheVersionIsTheThirdWord)
{
    EXPECT_DOUBLE_EQ(GetGSversion("echo GPL Ghostscript 10.00.0 '(2022-09-21)'"), 10.0);
    EXPECT_DOUBLE_EQ(GetGSversion("echo AFPL Ghostscript 8.54"), 8.54);
    EXPECT_DOUBLE_EQ(GetGSversion("printf 'one\\ntwo\\n3.5 four'"), 3.5);
}

TEST_F(ToolEnvironment, AnAnswerWithoutAVersionIsZero)
{
    EXPECT_EQ(GetGSversion("echo GPL Ghostscript"), 0.0);
    EXPECT_EQ(GetGSversion("echo GPL Ghostscript x8.5"), 0.0);
    EXPECT_EQ(GetGSversion("true"), 0.0);
    EXPECT_EQ(GetGSversion("no-such-command 2>/dev/null"), 0.0);
}

TEST_F(ToolEnvironment, NoMoreThanOneReadOfAnAnswerCounts)
{
    // The third word lies behind the 1023rd byte.
    EXPECT_EQ(GetGSversion("printf '%01020d two 8.5'"), 0.0);
}

TEST_F(ToolEnvironment, AToolAnswersWhenItPrintsMoreThanOneByte)
{
    EXPECT_EQ(CheckForPDFTOPS("echo version 3"), 1);
    EXPECT_EQ(console.lines(), "output = version 3\n\n");
    console.clear();
    EXPECT_EQ(CheckForPDFTOPS("echo"), 0);
    EXPECT_EQ(console.lines(), "output = \n\n");
    console.clear();
    EXPECT_EQ(CheckForPDFTOPS("true"), 0);
    EXPECT_EQ(console.lines(), "output = \n");
    EXPECT_EQ(CheckForPDFTOPS("printf ab"), 1);
}

TEST_F(ToolEnvironment, AnAnswerIsShownUpTo1023Bytes)
{
    EXPECT_EQ(CheckForPDFTOPS("printf '%05000d' 7"), 1);
    EXPECT_EQ(console.lines(), "output = " + std::string(1023, '0') + "\n");
}

TEST_F(ToolEnvironment, TheStartUpHookDoesNothing)
{
    getMachOCalls();
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(variable("PATH"), "/inherited/bin:/more/bin");
}

// ---- finding tools ----

TEST_F(ToolEnvironment, AToolIsTheFirstExecutableOfItsNameOnThePath)
{
    folder.make_folder("one");
    folder.make_folder("one/tool");
    folder.make_folder("two");
    folder.make_folder("three");
    folder.make_folder("four");
    folder.write("two/tool", "no program");
    folder.write_program("three/tool", "#!/bin/sh\n");
    folder.write_program("four/tool", "#!/bin/sh\n");
    setenv("PATH",
           ("/nowhere:" + folder / "one" + ":" + folder / "two" + ":" + folder / "three" + ":" +
            folder / "four")
               .c_str(),
           1);
    EXPECT_EQ(find_tool("tool"), folder / "three/tool");
    EXPECT_EQ(find_tool("no-such-tool"), "");
}

TEST_F(ToolEnvironment, AStandInIsNoOutsideTool)
{
    folder.make_folder("bundle");
    folder.make_folder("system");
    folder.write_program("bundle/convert", "#!/bin/sh\n");
    folder.write("bundle/gs.script", "");
    setenv("PATH", (folder / "bundle" + ":" + folder / "system").c_str(), 1);
    EXPECT_EQ(find_tool("convert"), "");
    folder.write_program("system/convert", "#!/bin/sh\n");
    EXPECT_EQ(find_tool("convert"), folder / "system/convert");
    // The helper script is what tells the folder.
    ASSERT_EQ(unlink((folder / "bundle/gs.script").c_str()), 0);
    EXPECT_EQ(find_tool("convert"), folder / "bundle/convert");
}

TEST_F(ToolEnvironment, AnEmptyEntryOfThePathIsTheCurrentFolder)
{
    folder.write_program("tool", "#!/bin/sh\n");
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    for (const char *path : {":/nowhere", "/nowhere:", "/nowhere::/none"}) {
        setenv("PATH", path, 1);
        EXPECT_EQ(find_tool("tool"), "./tool");
    }
    unsetenv("PATH");
    EXPECT_EQ(find_tool("no-such-tool"), "");
}

TEST_F(ToolEnvironment, EveryToolThatTheConversionsCallIsListed)
{
    std::string names;
    for (std::size_t i = 0; i < outside_tool_count; ++i) {
        const outside_tool &tool = outside_tools[i];
        names += std::string(names.empty() ? "" : " ") + tool.name;
        EXPECT_EQ(std::string(tool.version_command).find(std::string(tool.name) + " "), 0U);
        EXPECT_STRNE(tool.use, "");
    }
    EXPECT_EQ(names, "gs pdftops pdftotext convert tcsh");
}

TEST_F(ToolEnvironment, EveryToolHasAPackage)
{
    EXPECT_STREQ(package_of("gs"), "ghostscript");
    EXPECT_STREQ(package_of("tcsh"), "tcsh");
    EXPECT_STREQ(package_of("pdftops"), "poppler-utils");
    EXPECT_STREQ(package_of("pdftotext"), "poppler-utils");
    EXPECT_STREQ(package_of("convert"), "imagemagick");
    EXPECT_EQ(package_of("no-such-tool"), nullptr);
    for (std::size_t i = 0; i < outside_tool_count; ++i)
        EXPECT_STREQ(package_of(outside_tools[i].name), outside_tools[i].package);
}
