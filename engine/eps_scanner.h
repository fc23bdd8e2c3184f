// Finds the bounding box of an EPS file and makes the copy of it whose page is exactly that box:
// the page size set, the lower left corner moved to the origin.
//
// A line ends behind a line feed or a carriage return, so a CRLF file has lines of one byte
// between its lines; a line longer than 9999 bytes counts as several of 9999 bytes.
#ifndef PAPERMILL_ENGINE_EPS_SCANNER_H
#define PAPERMILL_ENGINE_EPS_SCANNER_H

#include "engine/eps_stream.h"

extern int bbox[4];            // llx, lly, urx, ury of the last box found; scanfile
extern int numch;              // bytes in the line last read; macfgets' callers -> macfputs
extern unsigned char bbneeded; // the replacement for the bounding box has still to be written
extern unsigned char wrotebb;  // it has been written

constexpr unsigned whitespace_class = 0x4000; // the one character class that is asked for

// Reads one line, its end included, into `buf` of `size` bytes, and a NUL behind it. Returns the
// line's length, 0 at the end of the stream. A line of more than size - 1 bytes comes in pieces.
int macfgets(char *buf, int size, eps_input *in);

// Writes the first numch bytes of `buf`.
void macfputs(const char *buf, eps_output *out);

// 1 if the character is in one of the classes of the mask, else 0. Codes above 127 are the C
// locale's affair.
int __istype(int code, unsigned mask);

// Reads n integers, separated by white space, from s as atoi does; a missing one is 0, one that
// does not fit is the nearest int that does. Tokens are shorter than a line.
void read_number(const char *s, int n, int *out);

// Takes the first bounding box comment of the file that is not in an embedded document into bbox,
// width, height, xoffset and yoffset. 1 if there is one; 0 if not, or if the file cannot be read.
int scanfile(const char *path);

// Writes the copy of `in` to tmpPath/tmp1.eps, whose path goes to `tmpname` (path_size bytes).
// 1 with the box's size in points in *w and *h; the caller deletes the copy. 0 after a message on
// the console, and there is no copy.
int prepare_eps(const char *in, char *tmpname, int *w, int *h);

// Cuts the extension of the path's last component off in place; returns the position of the cut,
// or null when there is no extension.
char *strip_ext(char *path);

#endif
