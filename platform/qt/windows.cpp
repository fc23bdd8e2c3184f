#include "platform/windows.h"

#include "platform/qt/state.h"
#include "platform/resources.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QFrame>
#include <QUiLoader>
#include <QVBoxLayout>

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

protected:
    void closeEvent(QCloseEvent *event) override
    {
        event->ignore(); // it is the handlers' to hide it
        platform::send_window_event(window, kEventClassWindow, kEventWindowClose);
    }

    void changeEvent(QEvent *event) override
    {
        QFrame::changeEvent(event);
        if (event->type() == QEvent::ActivationChange && isWindow())
            platform::send_window_event(window, kEventClassWindow,
                                        isActiveWindow() ? kEventWindowActivated
                                                         : kEventWindowDeactivated);
    }

    void resizeEvent(QResizeEvent *event) override
    {
        QFrame::resizeEvent(event);
        platform::send_window_event(window, kEventClassWindow, kEventWindowBoundsChanged);
    }

    void moveEvent(QMoveEvent *event) override
    {
        QFrame::moveEvent(event);
        platform::send_window_event(window, kEventClassWindow, kEventWindowBoundsChanged);
    }

    void paintEvent(QPaintEvent *event) override
    {
        QFrame::paintEvent(event);
        platform::send_window_event(window, kEventClassWindow, kEventWindowUpdate);
    }

private:
    const WindowRef window;
};

WindowRef make_window(std::int16_t kind)
{
    OpaqueWindow &window = windows.emplace_back();
    window.kind = kind;
    window.widget = new window_face(&window);
    return &window;
}

// A push button tells its window that it has been pressed.
void watch_buttons(WindowRef window)
{
    for (QAbstractButton *button : window->widget->findChildren<QAbstractButton *>()) {
        QObject::connect(button, &QAbstractButton::clicked, [window, button] {
            QWidget *const control = button;
            OpaqueEvent event = {kEventClassControl, kEventControlHit, {}};
            SetEventParameter(&event, kEventParamDirectObject, sizeof control, &control);
            platform::send_event(&window->target, &event);
        });
    }
}

} // namespace

WindowRef platform::window_of(const QWidget *widget)
{
    for (; widget != nullptr; widget = widget->parentWidget()) {
        const auto found = std::find_if(windows.begin(), windows.end(),
                                        [&](const auto &each) { return each.widget == widget; });
        if (found != windows.end())
            return &*found;
    }
    return nullptr;
}

OSStatus platform::send_window_event(WindowRef window, OSType event_class, std::uint32_t kind)
{
    OpaqueEvent event = {event_class, kind, {}};
    return send_event(&window->target, &event);
}

WindowRef NewCWindow(const Rect *bounds, ConstStringPtr title, Boolean visible)
{
    WindowRef window = make_window(userKind);
    const char *name = reinterpret_cast<const char *>(title) + 1;
    window->widget->setWindowTitle(QString::fromUtf8(name, title[0]));
    window->widget->setGeometry(bounds->left, bounds->top, bounds->right - bounds->left,
                                bounds->bottom - bounds->top);
    if (visible)
        ShowWindow(window);
    return window;
}

void DisposeWindow(WindowRef window)
{
    if (window == nullptr)
        return;
    window->widget->hide();
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

OSStatus CreateWindowFromNib(IBNibRef nib, const char *name, WindowRef *window)
{
    QFile file(nib->folder + "/" + QString::fromUtf8(name) + ".ui");
    if (!file.open(QIODevice::ReadOnly))
        return fnfErr;
    QUiLoader loader;
    loader.setLanguageChangeEnabled(false);
    QWidget *const controls = loader.load(&file);
    if (controls == nullptr)
        return fnfErr;
    *window = make_window(userKind);
    QWidget *const face = (*window)->widget;
    face->setWindowTitle(controls->windowTitle());
    auto *layout = new QVBoxLayout(face);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(controls);
    watch_buttons(*window);
    return noErr;
}

void DisposeNibReference(IBNibRef nib)
{
    delete nib;
}

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
    return noErr;
}

void ShowWindow(WindowRef window)
{
    if (window == nullptr)
        return;
    OpaqueEvent question = {kEventClassWindow, kEventWindowGetMinimumSize, {}};
    Point smallest = {};
    if (platform::send_event(&window->target, &question) == noErr &&
        GetEventParameter(&question, kEventParamDimensions, sizeof smallest, &smallest) == noErr)
        window->widget->setMinimumSize(smallest.h, smallest.v);
    window->widget->show();
}

void HideWindow(WindowRef window)
{
    if (window != nullptr)
        window->widget->hide();
}

OSStatus ShowSheetWindow(WindowRef sheet, WindowRef parent)
{
    if (sheet == nullptr)
        return paramErr;
    if (parent != nullptr)
        sheet->widget->setParent(parent->widget);
    ShowWindow(sheet);
    return noErr;
}

OSStatus HideSheetWindow(WindowRef sheet)
{
    if (sheet == nullptr)
        return paramErr;
    HideWindow(sheet);
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

Rect *GetWindowPortBounds(WindowRef window, Rect *bounds)
{
    *bounds = {};
    if (window != nullptr) {
        bounds->right = static_cast<std::int16_t>(window->widget->width());
        bounds->bottom = static_cast<std::int16_t>(window->widget->height());
    }
    return bounds;
}

// How far the place of the current port's window is from the screen's corner.
static QPoint port_origin()
{
    GrafPtr port = nullptr;
    GetPort(&port);
    const auto found = std::find_if(windows.begin(), windows.end(),
                                    [&](const auto &each) { return &each.port == port; });
    return found == windows.end() ? QPoint() : found->widget->mapToGlobal(QPoint(0, 0));
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
    window->widget->update(rect->left, rect->top, rect->right - rect->left,
                           rect->bottom - rect->top);
    return noErr;
}

// Widgets draw themselves, between no calls of anybody.
void BeginUpdate(WindowRef /*window*/) {}
void EndUpdate(WindowRef /*window*/) {}
