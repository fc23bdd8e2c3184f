#include "platform/windows.h"

#include "platform/processes.h"
#include "platform/qt/control_events.h"
#include "platform/qt/menu_bar.h"
#include "platform/qt/sheet.h"
#include "platform/qt/state.h"
#include "platform/resources.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QUiLoader>
#include <QVBoxLayout>
#include <QWindow>

#include <algorithm>
#include <list>
#include <string>

struct OpaqueNib {
    QString folder;
};

namespace {

std::list<OpaqueWindow> windows; // in the order in which they were made

// A window as Qt sees it: what happens to it is told to the window's handlers.
class window_face : public QFrame {
public:
    explicit window_face(WindowRef own) : window(own) {}

    void focus_first()
    {
        focusNextPrevChild(true);
    }

    // The window has been disposed of; its widgets go a little later.
    void forget_window()
    {
        window = nullptr;
    }

protected:
    void closeEvent(QCloseEvent *event) override
    {
        event->ignore(); // it is the handlers' to hide it
        if (tell(kEventWindowClose) != eventNotHandledErr || window == nullptr)
            return;
        if (QPushButton *cancel = platform::button_of_role(window, "cancel"))
            cancel->click();
    }

    void changeEvent(QEvent *event) override
    {
        QFrame::changeEvent(event);
        if (event->type() == QEvent::ActivationChange && isWindow())
            tell(isActiveWindow() ? kEventWindowActivated : kEventWindowDeactivated);
    }

    void resizeEvent(QResizeEvent *event) override
    {
        QFrame::resizeEvent(event);
        tell(kEventWindowBoundsChanged);
    }

    void moveEvent(QMoveEvent *event) override
    {
        QFrame::moveEvent(event);
        tell(kEventWindowBoundsChanged);
    }

    void paintEvent(QPaintEvent *event) override
    {
        QFrame::paintEvent(event);
        tell(kEventWindowUpdate);
        if (window == nullptr)
            return;
        QPainter painter(this);
        painter.translate(platform::content_of(*window).topLeft());
        for (const platform::drawing &each : window->drawings)
            painter.drawImage(each.place, each.image);
    }

    // Return presses the button that has the keyboard, or else the default one; Escape closes what
    // is no document.
    void keyPressEvent(QKeyEvent *event) override
    {
        event->ignore();
        if (event->key() == Qt::Key_Escape && window != nullptr && window->kind == dialogKind) {
            event->accept();
            close();
            return;
        }
        if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter)
            return;
        QPushButton *pressed = nullptr;
        for (QPushButton *button : findChildren<QPushButton *>()) {
            if (button->hasFocus() || (pressed == nullptr && button->isDefault()))
                pressed = button;
        }
        if (pressed != nullptr) {
            event->accept();
            pressed->click();
        }
    }

    // Within a sheet, the focus stays there.
    bool focusNextPrevChild(bool next) override
    {
        if (isWindow())
            return QFrame::focusNextPrevChild(next);
        QWidget *const from = focusWidget();
        for (QWidget *to = from; to != nullptr;) {
            to = next ? to->nextInFocusChain() : to->previousInFocusChain();
            const bool stops = (to->focusPolicy() & Qt::TabFocus) == Qt::TabFocus &&
                               to->isVisible() && to->isEnabled() && isAncestorOf(to);
            if (stops)
                to->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
            if (stops || to == from)
                break;
        }
        return true;
    }

private:
    OSStatus tell(std::uint32_t kind)
    {
        if (window == nullptr)
            return eventNotHandledErr;
        OpaqueEvent event = {kEventClassWindow, kind, {}};
        SetEventParameter(&event, kEventParamDirectObject, sizeof(void *), &window);
        return platform::send_event(&window->target, &event);
    }

    WindowRef window;
};

WindowRef window_of_port(const GrafPort *port)
{
    const auto found = std::find_if(windows.begin(), windows.end(),
                                    [&](const auto &each) { return &each.port == port; });
    return found == windows.end() ? nullptr : &*found;
}

