// The menus on Qt: a bar in the document window, as is the habit here. The model is followed, and
// what the user chooses becomes a command.
#include "platform/core/menu_model.h"
#include "platform/qt/fonts.h"
#include "platform/qt/manual.h"
#include "platform/qt/menu_bar.h"
#include "platform/qt/state.h"
#include "platform/qt/text_view.h"

#include <QActionGroup>
#include <QApplication>
#include <QKeyEvent>
#include <QMenuBar>
#include <QPointer>
#include <QProxyStyle>
#include <QShortcut>

#include <map>

namespace {

QPointer<QMenuBar> bar; // the program's, or null
std::map<MenuRef, QPointer<QMenu>> faces;

// Names of fonts may have an ampersand, which would mark the next letter as a mnemonic.
QString with_ampersands(const std::string &text)
{
    return QString::fromStdString(text).replace("&", "&&");
}

std::string without_mnemonic(const QString &text)
{
    QString plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == '&' && i + 1 < text.size())
            ++i;
        plain += text[i];
    }
    return plain.toStdString();
}

OSType code_of(const QAction *action)
{
    const QByteArray code = action->property("command").toByteArray();
    return code.size() == 4 ? four_chars({code[0], code[1], code[2], code[3], 0}) : 0;
}

platform::text_view *console_view()
{
    const WindowRef window = platform::window_of(bar);
    return window == nullptr ? nullptr : dynamic_cast<platform::text_view *>(window->content);
}

void update_items()
{
    platform::ask_which_items_hold();
    const platform::text_view *view = console_view();
    platform::enable_command(kHICommandCopy,
                             view != nullptr && view->selection_start() != view->selection_end());
}

// What the platform does with the commands that nobody else has taken.
void do_standard_command(OSType command)
{
    platform::text_view *view = console_view();
    if (command == kHICommandQuit)
        platform::ask_to_quit();
    else if (command == kHICommandAppHelp)
        platform::show_manual();
    else if (command == kHICommandCopy && view != nullptr)
        view->copy();
    else if (command == kHICommandSelectAll && view != nullptr)
        view->select_all();
}

// Shows the item as the model has it.
void show_item(MenuRef menu, std::uint16_t number)
{
    const auto face = faces.find(menu);
    if (face == faces.end() || face->second == nullptr)
        return;
    const menu_item &item = *platform::find_item(menu, number);
    QAction *const action = face->second->actions()[number - 1];
    if (action->isSeparator())
        return;
    if (item.checked)
        action->setCheckable(true);
    action->setChecked(item.checked);
    action->setEnabled(item.enabled && action->isVisible());
}

// The user has chosen the item, by hand, by its shortcut or through the desktop. What was enabled
// when the menu was last open need not be so now.
void choose(MenuRef menu, std::uint16_t number)
{
    for (std::uint16_t each = 1; each <= CountMenuItems(menu); ++each)
        show_item(menu, each); // Qt has set marks, which is the program's to do
    if (platform::user_is_asked())
        return;
    update_items();
    const menu_item &item = *platform::find_item(menu, number);
    if (!item.enabled)
        return;
    const OSType command = item.command;
    if (platform::send_menu_command(menu, number) == eventNotHandledErr)
        do_standard_command(command);
}

void watch(QAction *action, MenuRef menu, std::uint16_t number)
{
    action->setAutoRepeat(false);
    QObject::connect(action, &QAction::triggered, bar, [menu, number] { choose(menu, number); });
}

// One item at most has a mark in a menu that says so, which is shown, and told to screen readers.
void join_group(QMenu *face, QAction *action)
{
    auto *group = face->findChild<QActionGroup *>(QString(), Qt::FindDirectChildrenOnly);
    if (group == nullptr)
        return;
    action->setCheckable(true);
    group->addAction(action);
}

// Follows the model: an item has changed, or one more is there.
void follow(MenuRef menu, std::uint16_t number)
{
    const auto face = faces.find(menu);
    if (face == faces.end() || face->second == nullptr)
        return;
    if (number > face->second->actions().size()) {
        const menu_item &item = *platform::find_item(menu, number);
        QAction *const action = face->second->addAction(with_ampersands(item.text));
        join_group(face->second, action);
        watch(action, menu, number);
    }
    show_item(menu, number);
}

// A menu that has too many items for the screen, such as the fonts, is scrolled. In columns it
// would run out of the screen at the side.
class scrolling_style : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *data) const override
    {
        return hint == SH_Menu_Scrollable ? 1 : QProxyStyle::styleHint(hint, option, widget, data);
    }
};

// Makes the model of a menu from what the interface file has.
MenuRef model_of(QMenu *face)
{
    const MenuRef menu =
        platform::make_menu(static_cast<std::int16_t>(face->property("menuID").toInt()));
    if (face->property("oneOf").toBool())
        new QActionGroup(face);
    auto *const style = new scrolling_style;
    style->setParent(face);
    face->setStyle(style);
    for (QAction *action : face->actions()) {
        menu_item item;
        item.text = action->isSeparator() ? "" : without_mnemonic(action->text());
        item.command = code_of(action);
        item.enabled = action->isEnabled() || !action->isVisible();
        item.submenu = action->menu() == nullptr ? nullptr : model_of(action->menu());
        join_group(face, action);
        item.checked = action->isChecked();
        platform::append_item(menu, item);
        if (!action->isSeparator() && action->menu() == nullptr)
            watch(action, menu, CountMenuItems(menu));
    }
    faces[menu] = face;
    return menu;
}

