#include "app/commands.h"

#include "app/cursors.h"
#include "app/globals.h"

const EventTypeSpec applicationEvents[application_event_count] = {
    {kEventClassCommand, kEventCommandProcess},
    {kEventClassApplication, kEventAppActivated},
    {kEventClassApplication, kEventAppDeactivated},
    {kEventClassMenu, kEventMenuEnableItems},
};

OSStatus myAppHandler(EventHandlerCallRef /*call*/, EventRef event, void * /*userData*/)
{
    if (GetEventClass(event) == kEventClassApplication) {
        if (GetEventKind(event) == kEventAppActivated) {
            inBackground = 0;
            restore();
        } else if (GetEventKind(event) == kEventAppDeactivated) {
            inBackground = 1;
        }
    }
    return eventNotHandledErr;
}
