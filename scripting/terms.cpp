#include "scripting/terms.h"

#include <strings.h>

namespace {

constexpr AEKeyword destination = four_chars("dest");
constexpr scripting_parameter nothing = {0, scripting_value::none, nullptr, nullptr, false};

constexpr scripting_parameter direct(scripting_value value, const char *name)
{
    return {keyDirectObject, value, nullptr, name, true};
}

constexpr scripting_parameter direct_files = direct(scripting_value::files, "files");

} // namespace

const scripting_term scripting_terms[] = {
    {"run",
     nullptr,
     kCoreEventClass,
     kAEOpenApplication,
     false,
     {nothing, nothing},
     "Does nothing; the program is started when it does not run"},
    {"open",
     nullptr,
     kCoreEventClass,
     kAEOpenDocuments,
     false,
     {direct_files, nothing},
     "Converts each file to PDF"},
    {"print",
     nullptr,
     kCoreEventClass,
     kAEPrintDocuments,
     false,
     {direct_files, nothing},
     "Is refused: the program does not print"},
    {"quit",
     nullptr,
     kCoreEventClass,
     kAEQuitApplication,
     false,
     {nothing, nothing},
     "Ends the program, and a conversion that is going on"},
    {"done",
     "Done",
     papermill_class,
     four_chars("done"),
     false,
     {nothing, nothing},
     "Reports that the tool of the current run has ended"},
    {"exec",
     "Exec",
     papermill_class,
     four_chars("exec"),
     true,
     {direct(scripting_value::text, "command"),
      {destination, scripting_value::file, "in", "folder", false}},
     "Runs a command line, in the folder if one is given"},
    {"pdf2dsc",
     "PDFToDSC",
     papermill_class,
     four_chars("dscs"),
     true,
     {direct(scripting_value::file, "input"),
      {destination, scripting_value::file, "to", "output", true}},
     "Makes an index of a PDF file's pages"},
    {"ps2eps",
     "PSToEPS",
     papermill_class,
     four_chars("epsf"),
     true,
     {direct_files, nothing},
     "Converts the first file from PostScript to EPS"},
    {"eps2tiff",
     "EPSToTIFF",
     papermill_class,
     four_chars("etif"),
     true,
     {direct_files, nothing},
     "Converts the first file from EPS to TIFF"},
    {"eps2pict",
     "EPSToPICT",
     papermill_class,
     four_chars("epic"),
     true,
     {direct_files, nothing},
     "Converts the first file from EPS to a picture"},
    {"pdf2ps",
     "PDFToPS",
     papermill_class,
     four_chars("pdfp"),
     true,
     {direct_files, nothing},
     "Converts the first file from PDF to PostScript"},
    {"convert",
     "Convert",
     papermill_class,
     four_chars("cdoc"),
     false,
     {direct(scripting_value::file, "input"),
      {keyDirectObject, scripting_value::file, "to", "output", true}},
     "Converts PostScript or EPS to PDF"},
};
const std::size_t scripting_term_count = sizeof scripting_terms / sizeof *scripting_terms;

const scripting_term *find_scripting_term(const char *word)
{
    for (const scripting_term &term : scripting_terms) {
        if (strcasecmp(term.word, word) == 0)
            return &term;
    }
    return nullptr;
}
