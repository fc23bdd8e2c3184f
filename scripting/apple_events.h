// The requests that the program answers: the four that every program knows, and the eight of its
// own class. Each handler reads the event's parameters, works until the work is done, and puts what
// the sender is to know into the reply, if the sender wants one (the reply has data then).
//
// While a run goes on, most requests are refused: errAEEventNotHandled, and a busy text in the
// reply.
#ifndef PAPERMILL_SCRIPTING_APPLE_EVENTS_H
#define PAPERMILL_SCRIPTING_APPLE_EVENTS_H

#include "platform/apple_events.h"

#include <cstddef>
#include <cstdint>

// The handlers' and the idle routines' descriptors; CreateAEUPP -> DoAEInstallation, senders.
extern AEEventHandlerUPP HandleOAPP_UPP, HandleODOC_UPP, HandlePDOC_UPP, HandleQUIT_UPP;
extern AEEventHandlerUPP HandleDone_UPP, HandleAppleScript_UPP, HandleDSC_UPP, HandleEPS_UPP;
extern AEEventHandlerUPP HandleEPS2TIFF_UPP, HandleEPS2PICT_UPP, HandlePDF2PS_UPP;
extern AEEventHandlerUPP HandleConvert_UPP;
extern AEIdleUPP myIdleProcRec_UPP, myIdleProcSend_UPP;

constexpr std::size_t scripted_command_size = 2048;
extern char tmpcomline[scripted_command_size]; // the command as it was received

// Installs all handlers; called once, at the start.
void DoAEInstallation();
void CreateAEUPP();

// noErr when every parameter of the event was read, errAEEventNotHandled when one was not, or the
// error of asking for it.
OSErr RequiredCheck(const AppleEvent *event);

OSErr HandleOAPP(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

// Converts each file of the list to PDF. An error with one of them: nothing is converted.
OSErr HandleODOC(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

OSErr HandlePDOC(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon); // refuses
OSErr HandleQUIT(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon); // ends it all

// Runs a command in the destination, or in the folder that holds the program.
OSErr HandleAppleScript(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

// Converts a PDF file to DSC at the destination.
OSErr HandleDSC(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

// These convert the first file of the list, and leave the others.
OSErr HandleEPS(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);
OSErr HandleEPS2TIFF(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);
OSErr HandleEPS2PICT(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);
OSErr HandlePDF2PS(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

// Converts the first item of the list to the PDF that the second one names.
OSErr HandleConvert(const AppleEvent *event, AppleEvent *reply, std::uint32_t refcon);

// For a sender that waits: its wait ends when the user cancels; never.
Boolean myIdleProcSend(EventRecord *event, std::int32_t *sleepTime, void *mouseRegion);
Boolean myIdleProcRec(EventRecord *event, std::int32_t *sleepTime, void *mouseRegion);

#endif
