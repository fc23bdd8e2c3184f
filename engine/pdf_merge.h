// Several PDF files into one.
#ifndef PAPERMILL_ENGINE_PDF_MERGE_H
#define PAPERMILL_ENGINE_PDF_MERGE_H

// Merges the files of the list, which the shell takes apart, into the output. All names may be
// relative to the folder; it stays the working folder.
void run_pdfmerge(const char *list, const char *output, const char *folder);

// Asks in a window for the list, the output and the folder, keeps them for the next time, and
// merges them.
void do_pdfmerge();

#endif
