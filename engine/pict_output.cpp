#include "engine/pict_output.h"

#include "app/globals.h"
#include "console/console_io.h"
#include "engine/eps_render.h"
#include "engine/ps_to_pdf.h"
#include "engine/tool_runner.h"
#include "platform/memory.h"
#include "platform/processes.h"
#include "platform/quickdraw.h"
#include "platform/resources.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

unsigned char pict_preview;
unsigned char pict_delete;
std::int32_t pict_depth = 32;

namespace {

constexpr char picture_extension[] = ".pict";
constexpr int default_resolution = 144; // dots per inch: twice the screen
constexpr std::int32_t file_header = 512;
constexpr std::int32_t shortest_picture = 10; // its size and its frame
constexpr ResType picture_type = four_chars("PICT");
constexpr std::int16_t preview_id = 256;
constexpr std::int8_t reading = 1;
constexpr std::int8_t reading_and_writing = 3;

bool begins_with_one(const char *key)
{
    const char *value = get_str_resource(key);
    return value != nullptr && value[0] == '1';
}

OSErr spec_of(const char *path, FSSpec *spec)
{
    return FSPathMakeFSSpec(path, spec, nullptr);
}

// Reads what follows the header of the open picture file into a new handle.
OSErr read_picture(FSIORefNum file, Handle *picture)
{
    std::int32_t length = 0;
    OSErr error = GetEOF(file, &length);
    if (error == noErr)
        error = SetFPos(file, fsFromStart, file_header);
    if (error != noErr)
        return error;
    length -= file_header;
    if (length < shortest_picture)
        return eofErr;
    Handle data = NewHandle(static_cast<std::size_t>(length));
    if (data == nullptr)
        return memFullErr;
    HLock(data);
    error = FSRead(file, &length, *data);
    HUnlock(data);
    if (error == noErr)
        *picture = data;
    else
        DisposeHandle(data);
    return error;
}

OSErr read_picture_file(const FSSpec &spec, Handle *picture)
{
    FSIORefNum file = 0;
    OSErr error = FSpOpenDF(&spec, reading, &file);
    if (error != noErr)
        return error;
    error = read_picture(file, picture);
    FSClose(file);
    return error;
}

// Attaches the picture in that file, whatever its name.
OSErr attach_picture(const char *eps, const char *picture_file)
{
    text_printf("Adding PICT resource to %s.\n", eps);
    FSSpec eps_spec = {};
    FSSpec picture_spec = {};
    Handle picture = nullptr;
    OSErr error = spec_of(eps, &eps_spec);
    if (error == noErr)
        error = spec_of(picture_file, &picture_spec);
    if (error == noErr)
        error = read_picture_file(picture_spec, &picture);
    if (error != noErr)
        return error;
    error = save_pict_res(eps_spec, picture);
    DisposeHandle(picture);
    // A picture that could not be attached is the only one that there is.
    if (error == noErr && pict_delete)
        std::remove(picture_file);
    return error;
}

// Opens the file's resource fork, which is made first where there is none. -1 when it cannot.
ResFileRefNum open_resource_fork(const FSSpec &spec)
{
    const ResFileRefNum file = FSpOpenResFile(&spec, fsCurPerm);
    if (file != -1)
        return file;
    FInfo info = {};
    FSpGetFInfo(&spec, &info);
    FSpCreateResFile(&spec, info.fdCreator, info.fdType, 0);
    return FSpOpenResFile(&spec, fsCurPerm);
}

// Puts the picture into the current resource file, in the place of an older one.
OSErr put_preview(Handle picture)
{
    Handle older = Get1Resource(picture_type, preview_id);
    if (older == nullptr) {
        constexpr unsigned char no_name[] = {0};
        AddResource(picture, picture_type, preview_id, no_name);
        return ResError();
    }
    const std::size_t size = GetHandleSize(picture);
    SetHandleSize(older, size);
    if (MemError() != noErr)
        return MemError();
    HLock(older);
    HLock(picture);
    std::memcpy(*older, *picture, size);
    HUnlock(picture);
    HUnlock(older);
    ChangedResource(older);
    const OSErr error = ResError();
    ReleaseResource(older);
    return error;
}

// ---- drawing anew ----

// Draws the picture into the offscreen world and records what it shows there.
OSErr record(PicHandle picture, const platform::picture_head &head, GWorldPtr world,
             PicHandle *recorded)
{
    CGrafPtr old_port = nullptr;
    GDHandle old_device = nullptr;
    GetGWorld(&old_port, &old_device);
    SetGWorld(world, nullptr);
    DrawPicture(picture, &head.frame);
    OSErr error = QDError();
    SetGWorld(old_port, old_device);
    if (error != noErr)
        return error;

    GrafPtr port = nullptr;
    GetPort(&port);
    ClipRect(&head.frame);
    const OpenCPicParams parameters = {head.frame, head.x_resolution, head.y_resolution, -2, 0, 0};
    const PicHandle made = OpenCPicture(&parameters);
    if (made == nullptr)
        return QDError();
    ForeColor(blackColor);
    BackColor(whiteColor);
    CopyBits(*GetGWorldPixMap(world), port->portPixMap, &head.frame, &head.frame, ditherCopy,
             nullptr);
    error = QDError();
    ClosePicture();
    if (error == noErr)
        error = QDError();
    if (error == noErr)
        *recorded = made;
    else
        KillPicture(made);
    return error;
}

// The picture at a depth of pict_depth, in a new handle.
OSErr redraw(PicHandle picture, PicHandle *drawn)
{
    platform::picture_head head = {};
    if (!platform::read_picture_head(picture, &head) || EmptyRect(&head.frame))
        return paramErr;
    GWorldPtr world = nullptr;
    OSErr error = NewGWorld(&world, static_cast<std::int16_t>(pict_depth), &head.frame, nullptr,
                            nullptr, useTempMem);
    if (error != noErr)
        return error;
    LockPixels(GetGWorldPixMap(world));
    error = record(picture, head, world, drawn);
    UnlockPixels(GetGWorldPixMap(world));
    DisposeGWorld(world);
    return error;
}

// Writes header and picture over the open file. The room is taken before anything is overwritten.
OSErr write_picture(FSIORefNum file, Handle picture)
{
    const std::string header(file_header, '\0');
    const auto size = static_cast<std::int32_t>(GetHandleSize(picture));
    std::int32_t old_size = 0;
    OSErr error = GetEOF(file, &old_size);
    if (error == noErr)
        error = SetEOF(file, std::max(old_size, file_header + size));
    if (error == noErr)
        error = SetFPos(file, fsFromStart, 0);
    std::int32_t count = file_header;
    if (error == noErr)
        error = FSWrite(file, &count, header.data());
    count = size;
    HLock(picture);
    if (error == noErr)
        error = FSWrite(file, &count, *picture);
    HUnlock(picture);
    return error == noErr ? SetEOF(file, file_header + size) : error;
}

} // namespace

