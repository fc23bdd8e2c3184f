#include "scripting/apple_events.h"

#include "app/command_line.h"
#include "app/globals.h"
#include "console/console_io.h"
#include "console/console_window.h"
#include "engine/dispatch.h"
#include "engine/eps_extraction.h"
#include "engine/pdf_conversions.h"
#include "engine/pict_output.h"
#include "engine/tiff_output.h"
#include "engine/tool_runner.h"
#include "platform/core/atomic_file.h"
#include "platform/files.h"
#include "platform/strings.h"
#include "scripting/terms.h"
#include "settings/path_utils.h"
#include "settings/prefs_store.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

AEEventHandlerUPP HandleOAPP_UPP;
AEEventHandlerUPP HandleODOC_UPP;
AEEventHandlerUPP HandlePDOC_UPP;
AEEventHandlerUPP HandleQUIT_UPP;
AEEventHandlerUPP HandleDone_UPP;
AEEventHandlerUPP HandleAppleScript_UPP;
AEEventHandlerUPP HandleDSC_UPP;
AEEventHandlerUPP HandleEPS_UPP;
AEEventHandlerUPP HandleEPS2TIFF_UPP;
AEEventHandlerUPP HandleEPS2PICT_UPP;
AEEventHandlerUPP HandlePDF2PS_UPP;
AEEventHandlerUPP HandleConvert_UPP;
AEIdleUPP myIdleProcRec_UPP;
AEIdleUPP myIdleProcSend_UPP;

char tmpcomline[scripted_command_size];

namespace {

constexpr AEKeyword destination = four_chars("dest");

// Two wordings, which senders may tell apart.
constexpr char busy_with_another[] = "Papermill is busy with another request.";
constexpr char busy_with_previous[] = "Papermill is busy with a previous request.";

OSErr refuse(AppleEvent *reply, const char *busy)
{
    if (reply->dataHandle != nullptr)
        AEPutParamPtr(reply, keyErrorString, typeChar, busy, std::strlen(busy));
    return errAEEventNotHandled;
}

// The tool's status. 0 means a result: a tool that ended with 0 and left none replies 1.
void reply_status(AppleEvent *reply)
{
    std::int32_t status = exit_status;
    if (status == 0 && last_ending == ended_without_result)
        status = 1;
    if (reply->dataHandle != nullptr)
        AEPutParamPtr(reply, keyDirectObject, typeLongInteger, &status, sizeof status);
}

// ---- reading parameters ----

OSErr check_and_tell(const AppleEvent *event)
{
    const OSErr error = RequiredCheck(event);
    if (error != noErr)
        text_printf("I missed something.\n");
    return error;
}

OSErr get_file(const AppleEvent *event, char (&path)[path_size])
{
    FSRef file = {};
    const OSErr error =
        AEGetParamPtr(event, keyDirectObject, typeFSRef, nullptr, &file, sizeof file, nullptr);
    return error == noErr ? FSRefMakePath(&file, path, sizeof path) : error;
}

OSErr get_destination(const AppleEvent *event, FSSpec *spec)
{
    *spec = {};
    return AEGetParamPtr(event, destination, typeFSS, nullptr, spec, sizeof *spec, nullptr);
}

// The list of files that is an event's only parameter, for the caller to dispose of, and how many
// they are.
OSErr get_list(const AppleEvent *event, AEDescList *files, std::int32_t *count)
{
    OSErr error = AEGetParamDesc(event, keyDirectObject, typeAEList, files);
    if (error == noErr)
        error = RequiredCheck(event);
    if (error == noErr)
        error = AECountItems(files, count);
    if (error != noErr)
        AEDisposeDesc(files);
    return error;
}

OSErr get_file_of_list(const AEDescList &files, std::int32_t index, char (&path)[path_size])
{
    FSRef file = {};
    const OSErr error =
        AEGetNthPtr(&files, index, typeFSRef, nullptr, nullptr, &file, sizeof file, nullptr);
    return error == noErr ? FSRefMakePath(&file, path, sizeof path) : error;
}

OSErr path_of_folder(const FSSpec &folder, char (&path)[path_size])
{
    FSRef ref;
    const OSErr error = FSpMakeFSRef(&folder, &ref);
    return error == noErr ? FSRefMakePath(&ref, path, sizeof path) : error;
}

// Appends the specification's name to the path of its folder.
OSErr append_name(const FSSpec &spec, char (&path)[path_size])
{
    std::string name;
    const OSErr error = platform::whole_name(spec, &name);
    if (error != noErr)
        return error;
    return platform::copy_whole(path, platform::in_folder(path, name).c_str()) ? OSErr{noErr}
                                                                               : OSErr{paramErr};
}

// ---- the work ----

// How the requests for one conversion begin: the list of files, for the caller to dispose of, and
// the path of the first one.
OSErr begin_conversion(const AppleEvent *event, AppleEvent *reply, AEDescList *files,
                       char (&input)[path_size])
{
    if (inRun != 0)
        return refuse(reply, busy_with_another);
    std::int32_t count = 0;
    OSErr error = get_list(event, files, &count);
    if (error != noErr)
        return error;
    error = get_file_of_list(*files, 1, input);
    if (error != noErr)
        AEDisposeDesc(files);
    return error;
}

// However many files there are, the first one is converted.
OSErr convert_first(const AppleEvent *event, AppleEvent *reply, void (*convert)())
{
    AEDescList files;
    const OSErr error = begin_conversion(event, reply, &files, in_file);
    if (error != noErr)
        return error;
    AEDisposeDesc(&files);
    convert();
    reply_status(reply);
    return noErr;
}

void convert_to_postscript()
{
    if (!take_output(out_file, nullptr, in_file, ".ps"))
        return;
    if (usePDFTOPS != 0)
        do_pdftops(nullptr);
    else
        do_pdf2ps(nullptr);
}

// The received text becomes the command; a line of options alone is one for Ghostscript.
void take_command(std::size_t received)
{
    constexpr std::size_t longest = scripted_command_size - 1;
    if (received > longest)
        text_printf("The command has %zu bytes; only the first %zu are run.\n", received, longest);
    if (std::strncmp(tmpcomline, "-q", 2) == 0)
        std::snprintf(command_line, sizeof command_line, "gs %s", tmpcomline);
    else
        platform::copy_whole(command_line, tmpcomline);
}

} // namespace

