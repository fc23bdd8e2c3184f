#include "engine/tool_environment.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "platform/processes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr double default_version = 8.57;
constexpr std::size_t answer_size = 1024;

// Runs the command and reads once what it prints, at most answer_size - 1 bytes. False when it
// cannot be run.
bool first_answer(const char *command, char (&answer)[answer_size], std::size_t *length)
{
    std::FILE *pipe = popen(command, "r");
    if (pipe == nullptr)
        return false;
    *length = std::fread(answer, 1, answer_size - 1, pipe);
    answer[*length] = 0;
    pclose(pipe);
    return true;
}

} // namespace

const outside_tool outside_tools[] = {
    {"gs", "ghostscript", "every conversion", "gs --version"},
    {"pdftops", "poppler-utils", "PDF to PostScript on request", "pdftops -v"},
    {"pdftotext", "poppler-utils", "PostScript to text", "pdftotext -v"},
    {"convert", "imagemagick", "TIFF and PICT", "convert --version"},
    {"tcsh", "tcsh", "the helper script gs.script", "tcsh --version"},
};
const std::size_t outside_tool_count = sizeof outside_tools / sizeof outside_tools[0];

void SetBinaryPath()
{
    double version = default_version;
    const std::string private_gs = std::string(appPath) + "/bin/gs";
    const bool have_private_gs = access(private_gs.c_str(), F_OK) == 0;
    if (have_private_gs) {
        // What a shell would act upon in the folder's name is made harmless.
        std::string query = "\"";
        query += platform::in_double_quotes(private_gs.c_str());
        query += "\" -v";
        version = GetGSversion(query.c_str());
    } else if (doDebug) {
        text_printf("%s not found. Using system ghostscript.\n", private_gs.c_str());
    }

    // setenv keeps copies of its own, so one string after the other may be composed.
    const char *inherited = std::getenv("PATH");
    std::string path = std::string(contentsPath) + "/Resources/bin:";
    if (have_private_gs)
        path += std::string(appPath) + "/bin:";
    path += "/usr/local/bin:/usr/texbin:/sw/bin:";
    // An empty last entry would mean the current folder.
    if (inherited == nullptr || *inherited == 0)
        path.pop_back();
    else
        path += inherited;
    path.resize(std::min(path.size(), path.find_first_of("\n\r")));
    setenv("PATH", path.c_str(), 1);
    if (doDebug)
        text_printf("PATH = %s\n\n", std::getenv("PATH"));

    if (have_private_gs) {
        char number[64];
        std::snprintf(number, sizeof number, "%.2lf", version);
        const std::string folder = std::string(appPath) + "/ghostscript/";
        const std::string library =
            folder + number + "/lib:" + folder + number + "/Resource:" + folder + "fonts";
        setenv("GS_LIB", library.c_str(), 1);
        if (doDebug)
            text_printf("GS_LIB = %s\n\n", std::getenv("GS_LIB"));
    }
    appPID = getpid();
}

double GetGSversion(const char *command)
{
    char answer[answer_size];
    std::size_t length = 0;
    if (!first_answer(command, answer, &length))
        return 0.0;
    double version = 0.0;
    if (std::sscanf(answer, "%*s %*s %lf", &version) != 1)
        version = 0.0;
    return version;
}

int CheckForPDFTOPS(const char *command)
{
    char answer[answer_size];
    std::size_t length = 0;
    if (!first_answer(command, answer, &length))
        return 0;
    text_printf("output = %s\n", answer);
    return length > 1 ? 1 : 0;
}

void getMachOCalls() {}

// The stand-ins beside the helper script come first on PATH and are no outside tools.
static bool is_stand_in(const std::string &folder)
{
    return access((folder + "/gs.script").c_str(), F_OK) == 0;
}

std::string find_tool(const char *name)
{
    const char *variable = std::getenv("PATH");
    const std::string path = variable == nullptr ? "" : variable;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find(':', start), path.size());
        const std::string folder = end == start ? "." : path.substr(start, end - start);
        const std::string candidate = folder + "/" + name;
        struct stat status = {};
        if (stat(candidate.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            access(candidate.c_str(), X_OK) == 0 && !is_stand_in(folder))
            return candidate;
        start = end + 1;
    }
    return "";
}

const char *package_of(const char *name)
{
    for (const outside_tool &tool : outside_tools) {
        if (std::strcmp(tool.name, name) == 0)
            return tool.package;
    }
    return nullptr;
}
