// Event records of the scripting interface.
#ifndef PAPERMILL_PLATFORM_APPLE_EVENTS_H
#define PAPERMILL_PLATFORM_APPLE_EVENTS_H

#include "platform/types.h"

// A typed piece of data; an event or a reply is a record of them.
struct AEDesc {
    OSType descriptorType;
    Handle dataHandle; // null: the descriptor has no data
};
using AppleEvent = AEDesc;

#endif
