// Parses the bytes as a script, and expects its problem to lie within it. As a value, the bytes
// have to come back from a script that they are written in.
#include "stand_ins/applescript_parser.h"
#include "stand_ins/applescript_values.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using namespace applescript;

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void parse(const std::string &text)
{
    script understood;
    const problem found = parse_script(text, &understood);
    require(found.where.from <= found.where.to && found.where.to <= understood.text.size());
    require(found.number != 0 || found.text.empty());
    require(!describe(found, understood.text).empty());
}

void come_back(const std::string &text)
{
    if (text.find('\0') != std::string::npos)
        return; // which no script can hold
    script understood;
    require(parse_script(source(text_of(text)), &understood).number == 0);
    require(understood.statements.size() == 1 &&
            understood.statements[0].parts[0].text_value == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(data, data + size);
    parse(text);
    come_back(text);
    return 0;
}
