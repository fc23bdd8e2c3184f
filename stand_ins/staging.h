// Gives the tools of one run safe names for its files, inside the run's folder.
#ifndef PAPERMILL_STAND_INS_STAGING_H
#define PAPERMILL_STAND_INS_STAGING_H

#include <string>
#include <vector>

constexpr char destination_link[] = "papermill-to"; // the run's link to the destination itself

// What stage() ends with.
enum staging_status { staged = 0, no_input = 66, no_output = 73 };

// The link in the run's folder by which the tools know an input: papermill-in, and where there are
// several, papermill-in-1 and so on.
std::string input_link_name(std::size_t number, std::size_t count);

// Links the inputs and makes a folder for unfinished output beside the destination. `kind` is
// "pdf" when only PDF files are of use, "ps" when they are of none, else "any". Says on standard
// error what is wrong.
staging_status stage(const std::string &run_folder, const std::string &kind, const char *output,
                     const std::vector<const char *> &inputs);

#endif