void makepict(const char *path)
{
    const char *file = path != nullptr ? path : in_file;
    pict_preview = 0;
    // The first test of each pair decides: has_extension does not look at the case.
    if (has_extension(file, ".eps") || has_extension(file, ".EPS") ||
        has_extension(file, ".epsf") || has_extension(file, ".EPSF"))
        epstopict(file, nullptr);
    else if (has_extension(file, ".ps") || has_extension(file, ".PS"))
        do_ps2pict(file, nullptr);
    else if (has_extension(file, ".pdf") || has_extension(file, ".PDF"))
        do_pdf2pict(file, nullptr);
}

void do_ps2pict(const char *input, const char * /*output*/)
{
    static char infile[path_size];
    static char outfile[path_size];
    static char pdf[path_size];
    if (!take_path(infile, input) || !take_output(outfile, nullptr, infile, picture_extension) ||
        !take_path(pdf, (std::string(tmpPath) + "/xxx.pdf").c_str()) ||
        refuse_own_input(infile, outfile))
        return;
    text_printf("Converting %s to %s.\n", infile, pdf);
    do_ps2pdf2(infile, pdf);
    if (last_ending == ended_well) {
        set_prepared_from(infile);
        do_pdf2pict(pdf, outfile);
        set_prepared_from(nullptr);
    }
    std::remove(pdf);
}

