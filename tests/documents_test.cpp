// What can be tested in the documents is tested: they list every message, setting and command.
#include "cli/commands.h"
#include "cli/exit_statuses.h"
#include "settings/setting_keys.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

const std::string root = PAPERMILL_SOURCE_DIR;

std::string document(const std::string &name)
{
    const std::string text = read_file(root + "/docs/" + name);
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

// The text of adjacent string literals, with its escapes taken out and without line ends around it.
std::string message_of(const std::string &literals)
{
    std::string text;
    const std::regex literal(R"re("((?:[^"\\]|\\.)*)")re");
    for (std::sregex_iterator it(literals.begin(), literals.end(), literal), end; it != end; ++it)
        text += (*it)[1];
    text = std::regex_replace(text, std::regex(R"(\\n)"), "\n");
    text = std::regex_replace(text, std::regex(R"(\\")"), "\"");
    text = std::regex_replace(text, std::regex(R"(^\s+|\s+$)"), "");
    return text;
}

void collect(const std::string &source, const std::string &call, std::set<std::string> *messages)
{
    const std::string text = read_file(source);
    const std::regex pattern(call + R"re(((?:\s*"(?:[^"\\]|\\.)*")+))re");
    for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
        const std::string message = message_of((*it)[1]);
        if (!message.empty() && message != "%s")
            messages->insert(message);
    }
}

} // namespace

TEST(Documents, EveryMessageIsExplained)
{
    std::set<std::string> messages;
    for (const char *folder :
         {"app", "cli", "console", "dialogs", "engine", "scripting", "settings", "stand_ins"}) {
        for (const auto &entry : fs::directory_iterator(root + "/" + folder)) {
            collect(entry.path(), R"(text_printf\()", &messages);
            collect(entry.path(), R"(complain\()", &messages);
        }
    }
    for (const char *chooser : {"settings/file_choosers.cpp", "platform/qt/chooser.cpp"})
        collect(root + "/" + chooser, R"((?:refuse_choice|show_refusal)\(\s*\w+,)", &messages);
    collect(root + "/resources/bin/gs.script", "echo", &messages);
    messages.erase("$result $ending"); // written into a file, not said
    ASSERT_GT(messages.size(), 40U);
    const std::string explained = document("messages.md");
    for (const std::string &message : messages)
        EXPECT_NE(explained.find("`" + message + "`"), std::string::npos) << message;
}

TEST(Documents, WhatTheWaitSheetSaysIsExplained)
{
    const std::string sheet = read_file(root + "/resources/ps2pdf.nib/wait.ui");
    const std::string explained = document("messages.md");
    const std::regex sentence("<string>([^<]*\\.)</string>");
    int sentences = 0;
    for (std::sregex_iterator it(sheet.begin(), sheet.end(), sentence), end; it != end; ++it) {
        EXPECT_NE(explained.find("`" + std::string((*it)[1]) + "`"), std::string::npos) << (*it)[1];
        ++sentences;
    }
    EXPECT_EQ(sentences, 2);
}

TEST(Documents, EveryLinkOfTheReadmeLeadsSomewhere)
{
    const std::string readme = read_file(root + "/README.md");
    const std::regex link(R"(\]\(([^)]+)\))");
    int links = 0;
    for (std::sregex_iterator it(readme.begin(), readme.end(), link), end; it != end; ++it, ++links)
        EXPECT_TRUE(fs::exists(root + "/" + std::string((*it)[1]))) << (*it)[1];
    EXPECT_GT(links, 10);
}

TEST(Documents, EverySettingIsListedAsTheProgramHasIt)
{
    const std::string listed = document("settings.md");
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        const setting_key &key = setting_keys[i];
        const std::string without = default_text(key);
        const std::string row = std::string("| `") + key.name + "` | " + key.meaning + " | " +
                                (without.empty() ? "nothing" : without) + " |\n";
        EXPECT_NE(listed.find(row), std::string::npos) << row;
    }
}

TEST(Documents, EveryCommandIsListedWithItsArguments)
{
    const std::string listed = document("terminal.md");
    for (const cli_command &command : cli_commands) {
        std::string call = "`papermill";
        if (command.group != nullptr)
            call += std::string(" ") + command.group;
        if (*command.name != 0)
            call += std::string(" ") + command.name;
        for (const cli_option &option : command.options) {
            std::string name = option.name;
            if (option.value != nullptr)
                name += std::string(" ") + option.value;
            call += option.required ? " " + name : " [" + name + "]";
        }
        for (const cli_argument &argument : command.arguments) {
            const std::string name = std::string(argument.name) + (argument.many ? "..." : "");
            const bool optional = !argument.required && !argument.many;
            call += optional ? " [" + name + "]" : " " + name;
        }
        EXPECT_NE(listed.find(call + "`"), std::string::npos) << call;
    }
}

TEST(Documents, EveryConversionIsShownWithAResult)
{
    const std::string shown = document("conversions.md");
    const std::string rows = shown.substr(0, shown.find("<!-- end of the table -->"));
    int conversions = 0;
    for (const cli_command &command : cli_commands) {
        const std::string name = command.name;
        if (!command.shows_console || name == "exec" || name == "serve")
            continue;
        ++conversions;
        const std::string call = "| `papermill " + (name.empty() ? "paper.ps`" : name + " ");
        EXPECT_NE(rows.find(call), std::string::npos) << call;
    }
    EXPECT_EQ(conversions, 14);
}

TEST(Documents, ExitStatusesAreThosePromised)
{
    const std::string listed = document("terminal.md");
    const std::pair<int, const char *> promised[] = {{cli_done, "cli_done"},
                                                     {cli_failed, "cli_failed"},
                                                     {cli_usage, "cli_usage"},
                                                     {cli_busy, "cli_busy"},
                                                     {cli_interrupted, "cli_interrupted"}};
    for (const auto &[status, name] : promised) {
        const std::string row = "| " + std::to_string(status) + " | `" + name + "` |";
        EXPECT_NE(listed.find(row), std::string::npos) << row;
    }
}
