#include "platform/qt/fonts.h"

#include "platform/fonts.h"
#include "platform/strings.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QStringList>

#include <algorithm>
#include <string>
#include <vector>

namespace {

struct named_font {
    std::string name;
    QFont font;
    bool installed; // else the name only stands for it
};

bool is_name(const std::string &text, ConstStringPtr name)
{
    Str255 pascal;
    platform::to_pascal(text, pascal);
    return EqualString(pascal, name, 0, 0) != 0;
}

// By their numbers. The desktop's own choice may be an alias; its font has a name all the same.
const std::vector<named_font> &fonts()
{
    static const std::vector<named_font> all = [] {
        const QFont interface = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
        std::vector<named_font> list = {
            {QFontInfo(interface).family().toStdString(), interface, true}};
        const auto add = [&](const std::string &name, const QFont &font, bool installed) {
            Str255 pascal;
            platform::to_pascal(name, pascal);
            const bool known = std::any_of(list.begin(), list.end(), [&](const auto &each) {
                return is_name(each.name, pascal);
            });
            if (!known)
                list.push_back({name, font, installed});
        };
        for (const QString &family : QFontDatabase::families())
            if (!QFontDatabase::isPrivateFamily(family))
                add(family.toStdString(), QFont(family), true);
        add("Monaco", QFontDatabase::systemFont(QFontDatabase::FixedFont), false);
        add("Lucida Grande", interface, false);
        return list;
    }();
    return all;
}

} // namespace

QFont platform::font_named(ConstStringPtr name)
{
    std::int16_t number = 0;
    GetFNum(name, &number);
    return fonts()[static_cast<std::size_t>(number)].font;
}

std::vector<std::string> platform::installed_fonts()
{
    QStringList names;
    for (const named_font &each : fonts())
        if (each.installed)
            names.append(QString::fromStdString(each.name));
    names.sort(Qt::CaseInsensitive);
    std::vector<std::string> result;
    for (const QString &name : names)
        result.push_back(name.toStdString());
    return result;
}

void GetFNum(ConstStringPtr name, std::int16_t *number)
{
    const auto found = std::find_if(fonts().begin(), fonts().end(),
                                    [&](const auto &each) { return is_name(each.name, name); });
    *number = found == fonts().end() ? std::int16_t{0}
                                     : static_cast<std::int16_t>(found - fonts().begin());
}

void GetFontName(std::int16_t number, StringPtr name)
{
    const auto place = static_cast<std::size_t>(number);
    platform::to_pascal(number >= 0 && place < fonts().size() ? fonts()[place].name : std::string(),
                        name);
}
