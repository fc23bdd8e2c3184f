// What the conversions of EPS files share: their beginning, and the way by a bitmap.
#ifndef PAPERMILL_ENGINE_EPS_RENDER_H
#define PAPERMILL_ENGINE_EPS_RENDER_H

#include "app/globals.h"

// The files of the last conversion by way of a bitmap; eps_to_picture -> its callers.
extern char inname[path_size];
extern char outname[path_size];

// Tries the input, deletes an output that is there already, and prints the converting line. False,
// with a message, when the input cannot be opened or is the output.
bool begin_eps_conversion(const char *input, const char *output);

// False, with a message that names `subject`, for a resolution that no picture can have. `dpi` is
// in dots per inch.
bool resolution_is_good(const char *subject, int dpi);

// Renders the prepared EPS (see prepare_eps) into a PNM file of exactly w x h points at `dpi` dots
// per inch. 1 when the run completed, 0 when it was cancelled or could not be composed.
int do_eps2pnm(const char *eps, const char *pnm, int dpi, int w, int h);

// Converts the EPS file, in_file when it is null, to the output, or to the input's name with that
// extension (".tiff" or ".pict"): renders it and has ImageMagick turn the bitmap into the
// extension's format; `lzw` compresses it. False, with a message, when there is no output in the
// end. No temporary file stays.
bool eps_to_picture(const char *input, const char *output, const char *extension, int dpi,
                    bool lzw);

#endif