// Keeps the bar in its place, and the items up to date before a shortcut is looked for.
class bar_keeper : public QObject {
public:
    // The window's size allows for a bar of that height.
    bar_keeper(QMenuBar *own, int height_before)
        : QObject(own), kept(own), window(own->parentWidget()), height(height_before)
    {
        window->installEventFilter(this);
        qApp->installEventFilter(this);
        place();
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::ShortcutOverride && watched->isWindowType())
            update_items();
        if (watched == window &&
            (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest))
            place();
        return false;
    }

private:
    void place()
    {
        const int grown = platform::menu_bar_height(window) - height;
        height += grown;
        kept->setGeometry(0, 0, window->width(), height);
        const WindowRef own = platform::window_of(window);
        if (own == nullptr || own->sheet != nullptr) // which keeps the margins itself
            return;
        window->setContentsMargins(0, height, 0, 0);
        if (grown == 0)
            return;
        window->setMinimumHeight(window->minimumHeight() + grown);
        if (!window->isMaximized() && !window->isFullScreen()) // the content keeps its size
            window->resize(window->width(), window->height() + grown);
    }

    QMenuBar *const kept;
    QWidget *const window;
    int height; // of the bar
};

// Another key than Alt with a letter by which the menus are reached, also in other programs.
void open_first_menu()
{
    for (QAction *title : bar->actions()) {
        if (!title->isVisible() || !title->isEnabled())
            continue;
        bar->setActiveAction(title);
        return;
    }
}

} // namespace

int platform::menu_bar_height(const QWidget *window)
{
    const auto *shown = window->findChild<QMenuBar *>(QString(), Qt::FindDirectChildrenOnly);
    return shown == nullptr || shown->isNativeMenuBar() ? 0 : shown->sizeHint().height();
}

void platform::make_empty_menu_bar(QWidget *window)
{
    if (window_of(bar) != nullptr)
        return; // there is one bar for all
    delete bar; // of a window that goes
    bar = new QMenuBar(window);
    bar->addAction(" ")->setEnabled(false); // as high as any
    bar->ensurePolished();
    new bar_keeper(bar, menu_bar_height(window));
}

OSStatus SetMenuBarFromNib(IBNibRef nib, const char *name)
{
    const WindowRef window = platform::document_window();
    QWidget *const loaded = window == nullptr ? nullptr : platform::load_entry(nib, name);
    auto *const found = loaded == nullptr ? nullptr : loaded->findChild<QMenuBar *>();
    if (found == nullptr) {
        delete loaded;
        return fnfErr;
    }
    const int height_before = platform::menu_bar_height(window->widget);
    delete bar;
    faces.clear();
    platform::forget_menus();

    bar = found;
    for (QAction *action : loaded->findChildren<QAction *>(Qt::FindDirectChildrenOnly))
        action->setParent(bar);
    bar->setParent(window->widget);
    delete loaded;
    platform::on_menu_change(follow);
    for (QAction *title : bar->actions()) {
        if (title->menu() == nullptr)
            continue;
        model_of(title->menu());
        QObject::connect(title->menu(), &QMenu::aboutToShow, bar, update_items);
    }
    new bar_keeper(bar, height_before);
    auto *opening = new QShortcut(Qt::Key_F10, bar);
    QObject::connect(opening, &QShortcut::activated, bar, open_first_menu);
    bar->show();
    return noErr;
}

void AppendResMenu(MenuRef menu, ResType type)
{
    if (type != four_chars("FONT"))
        return;
    for (const std::string &name : platform::installed_fonts()) {
        menu_item item;
        item.text = name;
        platform::append_item(menu, item);
    }
}

void DrawMenuBar()
{
    if (bar != nullptr)
        bar->update();
}

void HiliteMenu(std::int16_t menuID)
{
    if (bar != nullptr && menuID == 0)
        bar->setActiveAction(nullptr);
}

std::int32_t MenuSelect(Point where)
{
    QAction *const title =
        bar == nullptr ? nullptr : bar->actionAt(bar->mapFromGlobal(QPoint(where.h, where.v)));
    if (title == nullptr || title->menu() == nullptr)
        return 0;
    const QAction *const chosen =
        title->menu()->exec(bar->mapToGlobal(bar->actionGeometry(title).bottomLeft()));
    for (const auto &[menu, face] : faces) {
        const qsizetype place = face == nullptr ? -1 : face->actions().indexOf(chosen);
        if (place >= 0)
            return static_cast<std::int32_t>(static_cast<std::uint32_t>(menu->id) << 16 |
                                             static_cast<std::uint32_t>(place + 1));
    }
    return 0;
}
