// Collects what the program appends to its console, for tests.
#ifndef PAPERMILL_TESTS_SUPPORT_CONSOLE_CAPTURE_H
#define PAPERMILL_TESTS_SUPPORT_CONSOLE_CAPTURE_H

#include <string>

// While one is alive, appended bytes go to it as they are (line ends are carriage returns).
class console_capture {
public:
    console_capture();
    ~console_capture();
    console_capture(const console_capture &) = delete;
    console_capture &operator=(const console_capture &) = delete;

    const std::string &text() const; // all that was appended, byte for byte
    std::string lines() const;       // the same with carriage returns as line feeds
    void clear();
};

#endif
