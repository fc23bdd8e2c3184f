// The private folder of one run: what lies in it under which name, and how it is removed. Shared by
// the application and by the helper that gives the tools safe names.
#ifndef PAPERMILL_PLATFORM_CORE_RUN_FOLDER_H
#define PAPERMILL_PLATFORM_CORE_RUN_FOLDER_H

#include <string>

namespace platform {

// Removes the folder for unfinished output that stands beside the destination of the run whose
// folder is given.
void remove_unfinished_output(const std::string &run_folder);

// Removes the folder of a run with all that is in it, and its unfinished output.
void remove_run_folder(const std::string &folder);

// The name of a run's folder for unfinished output begins with this.
constexpr char unfinished_prefix[] = ".papermill-";

// The run's link to that folder, and the name by which the tools know the input.
constexpr char output_link[] = "papermill-out";
constexpr char input_link[] = "papermill-in";

} // namespace platform

#endif
