#include "dialogs/changes_window.h"

#include "app/cursors.h"
#include "dialogs/dialog_machinery.h"

void Changes()
{
    WindowRef sheet = make_dialog("changes", changes_sheet_constant);
    WindowRef front = FrontWindow();
    if (sheet == nullptr || front == nullptr) {
        DisposeWindow(sheet); // it could be neither seen nor dismissed
        return;
    }
    InstallEventHandler(GetWindowEventTarget(sheet), doGetDialogHandlerUPP(), dialog_event_count,
                        dialog_events, sheet);
    ShowSheetWindow(sheet, front);
    RunAppModalLoopForWindow(sheet);
    restore();
}
