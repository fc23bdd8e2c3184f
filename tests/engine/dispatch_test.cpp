#include "engine/dispatch.h"

#include "app/globals.h"
#include "platform/strings.h"
#include "tests/support/fake_script.h"
#include "tests/support/spine_test.h"

#include <regex>
#include <string>
#include <vector>

namespace {

// Which routine took which file shows in the lines on the console: both routes print the same
// converting line, but only EPS looks for the file and its box.
class Dispatch : public spine_test {
protected:
    Dispatch() : script("ends 0 done; reports")
    {
        numberOfJobs = 0;
    }

    std::string figure(const std::string &name) const
    {
        return folder.write(name, "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 10 10\n");
    }

    std::string page(const std::string &name) const
    {
        return folder.write(name, "%!PS\nshowpage\n");
    }

    // Of every conversion so far, "NAME -> NAME", with "eps:" before those that went the EPS way.
    std::vector<std::string> conversions() const
    {
        std::vector<std::string> result;
        const std::string all = read_file(folder / "log");
        const std::regex line("([^|]*)\\|([^|]*)\\|([^\n]*)\n");
        for (std::sregex_iterator it(all.begin(), all.end(), line), end; it != end; ++it) {
            const std::string prepared = (*it)[3];
            result.push_back(prepared.empty() ? (*it)[1].str() + " -> " + (*it)[2].str()
                                              : "eps: " + prepared + " -> " + (*it)[2].str());
        }
        return result;
    }

    void log_conversions() const
    {
        script.does(
            "base() { echo \"${1##*/}\"; }\n"
            "echo \"$(base \"$5\")|$(base \"$4\")|$(base \"$PAPERMILL_PREPARED_FROM\")\" >> '" +
            folder / "log" + "'\nends 0 done; reports");
    }

    fake_script script;
};

using conversions_list = std::vector<std::string>;

} // namespace

// ---- the list of opened files ----

TEST_F(Dispatch, OpenedFilesAreConvertedInTheirOrder)
{
    log_conversions();
    add_job(page("one.ps").c_str());
    add_job(figure("two.eps").c_str());
    add_job(page("three.ps").c_str());
    EXPECT_EQ(numberOfJobs, 3);
    EXPECT_NE(myJobs.next, nullptr);
    doOpenDoc();
    EXPECT_EQ(conversions(), (conversions_list{"one.ps -> one.pdf", "eps: two.eps -> two.pdf",
                                               "three.ps -> three.pdf"}));
    EXPECT_EQ(numberOfJobs, 0);
    EXPECT_EQ(myJobs.next, nullptr); // the leak checker of the sanitizers counts the freed records
}

TEST_F(Dispatch, AnEmptyListDoesNothing)
{
    doOpenDoc();
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
}

TEST_F(Dispatch, OneFileIsTheHeadOfTheList)
{
    log_conversions();
    const std::string path = page("one.ps");
    add_job(path.c_str());
    EXPECT_EQ(numberOfJobs, 1);
    EXPECT_EQ(myJobs.path, path);
    EXPECT_EQ(myJobs.next, nullptr);
    doOpenDoc();
    EXPECT_EQ(conversions(), conversions_list{"one.ps -> one.pdf"});
    EXPECT_EQ(numberOfJobs, 0);
}

TEST_F(Dispatch, AListCanBeFilledAgain)
{
    log_conversions();
    for (int i = 0; i < 2; ++i) {
        numberOfJobs = 0;
        add_job(page("one.ps").c_str());
        add_job(page("two.ps").c_str());
        doOpenDoc();
    }
    EXPECT_EQ(conversions(), (conversions_list{"one.ps -> one.pdf", "two.ps -> two.pdf",
                                               "one.ps -> one.pdf", "two.ps -> two.pdf"}));
}

TEST_F(Dispatch, AnyCaseOfAnEpsExtensionGoesTheEpsWay)
{
    log_conversions();
    for (const char *name : {"a.eps", "b.EPS", "c.Eps", "d.epsf", "e.EPSF", "f.ePsF"})
        add_job(figure(name).c_str());
    doOpenDoc();
    EXPECT_EQ(conversions(), (conversions_list{"eps: a.eps -> a.pdf", "eps: b.EPS -> b.pdf",
                                               "eps: c.Eps -> c.pdf", "eps: d.epsf -> d.pdf",
                                               "eps: e.EPSF -> e.pdf", "eps: f.ePsF -> f.pdf"}));
}

TEST_F(Dispatch, EveryOtherOpenedFileGoesThePostScriptWay)
{
    log_conversions();
    for (const char *name : {"a.ps", "b.PS", "c.txt", "d", "e.epsx", "eps", "f.eps.gz"})
        add_job(page(name).c_str());
    doOpenDoc();
    EXPECT_EQ(conversions(),
              (conversions_list{"a.ps -> a.pdf", "b.PS -> b.pdf", "c.txt -> c.pdf", "d -> d.pdf",
                                "e.epsx -> e.pdf", "eps -> eps.pdf", "f.eps.gz -> f.eps.pdf"}));
}

