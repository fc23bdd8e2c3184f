#include "platform/processes.h"
#include "platform/resources.h"

#include <algorithm>
#include <climits>
#include <string>

std::string platform::resources_folder()
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
        return "";

    std::string contents = path; // .../Contents/Linux/papermill
    for (int i = 0; i < 2; ++i)
        contents.erase(std::min(contents.rfind('/'), contents.size()));
    return contents + "/Resources";
}

bool platform::open_application_resources()
{
    const std::string folder = resources_folder();
    FSRef resources;
    ResFileRefNum file = -1;
    return !folder.empty() &&
           FSPathMakeRef((folder + "/Papermill.rsrc").c_str(), &resources, nullptr) == noErr &&
           FSOpenResourceFile(&resources, 0, nullptr, fsRdPerm, &file) == noErr;
}