// Keeps the drawing, in place of an earlier one of the same rectangle, for whenever the window is
// painted.
void draw_in_window(GrafPtr port, const Rect &rect, const char *pixels)
{
    const WindowRef window = window_of_port(port);
    if (window == nullptr)
        return;
    const QRect place(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
    const QImage image(reinterpret_cast<const uchar *>(pixels), place.width(), place.height(),
                       3LL * place.width(), QImage::Format_RGB888);
    std::erase_if(window->drawings, [&](const auto &each) { return each.place == place; });
    window->drawings.push_back({place, image.copy()});
    InvalWindowRect(window, &rect);
}

WindowRef make_window(std::int16_t kind)
{
    platform::on_drawing_in_window(draw_in_window);
    OpaqueWindow &window = windows.emplace_back();
    window.kind = kind;
    window.widget = new window_face(&window);
    platform::take_drops(window.widget);
    return &window;
}

// A dialog stands over the middle of the document window, on its screen, and its first control has
// the keyboard.
void place_dialog(window_face *face)
{
    WindowRef document = platform::document_window();
    const QWidget *below = document == nullptr ? nullptr : document->widget;
    if (below == nullptr || !below->isVisible())
        return;
    face->winId(); // makes its QWindow
    face->windowHandle()->setTransientParent(below->windowHandle());
    const QRect screen = below->screen()->availableGeometry();
    const QSize wanted = face->testAttribute(Qt::WA_Resized) ? face->size() : QSize(0, 0);
    face->adjustSize();
    face->resize(face->size().expandedTo(wanted).boundedTo(screen.size()));
    QRect place(QPoint(0, 0), face->size());
    place.moveCenter(below->geometry().center());
    place.moveRight(std::min(place.right(), screen.right()));
    place.moveBottom(std::min(place.bottom(), screen.bottom()));
    place.moveTopLeft({std::max(place.left(), screen.left()), std::max(place.top(), screen.top())});
    face->move(place.topLeft());
}

// Whether the program was started as the one in front.
bool in_front()
{
    ProcessSerialNumber own = {};
    ProcessSerialNumber front = {};
    GetCurrentProcess(&own);
    GetFrontProcess(&front);
    Boolean same = 1;
    SameProcess(&own, &front, &same);
    return same != 0;
}

// Not a dialog, and no sheet.
bool is_own_window(const OpaqueWindow &window)
{
    return window.kind == userKind && window.widget->isWindow();
}

// Where a window is whose content is to be there, below a menu bar. The bar leaves the screen room
// for the title, by which the window is moved.
QRect with_menu_bar(const QRect &content, int bar)
{
    QRect place = content.adjusted(0, -bar, 0, 0);
    const QScreen *screen = QGuiApplication::screenAt(content.topLeft());
    if (screen == nullptr)
        return place;
    const int title = QApplication::style()->pixelMetric(QStyle::PM_TitleBarHeight);
    place.moveTop(std::max(place.top(), screen->availableGeometry().top() + title));
    return place;
}

} // namespace

void platform::application_leaves()
{
    for (OpaqueWindow &window : windows)
        window.hidden_away = window.hidden;
}

void platform::application_returns()
{
    for (OpaqueWindow &window : windows) {
        if (window.hidden_away && window.hidden && is_own_window(window))
            ShowWindow(&window);
    }
}

void platform::raise_windows()
{
    for (OpaqueWindow &window : windows) {
        if (window.hidden && is_own_window(window))
            ShowWindow(&window);
        if (!window.widget->isWindow() || !window.widget->isVisible())
            continue;
        window.widget->setWindowState(window.widget->windowState() & ~Qt::WindowMinimized);
        window.widget->raise();
        window.widget->activateWindow();
    }
}

WindowRef platform::document_window()
{
    const auto found = std::find_if(windows.begin(), windows.end(), is_own_window);
    return found == windows.end() ? nullptr : &*found;
}

bool platform::wants_answer(const OpaqueWindow &window)
{
    const WindowRef sheet = window.sheet == nullptr ? nullptr : window_of(window.sheet);
    return sheet != nullptr && button_of_role(sheet, "cancel") != nullptr;
}

bool platform::user_is_asked()
{
    return QApplication::activeModalWidget() != nullptr ||
           std::any_of(windows.begin(), windows.end(), wants_answer);
}

WindowRef platform::window_of(const QWidget *widget)
{
    for (; widget != nullptr; widget = widget->parentWidget()) {
        const auto found = std::find_if(windows.begin(), windows.end(),
                                        [&](const auto &each) { return each.widget == widget; });
        if (found != windows.end())
            return &*found;
        if (widget->isWindow())
            return nullptr; // a chooser or a message, whose keys are its own
    }
    return nullptr;
}

WindowRef NewCWindow(void * /*storage*/, const Rect *bounds, ConstStringPtr title, Boolean visible,
                     std::int16_t /*procID*/, WindowRef /*behind*/, Boolean closeBox,
                     std::int32_t referenceConstant)
{
    WindowRef window = make_window(userKind);
    const char *name = reinterpret_cast<const char *>(title) + 1;
    window->widget->setWindowTitle(QString::fromUtf8(name, title[0]));
    platform::make_empty_menu_bar(window->widget);
    const QRect content(bounds->left, bounds->top, bounds->right - bounds->left,
                        bounds->bottom - bounds->top);
    window->widget->setGeometry(with_menu_bar(content, platform::content_of(*window).y()));
    window->widget->setAttribute(Qt::WA_ShowWithoutActivating, !in_front());
    window->reference_constant = referenceConstant;
    ChangeWindowAttributes(window, closeBox ? kWindowCloseBoxAttribute : 0, 0);
    if (visible)
        ShowWindow(window);
    return window;
}

