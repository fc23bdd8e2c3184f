#include "platform/qt/shown_text.h"

#include <QChar>

#include <algorithm>

namespace {

using platform::character;

bool between(char32_t c, char32_t first, char32_t last)
{
    return c >= first && c <= last;
}

// Characters that are not to be seen, or that turn the direction of what follows.
bool is_shapeless(char32_t c)
{
    return between(c, 0x80, 0x9F) || c == 0xAD || c == 0x61C || c == 0x200B ||
           between(c, 0x200E, 0x200F) || between(c, 0x2028, 0x202E) || between(c, 0x2060, 0x206F) ||
           c == 0xFEFF || between(c, 0xFFF9, 0xFFFB) || (c & 0xFFFE) == 0xFFFE;
}

void append_escape(QString *to, const character &c)
{
    *to += c.latin1 ? QLatin1String("\\x") : QLatin1String("\\u");
    *to += QString::number(static_cast<uint>(c.code), 16)
               .toUpper()
               .rightJustified(c.latin1 ? 2 : 4, QLatin1Char('0'));
}

void append_shown(QString *to, const character &c)
{
    if (c.code == '\r' || c.code == '\n') {
        *to += QLatin1Char('\n');
    } else if ((c.code < 32 && c.code != '\t') || c.code == 127) {
        *to += QLatin1Char('^');
        *to += QLatin1Char(static_cast<char>(c.code ^ 64U));
    } else if (is_shapeless(c.code)) {
        append_escape(to, c);
    } else if (c.code < 0x10000) {
        *to += QChar(static_cast<char16_t>(c.code));
    } else {
        *to += QChar(QChar::highSurrogate(c.code));
        *to += QChar(QChar::lowSurrogate(c.code));
    }
}

bool is_one_unit(char byte)
{
    return (byte >= 32 && byte < 127) || byte == '\r' || byte == '\n' || byte == '\t';
}

// How many bytes at the start are shown as one unit each.
std::size_t plain_start(std::string_view bytes)
{
    return static_cast<std::size_t>(std::find_if_not(bytes.begin(), bytes.end(), is_one_unit) -
                                    bytes.begin());
}

} // namespace

namespace platform {

character first_character(std::string_view bytes)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const char32_t first = byte(0);
    if (first < 0x80)
        return {first, 1, false};
    std::size_t size = 0;
    char32_t least = 0;
    char32_t code = 0;
    if (between(first, 0xC2, 0xDF)) {
        size = 2;
        code = first & 0x1F;
        least = 0x80;
    } else if (between(first, 0xE0, 0xEF)) {
        size = 3;
        code = first & 0x0F;
        least = 0x800;
    } else if (between(first, 0xF0, 0xF4)) {
        size = 4;
        code = first & 0x07;
        least = 0x10000;
    }
    if (size == 0 || bytes.size() < size)
        return {first, 1, true};
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80)
            return {first, 1, true};
        code = (code << 6) | (byte(i) & 0x3FU);
    }
    if (code < least || code > 0x10FFFF || between(code, 0xD800, 0xDFFF))
        return {first, 1, true};
    return {code, size, false};
}

std::size_t shown_text::place_of(qsizetype unit) const
{
    const auto place = static_cast<std::size_t>(unit);
    return places.empty() ? place : places[std::min(place, places.size() - 1)];
}

qsizetype shown_text::unit_of(std::size_t place) const
{
    if (places.empty())
        return static_cast<qsizetype>(place);
    const auto unit = std::lower_bound(places.begin(), places.end() - 1, place);
    return static_cast<qsizetype>(unit - places.begin());
}

shown_text show_text(std::string_view bytes)
{
    shown_text shown;
    const std::size_t plain = plain_start(bytes);
    shown.text = shown_string(bytes.substr(0, plain));
    if (plain == bytes.size())
        return shown;
    shown.places.reserve(bytes.size() + 1);
    for (std::size_t i = 0; i < plain; ++i)
        shown.places.push_back(static_cast<std::uint16_t>(i));
    for (std::size_t at = plain; at < bytes.size();) {
        const character c = first_character(bytes.substr(at));
        append_shown(&shown.text, c);
        shown.places.resize(static_cast<std::size_t>(shown.text.size()),
                            static_cast<std::uint16_t>(at));
        at += c.bytes;
    }
    shown.places.push_back(static_cast<std::uint16_t>(bytes.size()));
    return shown;
}

QString shown_string(std::string_view bytes)
{
    QString text;
    text.reserve(static_cast<qsizetype>(bytes.size()));
    while (!bytes.empty()) {
        const std::size_t plain = plain_start(bytes);
        const qsizetype start = text.size();
        text += QLatin1String(bytes.data(), static_cast<qsizetype>(plain));
        std::replace(text.begin() + start, text.end(), QLatin1Char('\r'), QLatin1Char('\n'));
        bytes.remove_prefix(plain);
        if (bytes.empty())
            break;
        const character c = first_character(bytes);
        append_shown(&text, c);
        bytes.remove_prefix(c.bytes);
    }
    return text;
}

std::size_t count_shown(std::string_view bytes)
{
    std::size_t count = 0;
    QString units;
    while (!bytes.empty()) {
        const std::size_t plain = plain_start(bytes);
        count += plain;
        bytes.remove_prefix(plain);
        if (bytes.empty())
            break;
        const character c = first_character(bytes);
        units.clear();
        append_shown(&units, c);
        count += static_cast<std::size_t>(units.size());
        bytes.remove_prefix(c.bytes);
    }
    return count;
}

bool is_plain(std::string_view bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c >= 32 && c < 127; });
}

} // namespace platform
