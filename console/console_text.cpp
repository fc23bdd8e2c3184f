#include "console/console_text.h"

TXNObject text;
WindowRef theConsole;
std::int32_t get_text;

void SetSelectionState(std::uint32_t on)
{
    const TXNControlTag tag = kTXNSelectionStateTag;
    TXNControlData data;
    data.uValue = on;
    TXNSetTXNObjectControls(text, 0, 1, &tag, &data);
}

void TextIdle()
{
    if (get_text == 1)
        TXNIdle(text);
}
