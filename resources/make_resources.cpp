// Makes the resource files of the bundle in the folder named on the command line: the pristine
// preferences file, which is empty (every reader has its own default), and the application's own
// resources.
#include "platform/memory.h"
#include "platform/resources.h"
#include "platform/strings.h"
#include "settings/setting_keys.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

// The text that `info` shows; the console's line ending is the carriage return.
constexpr char info_text[] =
    "Papermill " PAPERMILL_VERSION "\r"
    "Converts PostScript, EPS and PDF files into each other and into TIFF, PICT, DSC and text.\r"
    "Free software under the MIT licence.\r"
    "Help: papermill --help, and the folder docs of the program's source.\r";

bool add(ResType type, const char *name, const void *bytes, std::size_t size)
{
    Handle data = NewHandle(size);
    if (data == nullptr)
        return false;
    std::memcpy(*data, bytes, size);
    char key[256];
    if (!platform::copy_whole(key, name))
        return false;
    AddResource(data, type, Unique1ID(type), c2pstr(key));
    return ResError() == noErr;
}

bool add_all()
{
    if (!add(four_chars("TEXT"), "Info", info_text, sizeof info_text - 1))
        return false;
    for (std::size_t i = 0; i < setting_key_count; ++i) {
        const setting_key &each = setting_keys[i];
        if (each.shipped != nullptr &&
            !add(four_chars("Cstr"), each.name, each.shipped, std::strlen(each.shipped) + 1))
            return false;
    }
    return true;
}

bool make_application_resources(const std::string &path)
{
    FSRef ref;
    ResFileRefNum file = -1;
    if (platform::create_resource_file(path.c_str()) != noErr ||
        FSPathMakeRef(path.c_str(), &ref, nullptr) != noErr ||
        FSOpenResourceFile(&ref, 0, nullptr, fsRdWrPerm, &file) != noErr)
        return false;
    const bool added = add_all();
    CloseResFile(file);
    return added && ResError() == noErr;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_resources FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];
    if (platform::create_resource_file((folder + "/PapermillPrefsDF").c_str()) != noErr ||
        !make_application_resources(folder + "/Papermill.rsrc")) {
        std::fprintf(stderr, "make_resources: cannot write into %s\n", folder.c_str());
        return 1;
    }
    return 0;
}
