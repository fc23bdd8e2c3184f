// TIFF images, from EPS and from PostScript.
#ifndef PAPERMILL_ENGINE_TIFF_OUTPUT_H
#define PAPERMILL_ENGINE_TIFF_OUTPUT_H

// The names of Ghostscript's TIFF devices, for a choice of the device; tiff_format is an index into
// them. The conversions take tiff24nc, whatever is chosen.
constexpr int tiff_device_count = 10;
extern const char *const tformats[tiff_device_count];

// Converts the EPS file, in_file when it is null, to one image: the output, or the input's name
// with ".tiff".
void epstotiff(const char *input, const char *output);

// Converts the PostScript file to an image for each page, named after the input: -1.tiff and so on.
void do_ps2tiff(const char *input);

#endif
