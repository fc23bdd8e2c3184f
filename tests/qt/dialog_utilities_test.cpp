#include "app/dialog_utilities.h"

#include "console/console_text.h"
#include "platform/qt/state.h"
#include "platform/quickdraw.h"
#include "tests/qt/desktop_test.h"

#include <QApplication>
#include <QEvent>

namespace {

class DialogUtilities : public desktop_test {
protected:
    DialogUtilities() : window(make_test_window())
    {
        ShowWindow(window);
        QCoreApplication::processEvents();
        GetPort(&port_before);
    }

    ~DialogUtilities() override
    {
        GrafPtr port = nullptr;
        GetPort(&port);
        EXPECT_EQ(port, port_before);
        DisposeWindow(window);
    }

    // Counts how often the window is drawn.
    class painter_count : public QObject {
    public:
        explicit painter_count(QWidget *widget)
        {
            widget->installEventFilter(this);
        }
        bool eventFilter(QObject * /*watched*/, QEvent *event) override
        {
            times += event->type() == QEvent::Paint ? 1 : 0;
            return false;
        }
        int times = 0;
    };

    WindowRef window;
    GrafPtr port_before = nullptr;
};

} // namespace

TEST_F(DialogUtilities, ADialogIsAWindowOfItsKind)
{
    EXPECT_EQ(isMyDialog(window), 1);
    EXPECT_EQ(isMyDialog(theConsole), 0);
    EXPECT_EQ(isMyDialog(nullptr), 0);
}

TEST_F(DialogUtilities, AnActivateEventActivatesAndDrawsWhatIsInTheDialog)
{
    painter_count drawn(window->widget);
    EventRecord event = {};
    event.message = reinterpret_cast<std::uintptr_t>(window);
    Dialog_Activate(&event);
    EXPECT_FALSE(control_of(window, 1)->isEnabled());
    QCoreApplication::processEvents();
    EXPECT_GE(drawn.times, 1);

    drawn.times = 0;
    event.modifiers = activeFlag;
    Dialog_Activate(&event);
    EXPECT_TRUE(control_of(window, 1)->isEnabled());
    QCoreApplication::processEvents();
    EXPECT_GE(drawn.times, 1);
}

TEST_F(DialogUtilities, AnUpdateEventDrawsTheDialog)
{
    painter_count drawn(window->widget);
    EventRecord event = {};
    event.message = reinterpret_cast<std::uintptr_t>(window);
    Dialog_Update(&event);
    QCoreApplication::processEvents();
    EXPECT_GE(drawn.times, 1);
}

TEST_F(DialogUtilities, WithoutAWindowNothingHappens)
{
    const EventRecord event = {};
    Dialog_Activate(&event);
    Dialog_Update(&event);
    ActivateDialogWindow(nullptr, 1);
}
