#include "platform/text_engine.h"

#include "platform/fonts.h"
#include "platform/qt/fonts.h"
#include "platform/qt/state.h"
#include "platform/qt/text_view.h"

#include <QEvent>
#include <QWindow>

#include <algorithm>
#include <cstring>
#include <vector>

// It also sees to it that its frame makes room for a sheet, for which the window keeps its margins
// free.
struct OpaqueTXNObject : QObject {
    OpaqueTXNObject(WindowRef in, platform::text_view *shown_in) : window(in), view(shown_in)
    {
        window->widget->installEventFilter(this);
    }

    bool eventFilter(QObject * /*watched*/, QEvent *event) override
    {
        if (event->type() == QEvent::ContentsRectChange)
            place();
        return false;
    }

    void place() const
    {
        // The frame follows the window where a sheet has made that larger.
        const QRect content = platform::content_of(*window);
        const QRect grown = frame.translated(content.topLeft())
                                .adjusted(0, 0, window->widget->width() - content.right() - 1,
                                          window->widget->height() - content.bottom() - 1);
        view->setGeometry(grown.intersected(window->widget->contentsRect()));
    }

    const WindowRef window;
    platform::text_view *const view; // a child of the window's widget, deleted with the object
    QRect frame;
    bool all_selected = false; // by TXNSelectAll
};

namespace {

constexpr TXNFrameID only_frame = 1;
constexpr qreal smallest_size = 4; // points
constexpr qreal largest_size = 288;

// Of new objects; TXNInitTextension.
std::int16_t default_font = 0;
Fixed default_size = 12 << 16;

qreal points(Fixed size)
{
    return std::clamp(size / 65536.0, smallest_size, largest_size);
}

QPoint on_screen(const EventRecord *event)
{
    return {event->where.h, event->where.v};
}

std::size_t place_of(const platform::text_view &view, TXNOffset offset)
{
    return std::min<std::size_t>(offset == kTXNEndOffset ? view.text().size() : offset,
                                 view.text().size());
}

} // namespace

OSStatus TXNInitTextension(const TXNMacOSPreferredFontDescription *fonts, std::size_t count,
                           std::uint32_t /*options*/)
{
    if (count > 0) {
        default_font = fonts[0].fontID;
        default_size = fonts[0].pointSize;
    }
    return noErr;
}

void TXNTerminateTextension() {}

OSStatus TXNNewObject(WindowRef window, const Rect *frame, std::uint32_t frameOptions,
                      std::uint32_t frameType, OSType fileType, std::uint32_t encoding,
                      TXNObject *object, TXNFrameID *frameID)
{
    if (window == nullptr || window->content != nullptr ||
        frameType != kTXNTextEditStyleFrameType || fileType != kTXNTextData ||
        encoding != kTXNMacOSEncoding)
        return paramErr;
    auto *view = new platform::text_view(window->widget);
    view->setAccessibleName(QObject::tr("Console"));
    Str255 font_name;
    GetFontName(default_font, font_name);
    QFont font = platform::font_named(font_name);
    font.setPointSizeF(points(default_size));
    view->set_text_font(font);
    view->setVerticalScrollBarPolicy((frameOptions & kTXNWantVScrollBarMask) != 0
                                         ? Qt::ScrollBarAsNeeded
                                         : Qt::ScrollBarAlwaysOff);
    window->content = view;
    window->widget->setFocusProxy(view);
    *object = new OpaqueTXNObject(window, view);
    *frameID = only_frame;
    TXNSetFrameBounds(*object, frame->top, frame->left, frame->bottom, frame->right, only_frame);
    view->show();
    return noErr;
}

void TXNDeleteObject(TXNObject object)
{
    if (object == nullptr)
        return;
    object->window->widget->setFocusProxy(nullptr);
    object->window->content = nullptr;
    delete object->view;
    delete object;
}

OSStatus TXNSetData(TXNObject object, OSType type, const void *data, std::size_t length,
                    TXNOffset start, TXNOffset end)
{
    if (object == nullptr || type != kTXNTextData)
        return paramErr;
    const std::string_view bytes(static_cast<const char *>(data), length);
    if (start == kTXNEndOffset && end == kTXNEndOffset) {
        object->view->append(bytes);
        return noErr;
    }
    const std::size_t from = place_of(*object->view, start);
    object->view->replace(from, std::max(from, place_of(*object->view, end)), bytes);
    return noErr;
}

OSStatus TXNSave(TXNObject object, OSType fileType, OSType /*resourceType*/, std::uint32_t encoding,
                 const FSSpec * /*file*/, FSIORefNum data, std::int16_t /*resources*/)
{
    if (object == nullptr || fileType != kTXNTextData || encoding != kTXNMacOSEncoding)
        return paramErr;
    OSErr error = noErr;
    const platform::text_store &text = object->view->text();
    text.for_each_part(0, text.size(), [&](std::string_view part) {
        std::string lines(part);
        std::replace(lines.begin(), lines.end(), '\r', '\n');
        auto count = static_cast<std::int32_t>(lines.size());
        error = FSWrite(data, &count, lines.data());
        return error == noErr;
    });
    return error;
}

