#include "platform/processes.h"
#include "platform/resources.h"

#include <algorithm>
#include <climits>
#include <string>

bool platform::open_application_resources()
{
    ProcessSerialNumber current = {};
    GetCurrentProcess(&current);
    FSSpec executable = {};
    ProcessInfoRec record = {};
    record.processInfoLength = sizeof record;
    record.processAppSpec = &executable;
    FSRef reference;
    char path[PATH_MAX];
    if (GetProcessInformation(&current, &record) != noErr ||
        FSpMakeFSRef(&executable, &reference) != noErr ||
        FSRefMakePath(&reference, path, sizeof path) != noErr)
        return false;

    std::string contents = path; // .../Contents/Linux/papermill
    for (int i = 0; i < 2; ++i)
        contents.erase(std::min(contents.rfind('/'), contents.size()));
    FSRef resources;
    ResFileRefNum file = -1;
    return FSPathMakeRef((contents + "/Resources/Papermill.rsrc").c_str(), &resources, nullptr) ==
               noErr &&
           FSOpenResourceFile(&resources, 0, nullptr, fsRdPerm, &file) == noErr;
}
