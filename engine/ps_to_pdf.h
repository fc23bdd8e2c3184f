// PostScript and EPS to PDF, with Ghostscript or with pstopdf.
#ifndef PAPERMILL_ENGINE_PS_TO_PDF_H
#define PAPERMILL_ENGINE_PS_TO_PDF_H

// Converts the file, or in_file when it is null, to its own name with ".pdf".
void do_ps2pdf(const char *input);

// Converts to the given output, without a banner line.
void do_ps2pdf2(const char *input, const char *output);

// Prepares the EPS (bounding box at the origin, page of its size) and converts the copy. A null
// output is named after the input. An output that is there is deleted first. Returns 0.
int epstopdf(const char *input, const char *output);

#endif
