// A page of PostScript as an EPS file.
#ifndef PAPERMILL_ENGINE_EPS_EXTRACTION_H
#define PAPERMILL_ENGINE_EPS_EXTRACTION_H

// The box measured last, in points: lower left and upper right corner. It is kept between
// conversions.
extern int a, b, c, d;

// Measures the page of the PostScript file, in_file when it is null, and writes it as EPS under the
// input's name with ".eps", with the input's Finder type and creator.
void do_ps2eps(const char *input);

#endif