void DisposeWindow(WindowRef window)
{
    if (window == nullptr)
        return;
    HideSheetWindow(window);
    if (window->sheet != nullptr)
        HideSheetWindow(platform::window_of(window->sheet));
    GrafPtr port = nullptr;
    GetPort(&port);
    if (port == &window->port)
        SetPort(nullptr);
    static_cast<window_face *>(window->widget)->forget_window();
    window->widget->deleteLater(); // it may be the one whose button was pressed
    windows.remove_if([&](const auto &each) { return &each == window; });
}

OSStatus CreateNibReference(const char *name, IBNibRef *nib)
{
    const QString folder = QString::fromStdString(platform::resources_folder() + "/") +
                           QString::fromUtf8(name) + ".nib";
    if (!QFile::exists(folder))
        return fnfErr;
    *nib = new OpaqueNib{folder};
    return noErr;
}

QWidget *platform::load_entry(IBNibRef nib, const char *name)
{
    QFile file(nib->folder + "/" + QString::fromUtf8(name) + ".ui");
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    QUiLoader loader;
    loader.setLanguageChangeEnabled(false);
    return loader.load(&file);
}

// A label can ask for the program's icon, of a size in pixels.
static void show_icons(const QWidget &controls)
{
    for (QLabel *label : controls.findChildren<QLabel *>()) {
        const int side = label->property("applicationIcon").toInt();
        if (side > 0)
            label->setPixmap(
                QApplication::windowIcon().pixmap(QSize(side, side), qApp->devicePixelRatio()));
    }
}

OSStatus CreateWindowFromNib(IBNibRef nib, const char *name, WindowRef *window)
{
    QWidget *const controls = platform::load_entry(nib, name);
    if (controls == nullptr)
        return fnfErr;
    show_icons(*controls);
    *window = make_window(dialogKind);
    QWidget *const face = (*window)->widget;
    face->setWindowFlag(Qt::Dialog);
    face->setWindowModality(controls->windowModality());
    face->setWindowTitle(controls->windowTitle());
    if (controls->testAttribute(Qt::WA_Resized)) // the interface file has a size for it
        face->resize(controls->size());
    auto *layout = new QVBoxLayout(face);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(controls);
    platform::watch_controls(*window);
    return noErr;
}

void DisposeNibReference(IBNibRef nib)
{
    delete nib;
}

// Widgets have the desktop's font of themselves.
void SetDialogFont(std::int16_t /*font*/) {}

void SetWRefCon(WindowRef window, std::int32_t constant)
{
    if (window != nullptr)
        window->reference_constant = constant;
}

std::int32_t GetWRefCon(WindowRef window)
{
    return window == nullptr ? 0 : window->reference_constant;
}

std::int16_t GetWindowKind(WindowRef window)
{
    return window == nullptr ? std::int16_t{0} : window->kind;
}

OSStatus ChangeWindowAttributes(WindowRef window, std::uint32_t set, std::uint32_t clear)
{
    if (window == nullptr)
        return paramErr;
    window->attributes = (window->attributes | set) & ~clear;
    if (((set | clear) & kWindowCloseBoxAttribute) != 0) {
        const bool has_box = (window->attributes & kWindowCloseBoxAttribute) != 0;
        const Qt::WindowFlags others = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                       Qt::WindowSystemMenuHint | Qt::WindowMinMaxButtonsHint;
        const QRect place = window->widget->geometry(); // which a change of flags would move
        window->widget->setWindowFlags(has_box ? others | Qt::WindowCloseButtonHint : others);
        window->widget->setGeometry(place);
    }
    if (((set | clear) & kWindowCollapseBoxAttribute) != 0)
        window->widget->setWindowFlag(Qt::WindowMinimizeButtonHint,
                                      (window->attributes & kWindowCollapseBoxAttribute) != 0);
    return noErr;
}

void ShowWindow(WindowRef window)
{
    if (window == nullptr)
        return;
    OpaqueEvent question = {kEventClassWindow, kEventWindowGetMinimumSize, {}};
    SetEventParameter(&question, kEventParamDirectObject, sizeof(void *), &window);
    Point smallest = {};
    if (!window->size_asked && platform::send_event(&window->target, &question) == noErr &&
        GetEventParameter(&question, kEventParamDimensions, sizeof smallest, &smallest) == noErr)
        window->widget->setMinimumSize(smallest.h,
                                       smallest.v + platform::menu_bar_height(window->widget));
    auto *const face = static_cast<window_face *>(window->widget);
    if (!window->size_asked && window->kind == dialogKind)
        place_dialog(face);
    window->size_asked = true;
    window->hidden = false;
    face->show();
    if (window->kind == dialogKind && face->focusWidget() == nullptr)
        face->focus_first();
}

