#include "platform/qt/shown_names.h"

#include "platform/qt/shown_text.h"

namespace {

constexpr int longest_run = 40; // characters without a place to break the line
constexpr QChar break_here(0x200B);

QString escaped(char byte)
{
    return QStringLiteral("\\x%1").arg(static_cast<unsigned char>(byte), 2, 16, QChar('0'));
}

// The units of a field that stand for bytes: surrogates that are half of nothing.
constexpr char16_t unit_of_byte_0 = 0xDC00;

bool stands_for_byte(QChar unit)
{
    return unit.unicode() >= unit_of_byte_0 + 0x80 && unit.unicode() <= unit_of_byte_0 + 0xFF;
}

} // namespace

QString platform::shown_name(const std::string &bytes)
{
    QString text;
    for (std::size_t at = 0; at < bytes.size();) {
        const character c = first_character(std::string_view(bytes).substr(at));
        text += c.latin1 || c.code < ' '
                    ? escaped(bytes[at])
                    : shown_string(std::string_view(bytes).substr(at, c.bytes));
        at += c.bytes;
    }
    return text;
}

QString platform::shown_message(const std::string &bytes)
{
    QString message;
    int run = 0;
    for (const QChar each : shown_name(bytes)) {
        run = each.isSpace() ? 0 : run + 1;
        if (run > longest_run && !each.isLowSurrogate() && !each.isMark()) {
            message += break_here;
            run = 1;
        }
        message += each;
    }
    return message;
}

QString platform::field_text(std::string_view bytes)
{
    QString text;
    while (!bytes.empty()) {
        const character c = first_character(bytes);
        if (c.latin1)
            text += QChar(static_cast<char16_t>(unit_of_byte_0 + c.code));
        else
            text += QChar::fromUcs4(c.code);
        bytes.remove_prefix(c.bytes);
    }
    return text;
}

QByteArray platform::field_bytes(const QString &text)
{
    QByteArray bytes;
    qsizetype start = 0; // of what is not in `bytes` yet
    for (qsizetype at = 0; at < text.size(); ++at) {
        const bool in_pair = at > 0 && text[at - 1].isHighSurrogate();
        if (in_pair || !stands_for_byte(text[at]))
            continue;
        bytes += text.mid(start, at - start).toUtf8();
        bytes += static_cast<char>(text[at].unicode() - unit_of_byte_0);
        start = at + 1;
    }
    return bytes + text.mid(start).toUtf8();
}
