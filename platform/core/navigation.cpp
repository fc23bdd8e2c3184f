// What is the same of a chooser whoever shows it.
#include "platform/navigation.h"

#include <cstdlib>

OSStatus NavGetDefaultDialogCreationOptions(NavDialogCreationOptions *options)
{
    *options = {};
    options->optionFlags = kNavDefaultNavDlogOptions;
    options->modality = kWindowModalityAppModal;
    return noErr;
}

NavEventUPP NewNavEventUPP(NavEventUPP callback)
{
    return callback;
}

NavObjectFilterUPP NewNavObjectFilterUPP(NavObjectFilterUPP filter)
{
    return filter;
}

OSStatus NavDisposeReply(NavReplyRecord *reply)
{
    AEDisposeDesc(&reply->selection);
    std::free(const_cast<char *>(reply->saveFileName));
    *reply = {};
    return noErr;
}
