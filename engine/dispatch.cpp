#include "engine/dispatch.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "engine/ps_to_pdf.h"
#include "engine/tool_runner.h"
#include "platform/events.h"
#include "platform/strings.h"
#include "settings/path_utils.h"

#include <cstdlib>
#include <cstring>

namespace {

const char *job_path(const job_record *job)
{
    return job->long_path != nullptr ? job->long_path : job->path;
}

void refuse_job(const char *path)
{
    text_printf("%s: not converted, there is no memory left.\n", path);
    conversion_failed();
}

job_record *last_job; // where the list goes on

} // namespace

void clear_jobs()
{
    for (job_record *job = myJobs.next; job != nullptr;) {
        job_record *next = job->next;
        std::free(job->long_path);
        std::free(job);
        job = next;
    }
    std::free(myJobs.long_path);
    myJobs = {};
    numberOfJobs = 0;
}

void add_job(const char *path)
{
    job_record *job = &myJobs;
    if (numberOfJobs > 0) {
        job = static_cast<job_record *>(std::calloc(1, sizeof(job_record)));
        if (job == nullptr) {
            refuse_job(path);
            return;
        }
        last_job->next = job;
    }
    last_job = job;
    ++numberOfJobs;
    job->next = nullptr;
    job->long_path = nullptr;
    job->path[0] = 0;
    if (platform::copy_whole(job->path, path))
        return;
    job->long_path = strdup(path);
    if (job->long_path == nullptr)
        refuse_job(path);
}

void doOpenDoc()
{
    if (numberOfJobs == 0)
        return;
    for (const job_record *job = &myJobs; job != nullptr; job = job->next) {
        // The user may have ended the program in the course of the last conversion, or after it.
        if (platform::tell_interrupt() || interrupted)
            break;
        const char *path = job_path(job);
        if (*path == 0)
            continue;
        // The case of an extension never matters: the second test of a pair decides nothing.
        if (has_extension(path, ".eps") || has_extension(path, ".EPS"))
            epstopdf(path, nullptr);
        else if (has_extension(path, ".epsf") || has_extension(path, ".EPSF"))
            epstopdf(path, nullptr);
        else
            do_ps2pdf(path);
    }
    clear_jobs();
}

void runDragFile()
{
    if (has_extension(dragFile, ".eps") || has_extension(dragFile, ".epsf"))
        epstopdf(dragFile, nullptr);
    else if (has_extension(dragFile, ".ps") == 1)
        do_ps2pdf(dragFile);
}

void do_ps2pdf1(const char *in, const char *out)
{
    if (has_extension(in, ".eps") || has_extension(in, ".EPS") || has_extension(in, ".epsf") ||
        has_extension(in, ".EPSF"))
        epstopdf(in, out);
    else
        do_ps2pdf2(in, out);
}
