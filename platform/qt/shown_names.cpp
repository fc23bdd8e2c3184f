#include "platform/qt/shown_names.h"

#include "platform/qt/shown_text.h"

#include <QByteArray>

#include <string_view>

namespace {

constexpr int longest_run = 40; // characters without a place to break the line
constexpr QChar break_here(0x200B);

QString escaped(char byte)
{
    return QStringLiteral("\\x%1").arg(static_cast<unsigned char>(byte), 2, 16, QChar('0'));
}

// How many bytes the UTF-8 character at `at` has; 0 when there is none.
std::size_t character_size(const std::string &bytes, std::size_t at)
{
    for (std::size_t size = 1; size <= 4 && at + size <= bytes.size(); ++size) {
        if (QByteArray::fromRawData(bytes.data() + at, static_cast<qsizetype>(size)).isValidUtf8())
            return size;
    }
    return 0;
}

} // namespace

QString platform::shown_name(const std::string &bytes)
{
    QString text;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t size = character_size(bytes, at);
        const bool is_control = size == 1 && static_cast<unsigned char>(bytes[at]) < ' ';
        text += size == 0 || is_control ? escaped(bytes[at])
                                        : shown_string(std::string_view(bytes).substr(at, size));
        at += size == 0 ? 1 : size;
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