void do_pdf2pict(const char *input, const char *output)
{
    static char outfile[path_size];
    const int resolution = number_setting("PICT_RES", default_resolution);
    if ((input != nullptr && !take_path(in_file, input)) ||
        !take_output(outfile, output, in_file, picture_extension) ||
        !resolution_is_good(in_file, resolution) || refuse_own_input(in_file, outfile))
        return;
    char options[32];
    std::snprintf(options, sizeof options, "-r %d", resolution);
    if (!compose_command_line(in_file, "gs.script %s %d \"%s\" \"%s\" \"%s\" \"%s\"",
                              have103 ? "pdf2pict" : "pdf2pict102", appPID,
                              platform::in_double_quotes(worksheet).c_str(),
                              platform::in_double_quotes(outfile).c_str(),
                              platform::in_double_quotes(in_file).c_str(), options))
        return;
    const std::string banner = std::string("Converting ") + in_file + " to " + outfile + ".\n";
    run_options run;
    run.banner = banner.c_str();
    run.elapsed_after_cancel = true;
    run.subject = in_file;
    run.output = outfile;
    run_and_wait(run);
}

void epstopict(const char *input, const char *output)
{
    const bool made = eps_to_picture(input, output, picture_extension,
                                     number_setting("PICT_RES", default_resolution), false);
    pict_preview = begins_with_one("PICT_PREVIEW");
    pict_delete = begins_with_one("PICT_DELETE");
    // The picture just made, which may have another name than the EPS file.
    if (made && pict_preview)
        attach_picture(inname, outname);
}

OSErr add_pict(const char *epsPath)
{
    static char picture[path_size];
    if (!take_output(picture, nullptr, epsPath, picture_extension))
        return bdNamErr;
    return attach_picture(epsPath, picture);
}

OSErr save_pict_res(const FSSpec &spec, Handle picture)
{
    const ResFileRefNum saved = CurResFile();
    const ResFileRefNum file = open_resource_fork(spec);
    OSErr error = file == -1 ? ResError() : OSErr{noErr};
    if (error != noErr)
        text_printf("can't open\n");
    else
        error = put_preview(picture);
    UseResFile(saved);
    if (file != -1) {
        CloseResFile(file);
        if (error == noErr)
            error = ResError();
        FlushVol(nullptr, spec.vRefNum);
    }
    if (error != noErr) {
        std::string path;
        platform::path_of(spec, &path);
        text_printf("%s: the preview can't be stored in it (error %d).\n", path.c_str(), error);
        ++failed_conversions;
    }
    return error;
}

OSErr drawPICT(const char *path)
{
    FSSpec spec = {};
    Handle picture = nullptr;
    OSErr error = spec_of(path, &spec);
    if (error == noErr)
        error = read_picture_file(spec, &picture);
    if (error != noErr)
        return error;
    PicHandle drawn = nullptr;
    error = redraw(picture, &drawn);
    DisposeHandle(picture);

    FSIORefNum file = 0;
    if (error == noErr)
        error = FSpOpenDF(&spec, reading_and_writing, &file);
    if (error == noErr) {
        error = write_picture(file, drawn);
        FSClose(file);
    }
    if (drawn != nullptr)
        KillPicture(drawn);
    FInfo info = {};
    if (error == noErr)
        error = FSpGetFInfo(&spec, &info);
    if (error != noErr)
        return error;
    info.fdType = picture_type;
    return FSpSetFInfo(&spec, &info);
}
