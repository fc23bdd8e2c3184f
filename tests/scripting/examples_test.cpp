// The page about scripting holds what it says: its examples run, its tables are those of the
// program.
#include "scripting/requests.h"
#include "tests/support/service_test.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace {

const std::string page_path = PAPERMILL_SOURCE_DIR "/docs/scripting.md";

// A block of the page, with what the lines behind it say of it.
struct example {
    std::string language;
    int line = 0;
    std::string text;
    strings makes;     // <!-- makes: one file.pdf, another.pdf -->
    std::string shows; // the block of text behind it
};

strings split_names(const std::string &names)
{
    strings result;
    std::size_t from = 0;
    for (std::size_t to = 0; to != std::string::npos; from = to + 2) {
        to = names.find(", ", from);
        result.push_back(names.substr(from, to - from));
    }
    return result;
}

std::vector<example> read_examples()
{
    std::vector<example> result;
    std::istringstream page(read_file(page_path));
    std::string *block = nullptr; // that is being read
    int number = 0;
    for (std::string line; std::getline(page, line);) {
        ++number;
        const std::string makes = "<!-- makes: ";
        if (block != nullptr && line == "```")
            block = nullptr;
        else if (block != nullptr)
            *block += line + "\n";
        else if (line == "```applescript" || line == "```sh") {
            result.push_back({line.substr(3), number, "", {}, ""});
            block = &result.back().text;
        } else if (line == "```text") {
            block = &result.back().shows;
        } else if (line.compare(0, makes.size(), makes) == 0) {
            result.back().makes =
                split_names(line.substr(makes.size(), line.rfind(" -->") - makes.size()));
        }
    }
    return result;
}

void PrintTo(const example &e, std::ostream *out)
{
    *out << "line " << e.line;
}

class ScriptingExample : public service_test, public testing::WithParamInterface<example> {
protected:
    void SetUp() override
    {
        user.write("paper.ps", drawing_ps(80, 60));
        user.write("second.ps", drawing_ps(70, 50));
        user.write("figure.eps", drawing_eps(50, 40));
        ASSERT_EQ(user.run({"gs", "-q", "-dBATCH", "-dNOPAUSE", "-sDEVICE=pdfwrite",
                            "-sOutputFile=book.pdf", "paper.ps"})
                      .status,
                  0);
        std::filesystem::create_directory(user.path("index"));
        user.environment["PATH"] = PAPERMILL_BUNDLE "/Linux:" PAPERMILL_BUNDLE "/Resources/bin:" +
                                   std::string(std::getenv("PATH"));
        start_service();
    }
};

// Rows of a table whose first cell is a number, by that.
std::string cell_of_error(const std::string &page, int number)
{
    const std::string begin = "\n| " + std::to_string(number) + " | ";
    const std::size_t at = page.find(begin);
    if (at == std::string::npos)
        return "";
    const std::size_t start = at + begin.size();
    return page.substr(start, page.find(" |\n", start) - start);
}

std::string row_of(const scripting_term &term)
{
    const auto code = [](OSType value) {
        std::string text = "`";
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(value >> shift);
        return text + "`";
    };
    std::string parameters;
    for (const scripting_parameter &parameter : term.parameters) {
        if (parameter.value == scripting_value::none)
            continue;
        parameters += (parameters.empty() ? "" : ", ") + std::string(parameter.name) + " (" +
                      code(parameter.keyword) + (parameter.required ? "" : ", may be left out") +
                      ")";
    }
    const std::string method = term.method == nullptr ? "–" : "`" + std::string(term.method) + "`";
    return "| `" + std::string(term.word) + "` | " + method + " | " + code(term.event_class) + " " +
           code(term.event_id) + " | " + (parameters.empty() ? "–" : parameters) + " | " +
           (term.replies_status ? "exit status" : "–") + " | " + term.help + " |\n";
}

} // namespace

TEST_P(ScriptingExample, Runs)
{
    const example &shown = GetParam();
    const bool script = shown.language == "applescript";
    for (const std::string &name : shown.makes)
        ASSERT_FALSE(user.has(name)) << name;
    program_call call = user.call({});
    call.arguments = {"sh", "-c", script ? "exec osascript - 2>&1" : "exec sh -s 2>&1"};
    call.input = shown.text;
    const program_result result = run_program(call);
    EXPECT_EQ(result.out, shown.shows);
    const bool fails = script && contains(shown.shows, "syntax error");
    EXPECT_EQ(result.status, fails ? 1 : 0);
    for (const std::string &name : shown.makes)
        EXPECT_TRUE(user.has(name)) << name;
    if (contains(shown.text, "quit")) {
        EXPECT_EQ(service->finish().status, 0);
        service.reset();
    }
}

INSTANTIATE_TEST_SUITE_P(OnThePage, ScriptingExample, testing::ValuesIn(read_examples()));

TEST(ScriptingPage, HasAnExampleForEachRequest)
{
    std::string scripts;
    for (const example &each : read_examples())
        scripts += each.language == "applescript" ? each.text : "";
    for (std::size_t i = 0; i < scripting_term_count; ++i)
        EXPECT_TRUE(contains(scripts, std::string(" ") + scripting_terms[i].word))
            << scripting_terms[i].word;
}

TEST(ScriptingPage, ListsTheRequestsAsTheProgramHasThem)
{
    const std::string page = read_file(page_path);
    for (std::size_t i = 0; i < scripting_term_count; ++i)
        EXPECT_TRUE(contains(page, row_of(scripting_terms[i]))) << row_of(scripting_terms[i]);
}

TEST(ScriptingPage, ListsTheErrorsWithTheirSentences)
{
    const std::string page = read_file(page_path);
    int listed = 0;
    for (int number = -32768; number < 0; ++number) {
        const std::string sentence = scripting_error_text(static_cast<OSErr>(number));
        if (sentence == scripting_error_text(-1))
            continue;
        EXPECT_EQ(cell_of_error(page, number), sentence) << number;
        ++listed;
    }
    EXPECT_GT(listed, 10);
}
