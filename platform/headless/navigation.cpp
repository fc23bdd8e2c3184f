// There is nobody to choose: no chooser can be made.
#include "platform/navigation.h"

OSStatus NavCreateGetFileDialog(const NavDialogCreationOptions * /*options*/,
                                const void * /*typeList*/, NavEventUPP /*events*/,
                                const void * /*preview*/, NavObjectFilterUPP /*filter*/,
                                void * /*userData*/, NavDialogRef * /*dialog*/)
{
    return kNavInvalidSystemConfigErr;
}

OSStatus NavCreateChooseFileDialog(const NavDialogCreationOptions * /*options*/,
                                   const void * /*typeList*/, NavEventUPP /*events*/,
                                   const void * /*preview*/, NavObjectFilterUPP /*filter*/,
                                   void * /*userData*/, NavDialogRef * /*dialog*/)
{
    return kNavInvalidSystemConfigErr;
}

OSStatus NavCreateChooseFolderDialog(const NavDialogCreationOptions * /*options*/,
                                     NavEventUPP /*events*/, NavObjectFilterUPP /*filter*/,
                                     void * /*userData*/, NavDialogRef * /*dialog*/)
{
    return kNavInvalidSystemConfigErr;
}

OSStatus NavCreatePutFileDialog(const NavDialogCreationOptions * /*options*/, OSType /*type*/,
                                OSType /*creator*/, NavEventUPP /*events*/, void * /*userData*/,
                                NavDialogRef * /*dialog*/)
{
    return kNavInvalidSystemConfigErr;
}

OSStatus NavDialogRun(NavDialogRef /*dialog*/)
{
    return kNavWrongDialogStateErr;
}

void NavDialogDispose(NavDialogRef /*dialog*/) {}

NavUserAction NavDialogGetUserAction(NavDialogRef /*dialog*/)
{
    return kNavUserActionNone;
}

OSStatus NavDialogGetReply(NavDialogRef /*dialog*/, NavReplyRecord *reply)
{
    *reply = {};
    return kNavWrongDialogStateErr;
}

void platform::refuse_choice(NavDialogRef /*dialog*/, const char * /*format*/, ...) {}