// ---- installation ----

void CreateAEUPP()
{
    HandleOAPP_UPP = NewAEEventHandlerUPP(HandleOAPP);
    HandleODOC_UPP = NewAEEventHandlerUPP(HandleODOC);
    HandlePDOC_UPP = NewAEEventHandlerUPP(HandlePDOC);
    HandleQUIT_UPP = NewAEEventHandlerUPP(HandleQUIT);
    HandleDone_UPP = NewAEEventHandlerUPP(HandleDone);
    HandleAppleScript_UPP = NewAEEventHandlerUPP(HandleAppleScript);
    HandleDSC_UPP = NewAEEventHandlerUPP(HandleDSC);
    HandleEPS_UPP = NewAEEventHandlerUPP(HandleEPS);
    HandleEPS2TIFF_UPP = NewAEEventHandlerUPP(HandleEPS2TIFF);
    HandleEPS2PICT_UPP = NewAEEventHandlerUPP(HandleEPS2PICT);
    HandlePDF2PS_UPP = NewAEEventHandlerUPP(HandlePDF2PS);
    HandleConvert_UPP = NewAEEventHandlerUPP(HandleConvert);
    myIdleProcRec_UPP = NewAEIdleUPP(myIdleProcRec);
    myIdleProcSend_UPP = NewAEIdleUPP(myIdleProcSend);
}

void DoAEInstallation()
{
    CreateAEUPP();
    const struct {
        AEEventClass event_class;
        AEEventID event_id;
        AEEventHandlerUPP handler;
    } handlers[] = {
        {kCoreEventClass, kAEOpenApplication, HandleOAPP_UPP},
        {kCoreEventClass, kAEOpenDocuments, HandleODOC_UPP},
        {kCoreEventClass, kAEPrintDocuments, HandlePDOC_UPP},
        {kCoreEventClass, kAEQuitApplication, HandleQUIT_UPP},
        {papermill_class, four_chars("done"), HandleDone_UPP},
        {papermill_class, four_chars("exec"), HandleAppleScript_UPP},
        {papermill_class, four_chars("dscs"), HandleDSC_UPP},
        {papermill_class, four_chars("epsf"), HandleEPS_UPP},
        {papermill_class, four_chars("etif"), HandleEPS2TIFF_UPP},
        {papermill_class, four_chars("epic"), HandleEPS2PICT_UPP},
        {papermill_class, four_chars("pdfp"), HandlePDF2PS_UPP},
        {papermill_class, four_chars("cdoc"), HandleConvert_UPP},
    };
    for (const auto &each : handlers)
        AEInstallEventHandler(each.event_class, each.event_id, each.handler, 0, 0);
    AESetInteractionAllowed(kAEInteractWithLocal);
}

Boolean myIdleProcSend(EventRecord * /*event*/, std::int32_t * /*sleepTime*/,
                       void * /*mouseRegion*/)
{
    return CheckEventQueueForUserCancel() ? 1 : 0;
}

Boolean myIdleProcRec(EventRecord * /*event*/, std::int32_t * /*sleepTime*/, void * /*mouseRegion*/)
{
    return 0;
}

