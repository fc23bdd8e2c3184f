// Rendering a prepared EPS into a bitmap.
#ifndef PAPERMILL_ENGINE_EPS_RENDER_H
#define PAPERMILL_ENGINE_EPS_RENDER_H

// Renders the prepared EPS (see prepare_eps) into a PNM file of exactly w x h points at `dpi` dots
// per inch. 1 when the run completed, 0 when it was cancelled or could not be composed.
int do_eps2pnm(const char *eps, const char *pnm, int dpi, int w, int h);

#endif
