// What Ghostscript's own output needs before it is the user's: pages that were moved away from the
// origin, so that nothing at negative coordinates was cut off, are moved back; names that only the
// run knows become the user's.
#ifndef PAPERMILL_STAND_INS_CORRECTIONS_H
#define PAPERMILL_STAND_INS_CORRECTIONS_H

#include <string>

// How far, in points to the right and up, gs.script moves the page before it is measured or
// rewritten.
constexpr int page_shift = 3000;

// Takes the shift off the boxes that the bbox device has written and drops its file's other lines,
// which go to the end of `messages`. False when a file cannot be read or written, or there is no
// box.
bool correct_boxes(const std::string &path, const std::string &messages);

// Moves the page of a rewritten EPS file back, and gives the file the box that `input` declares, as
// it stands there; where that has none, the measured one without the shift. False when a file
// cannot be read or written.
bool correct_eps(const std::string &path, const std::string &input);

// Puts the user's name for the PDF file, without its folder, into an index made of papermill-in.
// False when the file cannot be read or written.
bool correct_index(const std::string &path, const std::string &input);

#endif
