#include "platform/dialogs.h"

DialogRef GetDialogFromWindow(WindowRef window)
{
    return reinterpret_cast<DialogRef>(window);
}

WindowRef GetDialogWindow(DialogRef dialog)
{
    return reinterpret_cast<WindowRef>(dialog);
}
