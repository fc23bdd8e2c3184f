#include "tests/support/script_test.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

const std::string bundled_tools = std::string(PAPERMILL_BUNDLE) + "/Resources/bin";
const std::string one_page = "%!PS\n/Helvetica findfont 20 scalefont setfont\n"
                             "72 72 moveto (one) show showpage\n";
const std::string keep_words =
    "for word; do printf '%s\\0' \"$word\"; done > $TMPDIR/words.${0##*/}\n"
    "readlink /proc/$$/fd/0 > $TMPDIR/input.${0##*/}\n";
const std::string make_pdf = "printf '%%PDF-1.7\\n%%%%EOF\\n' > papermill-out/result.pdf\n";

static volatile std::sig_atomic_t report_count;

static void count_report(int /*number*/)
{
    report_count = report_count + 1;
}

int reports()
{
    return report_count;
}

script_test::script_test() : run(temporary.make_folder("run.1")), capture(temporary / "worksheet")
{
    temporary.make_folder("run.1/tmp");
    input = users.write("in.ps", one_page);
    output = users / "out.pdf";
    path = bundled_tools + ":" + std::getenv("PATH");
    report_count = 0;
    std::signal(SIGUSR1, count_report);
}

script_test::~script_test()
{
    std::signal(SIGUSR1, SIG_DFL);
}

void script_test::install(const std::string &tool, const std::string &script)
{
    tools.write_program(tool, "#!/bin/sh\n" + script);
    path = tools.path() + ":" + bundled_tools + ":" + std::getenv("PATH");
}

program_call script_test::call(const std::string &subcommand, const words &arguments) const
{
    program_call result;
    result.arguments = {bundled_tools + "/gs.script", subcommand, std::to_string(getpid())};
    // These two don't take the capture file.
    if (subcommand != "ps2ascii" && subcommand != "ps2eps")
        result.arguments.push_back(capture);
    result.arguments.insert(result.arguments.end(), arguments.begin(), arguments.end());
    result.folder = users.path();
    result.environment = {{"PATH", path},
                          {"PAPERMILL_RUN_FOLDER", run},
                          {"PAPERMILL_PREPARED_FROM", std::nullopt},
                          {"TMPDIR", run + "/tmp"}};
    return result;
}

int script_test::script(const std::string &subcommand, const words &arguments) const
{
    const program_result result = run_program(call(subcommand, arguments));
    EXPECT_EQ(result.err, "");
    return result.status;
}

int script_test::ps2pdf(const std::string &options) const
{
    return script("ps2pdf", {output, input, options});
}

std::string script_test::said() const
{
    return read_file(capture) + read_file(run + "/messages");
}

std::string script_test::ending() const
{
    return read_file(run + "/status");
}

void script_test::new_run()
{
    std::filesystem::remove_all(run);
    temporary.make_folder("run.1/tmp");
    std::filesystem::remove(capture);
    report_count = 0;
}

std::string script_test::text_of(const std::string &pdf) const
{
    return run_program({{"pdftotext", pdf, "-"}}).out;
}

words script_test::tool_words(const std::string &tool) const
{
    words result;
    const std::string all = read_file(run + "/tmp/words." + tool);
    for (std::size_t start = 0; start < all.size();) {
        const std::size_t end = all.find('\0', start);
        result.push_back(all.substr(start, end - start));
        start = end + 1;
    }
    return result;
}

std::string script_test::tool_input(const std::string &tool) const
{
    const std::string line = read_file(run + "/tmp/input." + tool);
    return line.substr(0, line.find('\n'));
}