void TXNSelectAll(TXNObject object)
{
    if (object != nullptr)
        object->all_selected = true;
}

OSStatus TXNClear(TXNObject object)
{
    if (object == nullptr)
        return paramErr;
    if (object->all_selected)
        object->view->replace(0, object->view->text().size(), {});
    object->all_selected = false;
    return noErr;
}

OSStatus TXNSetTXNObjectControls(TXNObject object, Boolean /*clearAll*/, std::size_t count,
                                 const TXNControlTag *tags, const TXNControlData *data)
{
    if (object == nullptr)
        return paramErr;
    for (std::size_t i = 0; i < count; ++i) {
        switch (tags[i]) {
        case kTXNSelectionStateTag:
            object->window->takes_typing = data[i].uValue == 1;
            object->view->show_caret(object->window->takes_typing);
            break;
        case kTXNMarginsTag: {
            const TXNMargins &margins = *data[i].marginsPtr;
            object->view->set_margins(margins.leftMargin, margins.topMargin, margins.rightMargin,
                                      margins.bottomMargin);
            break;
        }
        case kTXNContextTag:
            if (data[i].context != &object->window->port)
                return paramErr;
            break;
        default:
            return paramErr;
        }
    }
    return noErr;
}

OSStatus TXNSetTypeAttributes(TXNObject object, std::size_t count,
                              const TXNTypeAttributes *attributes, TXNOffset start, TXNOffset end)
{
    if (object == nullptr || start != kTXNUseCurrentSelection || end != kTXNUseCurrentSelection ||
        !object->all_selected)
        return paramErr;
    QFont font = object->view->text_font();
    for (std::size_t i = 0; i < count; ++i) {
        const TXNTypeAttributes &each = attributes[i];
        if (each.tag == kTXNFontSizeAttribute && each.size == kTXNFontSizeAttributeSize) {
            font.setPointSizeF(points(each.data.dataValue));
        } else if (each.tag == kTXNFontNameAttribute && each.size == kTXNFontNameAttributeSize) {
            const qreal size = font.pointSizeF();
            font = platform::font_named(each.data.dataPtr);
            font.setPointSizeF(size);
        } else {
            return paramErr;
        }
    }
    object->view->set_text_font(font);
    return noErr;
}

void TXNForceUpdate(TXNObject object)
{
    if (object != nullptr)
        object->view->draw_now();
}

// The view draws itself as soon as it is out of date.
void TXNUpdate(TXNObject /*object*/) {}

void TXNIdle(TXNObject object)
{
    if (object != nullptr)
        object->view->blink();
}

void TXNFocus(TXNObject object, Boolean focus)
{
    if (object == nullptr)
        return;
    if (focus)
        object->view->setFocus();
    else
        object->view->clearFocus();
}

void TXNActivate(TXNObject object, Boolean active)
{
    if (object != nullptr)
        object->view->set_active(active != 0);
}

void TXNSetFrameBounds(TXNObject object, std::int16_t top, std::int16_t left, std::int16_t bottom,
                       std::int16_t right, TXNFrameID /*frame*/)
{
    if (object == nullptr)
        return;
    object->frame = QRect(left, top, right - left, bottom - top);
    object->place();
}

void TXNRecalcTextLayout(TXNObject object)
{
    if (object != nullptr)
        object->view->lay_out_anew();
}

void TXNClick(TXNObject object, const EventRecord *event)
{
    if (object != nullptr)
        object->view->click(object->view->viewport()->mapFromGlobal(on_screen(event)));
}

void TXNGrowWindow(TXNObject object, const EventRecord * /*event*/)
{
    if (object != nullptr && object->window->widget->windowHandle() != nullptr)
        object->window->widget->windowHandle()->startSystemResize(Qt::BottomEdge | Qt::RightEdge);
}

void TXNZoomWindow(TXNObject object, std::int16_t part)
{
    if (object == nullptr)
        return;
    if (part == inZoomOut)
        object->window->widget->showMaximized();
    else if (part == inZoomIn)
        object->window->widget->showNormal();
}

void TXNAdjustCursor(TXNObject object, RgnHandle region)
{
    if (object == nullptr)
        return;
    // The text and what is around it have the cursors that belong there.
    Cursor arrow;
    SetCursor(GetQDGlobalsArrow(&arrow));
    const QWidget *const viewport = object->view->viewport();
    const QRect place(viewport->mapToGlobal(QPoint(0, 0)), viewport->size());
    if (place.contains(QCursor::pos()))
        SetRectRgn(region, static_cast<std::int16_t>(place.left()),
                   static_cast<std::int16_t>(place.top()),
                   static_cast<std::int16_t>(place.left() + place.width()),
                   static_cast<std::int16_t>(place.top() + place.height()));
}
