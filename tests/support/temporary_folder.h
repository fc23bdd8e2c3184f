// A folder of its own for a test, removed with all that is in it when the test is over.
#ifndef PAPERMILL_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define PAPERMILL_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <string>
#include <string_view>
#include <vector>

class temporary_folder {
public:
    temporary_folder();
    ~temporary_folder();
    temporary_folder(const temporary_folder &) = delete;
    temporary_folder &operator=(const temporary_folder &) = delete;

    const std::string &path() const;
    std::string operator/(std::string_view name) const; // the path of `name` in it

    // Writes the file `name` in it and returns its path. `write_program` makes it executable.
    std::string write(std::string_view name, std::string_view bytes) const;
    std::string write_program(std::string_view name, std::string_view bytes) const;

    std::string make_folder(std::string_view name) const;
    std::vector<std::string> names() const; // what lies in it, sorted

private:
    std::string own_path;
};

bool file_exists(const std::string &path);      // also a link to nothing
std::string read_file(const std::string &path); // "" when it cannot be read

#endif
