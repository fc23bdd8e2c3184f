// A gs.script of the test's own: it records how it was called, then does what the test says.
#ifndef PAPERMILL_TESTS_SUPPORT_FAKE_SCRIPT_H
#define PAPERMILL_TESTS_SUPPORT_FAKE_SCRIPT_H

#include "tests/support/temporary_folder.h"

#include <map>
#include <string>
#include <vector>

// While one is alive it is the first gs.script on PATH.
class fake_script {
public:
    // `steps` are shell commands. Beside the shell's own there are:
    //   says TEXT...   writes the capture file, formatted as printf does
    //   ends N WORD    leaves the status in the run's folder
    //   reports        tells the application that the run is over
    // $pid, $capture and $run are the application, the capture file and the run's folder.
    explicit fake_script(const std::string &steps = "says 'tool output\\n'; ends 0 done; reports");
    ~fake_script();
    fake_script(const fake_script &) = delete;
    fake_script &operator=(const fake_script &) = delete;

    void does(const std::string &steps) const; // instead, from the next call on

    int calls() const;                                      // how often it was called
    std::vector<std::string> arguments() const;             // of the last call
    std::map<std::string, std::string> environment() const; // likewise
    std::string working_folder() const;                     // likewise

private:
    temporary_folder folder;
    std::string old_path;
};

#endif
