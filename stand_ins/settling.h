// The end of a run: whether the tool's result is good, and its way to where the user wants it.
#ifndef PAPERMILL_STAND_INS_SETTLING_H
#define PAPERMILL_STAND_INS_SETTLING_H

#include <string>
#include <vector>

// One run, as gs.script tells it.
struct finished_run {
    std::string folder;               // the run's own
    int status;                       // the tool's
    std::string kind;                 // of the result; "tiff": a file for each page
    std::string capture;              // what the tools printed
    const char *output;               // as the application named it
    std::vector<const char *> inputs; // likewise; at least one
};

// Looks at the status, the messages and papermill-out/result.KIND; moves a good result over the
// destination; puts the user's names into the messages and says what is wrong in a line of its own;
// leaves the status and the way the run ended in the file "status". Returns the status. When the
// run's folder is gone, the run was cancelled: nothing is done.
int settle(const finished_run &run);

#endif
