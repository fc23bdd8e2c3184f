// Whether what a tool left is a whole file of its kind: a status of 0 is no proof.
#ifndef PAPERMILL_STAND_INS_SOUNDNESS_H
#define PAPERMILL_STAND_INS_SOUNDNESS_H

#include <string>

// True for an ordinary file of that kind (pdf, ps, eps, dsc, txt, pnm, tiff, pict) that looks whole
// from its head to its end; text is sound when there is more than blanks in it. Any other kind is
// when it is not empty.
bool is_sound(const std::string &kind, const std::string &path);

#endif