OSErr RequiredCheck(const AppleEvent *event)
{
    const OSErr error =
        AEGetAttributePtr(event, keyMissedKeywordAttr, typeWildCard, nullptr, nullptr, 0, nullptr);
    if (error == errAEDescNotFound)
        return noErr;
    // On purpose not -1715, which is a missed parameter's usual number.
    return error == noErr ? OSErr{errAEEventNotHandled} : error;
}

// ---- what every program knows ----

OSErr HandleOAPP(const AppleEvent *event, AppleEvent * /*reply*/, std::uint32_t /*refcon*/)
{
    return RequiredCheck(event);
}

OSErr HandleODOC(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    if (inRun != 0)
        return refuse(reply, busy_with_another);
    AEDescList files;
    std::int32_t count = 0;
    OSErr error = get_list(event, &files, &count);
    if (error != noErr)
        return error;
    clear_jobs();
    for (std::int32_t i = 1; i <= count && error == noErr; ++i) {
        error = get_file_of_list(files, i, in_file);
        if (error == noErr)
            add_job(in_file);
    }
    AEDisposeDesc(&files);
    if (error == noErr)
        doOpenDoc();
    else
        clear_jobs();
    return error;
}

OSErr HandlePDOC(const AppleEvent * /*event*/, AppleEvent * /*reply*/, std::uint32_t /*refcon*/)
{
    return errAEEventNotHandled;
}

OSErr HandleQUIT(const AppleEvent *event, AppleEvent * /*reply*/, std::uint32_t /*refcon*/)
{
    const OSErr error = RequiredCheck(event);
    if (error != noErr)
        return error;
    TextCleanUp();
    std::exit(0);
}

// ---- the program's own ----

OSErr HandleAppleScript(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    if (inRun == 1)
        return refuse(reply, busy_with_previous);
    std::size_t size = 0;
    OSErr error = AEGetParamPtr(event, keyDirectObject, typeChar, nullptr, tmpcomline,
                                sizeof tmpcomline, &size);
    if (error != noErr)
        return error;
    tmpcomline[size < sizeof tmpcomline ? size : sizeof tmpcomline - 1] = 0;

    FSSpec folder;
    error = get_destination(event, &folder);
    if (error == noErr)
        error = path_of_folder(folder, curr_dir);
    else if (error == errAEDescNotFound)
        error = platform::copy_whole(curr_dir, appPath) ? OSErr{noErr} : OSErr{paramErr};
    if (error != noErr)
        return error;
    // On purpose of the command before this one: what it says of a folder still holds.
    SetCurrDirFromParameter(command_line);
    error = check_and_tell(event);
    if (error != noErr)
        return error;

    take_command(size);
    DoAppleScript();
    reply_status(reply);
    return noErr;
}

OSErr HandleDSC(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    static char input[path_size];
    static char output[path_size];
    if (inRun == 1)
        return refuse(reply, busy_with_previous);
    OSErr error = get_file(event, input);
    FSSpec spec;
    if (error == noErr)
        error = get_destination(event, &spec);
    if (error == noErr)
        error = FSMakePath(spec.vRefNum, spec.parID, nullptr, output, sizeof output);
    if (error == noErr)
        error = append_name(spec, output);
    if (error == noErr)
        error = check_and_tell(event);
    if (error != noErr)
        return error;
    if (!refuse_own_input(input, output))
        do_pdf2dsc(input, output);
    reply_status(reply);
    return noErr;
}

OSErr HandleEPS(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    return convert_first(event, reply, [] { do_ps2eps(nullptr); });
}

OSErr HandleEPS2TIFF(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    return convert_first(event, reply, [] { epstotiff(nullptr, nullptr); });
}

OSErr HandleEPS2PICT(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    return convert_first(event, reply, [] { epstopict(nullptr, nullptr); });
}

OSErr HandlePDF2PS(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    return convert_first(event, reply, convert_to_postscript);
}

OSErr HandleConvert(const AppleEvent *event, AppleEvent *reply, std::uint32_t /*refcon*/)
{
    static char input[path_size];
    static char output[path_size];
    AEDescList files;
    OSErr error = begin_conversion(event, reply, &files, input);
    if (error != noErr)
        return error;
    FSSpec spec = {};
    FSSpec folder;
    error = AEGetNthPtr(&files, 2, typeFSS, nullptr, nullptr, &spec, sizeof spec, nullptr);
    if (error == noErr)
        error = FSMakeFSSpec(spec.vRefNum, spec.parID, nullptr, &folder);
    if (error == noErr)
        error = path_of_folder(folder, output);
    if (error == noErr)
        error = append_name(spec, output);
    AEDisposeDesc(&files);
    if (error != noErr)
        return error;
    do_ps2pdf1(input, output);
    return noErr;
}