void HideWindow(WindowRef window)
{
    if (window == nullptr)
        return;
    window->hidden = true;
    window->widget->hide();
}

Boolean IsWindowVisible(WindowRef window)
{
    return window != nullptr && window->widget->isVisible() ? 1 : 0;
}

void SelectWindow(WindowRef window)
{
    if (window == nullptr)
        return;
    window->widget->raise();
    window->widget->activateWindow();
}

OSStatus ShowSheetWindow(WindowRef sheet, WindowRef parent)
{
    if (sheet == nullptr || parent == nullptr)
        return paramErr;
    sheet->widget->setWindowModality(Qt::NonModal); // it lies in its window
    sheet->widget->setAcceptDrops(false);           // they are its window's
    parent->sheet = sheet->widget;
    platform::attach_sheet(static_cast<QFrame *>(sheet->widget), parent->widget);
    return noErr;
}

OSStatus HideSheetWindow(WindowRef sheet)
{
    if (sheet == nullptr)
        return paramErr;
    WindowRef parent = platform::window_of(sheet->widget->parentWidget());
    if (parent != nullptr)
        parent->sheet = nullptr;
    platform::detach_sheet(static_cast<QFrame *>(sheet->widget));
    return noErr;
}

WindowRef FrontWindow()
{
    return platform::window_of(QApplication::activeWindow());
}

EventTargetRef GetWindowEventTarget(WindowRef window)
{
    return window == nullptr ? nullptr : &window->target;
}

GrafPtr GetWindowPort(WindowRef window)
{
    return window == nullptr ? nullptr : &window->port;
}

void SetPortWindowPort(WindowRef window)
{
    if (window != nullptr)
        SetPort(&window->port);
}

QRect platform::content_of(const OpaqueWindow &window)
{
    const QSize size = window.sheet == nullptr
                           ? window.widget->size()
                           : platform::size_without_sheet(static_cast<QFrame *>(window.sheet));
    return QRect(QPoint(0, 0), size).adjusted(0, platform::menu_bar_height(window.widget), 0, 0);
}

Rect *GetWindowPortBounds(WindowRef window, Rect *bounds)
{
    *bounds = {};
    if (window != nullptr) {
        const QSize size = platform::content_of(*window).size();
        bounds->right = static_cast<std::int16_t>(size.width());
        bounds->bottom = static_cast<std::int16_t>(size.height());
    }
    return bounds;
}

OSStatus GetWindowBounds(WindowRef window, std::uint16_t region, Rect *bounds)
{
    if (window == nullptr || region != kWindowContentRgn)
        return paramErr;
    const QRect content = platform::content_of(*window);
    const QRect place(window->widget->mapToGlobal(content.topLeft()), content.size());
    SetRect(bounds, static_cast<std::int16_t>(place.x()), static_cast<std::int16_t>(place.y()),
            static_cast<std::int16_t>(place.x() + place.width()),
            static_cast<std::int16_t>(place.y() + place.height()));
    return noErr;
}

WindowRef platform::current_window()
{
    GrafPtr port = nullptr;
    GetPort(&port);
    return window_of_port(port);
}

// How far the place of the current port's window is from the screen's corner.
static QPoint port_origin()
{
    const WindowRef window = platform::current_window();
    return window == nullptr ? QPoint()
                             : window->widget->mapToGlobal(platform::content_of(*window).topLeft());
}

void LocalToGlobal(Point *point)
{
    const QPoint origin = port_origin();
    point->h = static_cast<std::int16_t>(point->h + origin.x());
    point->v = static_cast<std::int16_t>(point->v + origin.y());
}

void GlobalToLocal(Point *point)
{
    const QPoint origin = port_origin();
    point->h = static_cast<std::int16_t>(point->h - origin.x());
    point->v = static_cast<std::int16_t>(point->v - origin.y());
}

OSStatus InvalWindowRect(WindowRef window, const Rect *rect)
{
    if (window == nullptr)
        return paramErr;
    const QPoint corner = platform::content_of(*window).topLeft();
    window->widget->update(corner.x() + rect->left, corner.y() + rect->top,
                           rect->right - rect->left, rect->bottom - rect->top);
    return noErr;
}

// Widgets draw themselves, between no calls of anybody.
void BeginUpdate(WindowRef /*window*/) {}
void EndUpdate(WindowRef /*window*/) {}
