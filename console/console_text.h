// The few calls on the console's text object that the event pump and typed input need. The window
// around it is console_window's.
#ifndef PAPERMILL_CONSOLE_CONSOLE_TEXT_H
#define PAPERMILL_CONSOLE_CONSOLE_TEXT_H

#include "platform/text_engine.h"
#include "platform/windows.h"

#include <cstdint>

extern TXNObject text;        // the console's text; SetUpTextWindow -> console_io
extern WindowRef theConsole;  // the console window; initial -> the pump, the wait
extern std::int32_t get_text; // 1 while the console waits for typed input; ReadCharsFromConsole

// 1: the caret and typing are live (while a read is pending). 0: the text is a passive display.
void SetSelectionState(std::uint32_t on);

// Blinks the caret, only while a read is pending.
void TextIdle();

#endif
