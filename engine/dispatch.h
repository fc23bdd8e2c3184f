// Which conversion a file gets that came without one: by its extension, to PDF.
#ifndef PAPERMILL_ENGINE_DISPATCH_H
#define PAPERMILL_ENGINE_DISPATCH_H

// Empties the open-documents list, as senders do first.
void clear_jobs();

// Appends the path to the open-documents list.
void add_job(const char *path);

// Converts every file of the open-documents list in its order, then frees the list. What is not
// EPS goes the PostScript way without a test.
void doOpenDoc();

// Converts the dropped file dragFile; what is neither EPS nor PostScript is passed over in silence.
void runDragFile();

// Converts one file to the given PDF.
void do_ps2pdf1(const char *in, const char *out);

#endif
