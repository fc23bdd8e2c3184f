// Reads QuickDraw pictures for tests, by the letter of the format and with no patience: what is not
// exactly as it must be is a complaint.
#ifndef PAPERMILL_TESTS_SUPPORT_PICTURE_READER_H
#define PAPERMILL_TESTS_SUPPORT_PICTURE_READER_H

#include <string>
#include <vector>

struct read_picture {
    std::string complaint; // empty: the picture is sound, and is nothing but one picture
    int left = 0, top = 0, width = 0, height = 0; // of its frame
    double x_resolution = 0, y_resolution = 0;    // dots per inch
    std::vector<int> depths;                      // of its pixel maps, in order
    std::vector<int> modes;                       // their transfer modes
    std::string pixels;                           // three bytes each, white where nothing is drawn
};

// The picture as a resource holds it.
read_picture read_picture_data(const std::string &bytes);

// A picture file: 512 zero bytes before the picture.
read_picture read_picture_file(const std::string &path);

#endif
