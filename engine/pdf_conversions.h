// PDF to PDF, PostScript and DSC, EPS to EPS, PostScript to text: each one run of gs.script.
#ifndef PAPERMILL_ENGINE_PDF_CONVERSIONS_H
#define PAPERMILL_ENGINE_PDF_CONVERSIONS_H

// in_file -> out_file, distilled anew. They may be the same file.
void do_pdf2pdf();

// The input, in_file when it is null -> out_file, with Ghostscript or with pdftops. Which of the
// two is the caller's choice (usePDFTOPS).
void do_pdf2ps(const char *input);
void do_pdftops(const char *input);

// in_file -> out_file, rewritten. The bounding box stays.
void do_eps2eps();

// The input, in_file when it is null -> out_file, as text in UTF-8.
void do_ps2ascii(const char *input);

// Makes an index of the PDF file's pages. Runs in the output's folder on a copy of the input there,
// which is deleted in the end: an input that lies there itself is lost. The working folder stays
// the output's folder. Nothing happens when either path has no slash.
void do_pdf2dsc(const char *input, const char *output);

// Removes every double quote from the text, in place. Nothing in the program calls it.
void strip(char *s);

#endif
