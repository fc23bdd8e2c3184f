#include "settings/setting_keys.h"

const setting_key setting_keys[] = {
    // The readers that merge and re-distil fall back to the shipped options; Ghostscript's own
    // route from PostScript gets none without the setting.
    {"PS2PDF_OPTION_STR", setting_text, distilling_options,
     "-dPDFSETTINGS=/printer -dCompatibilityLevel=1.3 -sPAPERSIZE=letter when PDFs are merged or "
     "re-distilled, else no options",
     "extra Ghostscript options for PostScript to PDF"},
    {"APPLE_PDF_STR", setting_true_unless_zero, "0", nullptr,
     "make PDFs from PostScript with pstopdf instead of Ghostscript"},
    {"PDF2PS_OPTION_STR", setting_text, nullptr, nullptr, "extra options for PDF to PostScript"},
    {"PDFTOPS_STR", setting_true_unless_zero, "0", nullptr,
     "use pdftops rather than Ghostscript for PDF to PostScript"},
    // Two readers, two defaults. The preferences window shows 150 too, so 150 is shipped.
    {"TIFF_OPTION_STR", setting_number, "150", "150 from PostScript, 144 from EPS",
     "resolution of TIFF output in dots per inch"},
    {"TIFFCOMPRESS", setting_true_if_one, "0", nullptr, "compress TIFF files made from EPS"},
    {"TIFFFORMAT", setting_number, "1", nullptr, "index of the TIFF device"},
    {"PICT_RES", setting_number, "144", nullptr, "resolution of pictures in dots per inch"},
    {"PICT_PREVIEW", setting_true_if_one, "0", nullptr,
     "attach the picture made from an EPS file to that file as its preview"},
    {"PICT_DELETE", setting_true_if_one, "0", nullptr,
     "delete the picture file once it is attached as a preview"},
    {"PDFMERGE_INFILES", setting_text, nullptr, nullptr, "input files of the last PDF merge"},
    {"PDFMERGE_OUTFILE", setting_text, nullptr, nullptr, "output file of the last PDF merge"},
    {"PDFMERGE_DIR", setting_text, nullptr, nullptr, "folder of the last PDF merge"},
    {"GSDIR", setting_text, nullptr, nullptr, "working folder of the command-line window"},
    {"GSCOMMAND", setting_text, nullptr, nullptr, "last command of the command-line window"},
    {"TEXDIR", setting_text, nullptr, nullptr, "folder of the last input file chosen"},
    {"FONTNAME", setting_text, nullptr, "the desktop's interface font", "font of the console"},
    // Two readers, two defaults: 12 is the size that the text gets, 10 only sets a check mark.
    {"FONTSIZE", setting_number, "12", nullptr, "font size of the console: 9, 10, 12 or 14"},
    {"GSWINDOW", setting_text, nullptr, "the window's own place",
     "bounds of the console window: top, left, bottom, right"},
    {"DEBUG1", setting_true_if_one, "0", nullptr, "say more in the console"},
};

const std::size_t setting_key_count = sizeof setting_keys / sizeof setting_keys[0];

const char *default_text(const setting_key &of)
{
    if (of.when_not_set != nullptr)
        return of.when_not_set;
    return of.shipped != nullptr ? of.shipped : "";
}
