// Whole files and child processes, for tests.
#ifndef PAPERMILL_TESTS_SUPPORT_TEST_FILES_H
#define PAPERMILL_TESTS_SUPPORT_TEST_FILES_H

#include "tests/support/temporary_folder.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

void write_file(const std::string &path, const std::string &bytes);
std::vector<std::string> names_in(const std::string &folder); // sorted

// Runs `body` in a child process. True when it came to its end without a failed expectation.
bool in_child(const std::function<void()> &body);

// The same without root's rights, which would make every permission test pass.
bool in_child_without_rights(const std::function<void()> &body);

// Whether this system's kernel can keep a process from writing.
bool kernel_confines();

pid_t start_child(const std::function<void()> &body);
bool child_succeeded(pid_t child); // waits for it

#endif
