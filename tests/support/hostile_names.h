// File names that mean something to a shell, to a tool or to nobody.
#ifndef PAPERMILL_TESTS_SUPPORT_HOSTILE_NAMES_H
#define PAPERMILL_TESTS_SUPPORT_HOSTILE_NAMES_H

#include <string>
#include <vector>

// Each is a valid name of a file, without an extension. What one of them would run makes a file
// named "touched".
inline std::vector<std::string> hostile_names()
{
    return {"plain",
            "two words",
            " blank at both ends ",
            "it's",
            "a\"b\"c",
            "$HOME",
            "`touch touched`",
            "$(touch touched)",
            "a;touch touched;",
            "a&touch touched&",
            "a|touch touched",
            "|touch touched",
            "%pipe%touch touched",
            "a<b>c",
            "*",
            "[a]",
            "{a,b}",
            "~",
            "~root",
            "!",
            "!!",
            "#",
            "@",
            "@list",
            "a:b",
            "%d",
            "%s",
            "100%",
            "back\\slash",
            "\\",
            "tab\there",
            "new\nline",
            "\n",
            "return\rhere",
            "-dash",
            "--",
            "-dNOSAFER",
            "=",
            "?",
            "^",
            "(paren)",
            "\xC3\xA4\xC3\xB6\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80",
            "latin\xE4\xF6",
            "\xFF\xFE\x80",
            "\x01\x1B[31m\x7F",
            std::string(240, 'n')};
}

#endif