TEST_F(Dispatch, AnOpenedPdfReachesThePostScriptRouteWhichWillNotOverwriteIt)
{
    const std::string pdf = page("doc.pdf");
    add_job(pdf.c_str());
    doOpenDoc();
    EXPECT_EQ(console.lines(),
              pdf + ": the output would replace the input. Choose another name.\n");
}

TEST_F(Dispatch, PathsThatDoNotFitARecordComeWhole)
{
    log_conversions();
    const std::string deep = std::string(120, 'd') + "/" + std::string(120, 'e');
    folder.make_folder(deep);
    const std::string long_name = deep + "/" + std::string(100, 'f');
    const std::string fits =
        folder.path() + "/" + std::string(255 - folder.path().size() - 4, 'g') + ".ps";
    ASSERT_EQ(fits.size(), 255U);
    add_job(page(long_name + "1.ps").c_str());
    add_job(fits.c_str());
    add_job(figure(long_name + "2.eps").c_str());
    EXPECT_NE(myJobs.long_path, nullptr);
    EXPECT_EQ(myJobs.next->path, fits);
    EXPECT_EQ(myJobs.next->long_path, nullptr);
    doOpenDoc();
    const std::string name = std::string(100, 'f');
    const std::string other = std::string(255 - folder.path().size() - 4, 'g');
    EXPECT_EQ(conversions(), (conversions_list{name + "1.ps -> " + name + "1.pdf",
                                               other + ".ps -> " + other + ".pdf",
                                               "eps: " + name + "2.eps -> " + name + "2.pdf"}));
    EXPECT_EQ(myJobs.long_path, nullptr);
}

TEST_F(Dispatch, AnInterruptEndsTheList)
{
    add_job(page("one.ps").c_str());
    add_job(page("two.ps").c_str());
    interrupted = 1;
    doOpenDoc();
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(numberOfJobs, 0);
    EXPECT_EQ(myJobs.next, nullptr);
}

TEST_F(Dispatch, AFailureDoesNotEndTheList)
{
    log_conversions();
    const std::string missing = folder / "missing.eps";
    add_job(missing.c_str());
    add_job(page("two.ps").c_str());
    doOpenDoc();
    EXPECT_EQ(conversions(), conversions_list{"two.ps -> two.pdf"});
    EXPECT_EQ(console.lines().find(missing + ": File not found!\n"), 0U);
    EXPECT_EQ(failed_conversions, 1);
}

// ---- the dropped file ----

TEST_F(Dispatch, ADroppedFileGoesByItsExtension)
{
    log_conversions();
    for (const char *name : {"a.eps", "figure.EPS", "b.Epsf"}) {
        platform::copy_whole(dragFile, figure(name).c_str());
        runDragFile();
    }
    for (const char *name : {"c.ps", "a.PS", "d.Ps"}) {
        platform::copy_whole(dragFile, page(name).c_str());
        runDragFile();
    }
    EXPECT_EQ(conversions(),
              (conversions_list{"eps: a.eps -> a.pdf", "eps: figure.EPS -> figure.pdf",
                                "eps: b.Epsf -> b.pdf", "c.ps -> c.pdf", "a.PS -> a.pdf",
                                "d.Ps -> d.pdf"}));
}

TEST_F(Dispatch, OtherDroppedFilesArePassedOverInSilence)
{
    for (const char *name : {"doc.pdf", "a.txt", "ps", "eps", "x.psx", "b"}) {
        platform::copy_whole(dragFile, page(name).c_str());
        runDragFile();
    }
    EXPECT_EQ(script.calls(), 0);
    EXPECT_EQ(console.text(), "");
}

// ---- with an explicit output ----

TEST_F(Dispatch, WithAnOutputTheExtensionChoosesTheWayToo)
{
    log_conversions();
    const std::string out = folder / "out.pdf";
    for (const char *name : {"a.eps", "b.EPS", "c.epsf", "d.EPSF", "e.Eps"})
        do_ps2pdf1(figure(name).c_str(), out.c_str());
    for (const char *name : {"f.ps", "g.pdf", "h"})
        do_ps2pdf1(page(name).c_str(), out.c_str());
    EXPECT_EQ(conversions(), (conversions_list{"eps: a.eps -> out.pdf", "eps: b.EPS -> out.pdf",
                                               "eps: c.epsf -> out.pdf", "eps: d.EPSF -> out.pdf",
                                               "eps: e.Eps -> out.pdf", "f.ps -> out.pdf",
                                               "g.pdf -> out.pdf", "h -> out.pdf"}));
}
