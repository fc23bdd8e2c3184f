// QuickDraw pictures, from PostScript, PDF and EPS; a picture as the preview within an EPS file.
#ifndef PAPERMILL_ENGINE_PICT_OUTPUT_H
#define PAPERMILL_ENGINE_PICT_OUTPUT_H

#include "platform/files.h"
#include "platform/types.h"

#include <cstdint>

extern unsigned char pict_preview; // attach the picture to its EPS file; epstopict
extern unsigned char pict_delete;  // delete the picture file then; epstopict -> add_pict
extern std::int32_t pict_depth;    // bits of a pixel: 1, 2, 4, 8, 16 or 32; -> drawPICT

// Converts the file, in_file when it is null, by its extension: EPS, PostScript or PDF. Nothing
// happens to others. Nothing in the program calls it.
void makepict(const char *path);

// Converts the first page, by way of a PDF, to the input's name with ".pict"; the output is not
// asked for its name.
void do_ps2pict(const char *input, const char *output);

// Converts the first page. A null input is in_file, a null output the input's name with ".pict".
// A given input becomes in_file.
void do_pdf2pict(const char *input, const char *output);

// Converts the figure; null as above. Attaches the picture as the settings say.
void epstopict(const char *input, const char *output);

// Makes the picture in the file of the EPS file's name with ".pict" a resource of the EPS file.
// noErr, or the first error; nothing is said of a missing picture.
OSErr add_pict(const char *epsPath);

// Stores the handle's data, a picture without the header of a file, as the file's resource 'PICT'
// 256. The handle stays the caller's to dispose of. noErr, or an error after a message.
OSErr save_pict_res(const FSSpec &spec, Handle picture);

// Draws the picture in the file anew at a depth of pict_depth, dithered, and writes it back. noErr,
// or an error, with the file as it was. Nothing in the program calls it.
OSErr drawPICT(const char *path);

#endif
