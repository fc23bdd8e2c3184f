// What a text's bytes look like: UTF-8, with everything else made visible.
#ifndef PAPERMILL_PLATFORM_QT_SHOWN_TEXT_H
#define PAPERMILL_PLATFORM_QT_SHOWN_TEXT_H

#include <QString>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace platform {

struct character {
    char32_t code;
    std::size_t bytes; // that it takes
    bool latin1;       // it is a byte that is no UTF-8
};

character first_character(std::string_view bytes); // of one byte at least

// Text as it is shown, and which byte each of its units stands for.
struct shown_text {
    QString text;
    std::vector<std::uint16_t> places; // of each unit and of the end; empty: a unit is a byte

    [[nodiscard]] std::size_t place_of(qsizetype unit) const;
    [[nodiscard]] qsizetype unit_of(std::size_t place) const; // of the first one from there on
};

// Decodes at most 65535 bytes. A byte that is no UTF-8 is shown as its Latin-1 character. Control
// characters are shown as ^X, and what has no shape of its own or would turn the direction of its
// neighbours as \xNN or \uNNNN. Tabs stay; carriage returns and line feeds both become line feeds.
shown_text show_text(std::string_view bytes);

// The same without the places, of any length.
QString shown_string(std::string_view bytes);

// How many units that gives.
std::size_t count_shown(std::string_view bytes);

// Whether each of the bytes is a printing ASCII character.
bool is_plain(std::string_view bytes);

} // namespace platform

#endif
