#include "dialogs/preferences_window.h"

#include "app/globals.h"
#include "dialogs/dialog_controls.h"
#include "dialogs/dialog_machinery.h"
#include "platform/strings.h"
#include "settings/prefs_store.h"

namespace {

constexpr std::int32_t first_pane = 1001;
constexpr std::int32_t last_pane = 1004;
constexpr std::int32_t before_panes = first_pane - 1;

constexpr char factory_pdf_options[] = "-dASCII85EncodePages=false -dLanguageLevel=1";

void fill_field(WindowRef window, std::int32_t id, const char *key, const char *when_not_set)
{
    SetEditData(window, id, string_setting(key, when_not_set).c_str());
}

// True when there is a value that does not begin with the digit zero.
bool is_true_unless_zero(const char *key)
{
    const std::string value = string_setting(key, "0");
    return value[0] != '0';
}

bool is_true_if_one(const char *key)
{
    return string_setting(key, "0")[0] == '1';
}

// A box that means nothing on this system is not shown, and not checked.
void fill_box_if(WindowRef window, std::int32_t id, bool available, const char *key)
{
    if (available) {
        check_box(window, id, is_true_unless_zero(key));
        return;
    }
    ControlRef box = dialog_control(window, id);
    HideControl(box);
    DeactivateControl(box);
}

void fill(WindowRef window)
{
    fill_field(window, ps_options_field, "PS2PDF_OPTION_STR", "");
    fill_box_if(window, apple_pdf_box, have103 != 0, "APPLE_PDF_STR");
    fill_field(window, pdf_options_field, "PDF2PS_OPTION_STR", "");
    fill_box_if(window, pdftops_box, hasPDFTOPS != 0, "PDFTOPS_STR");
    // The conversion from EPS itself takes 144 where nothing is set: two defaults, on purpose.
    fill_field(window, tiff_resolution_field, "TIFF_OPTION_STR", "150");
    const char *compress = get_str_resource("TIFFCOMPRESS");
    check_box(window, tiff_compress_box, compress != nullptr && compress[0] == '1');
    fill_field(window, picture_resolution_field, "PICT_RES", "144");
    check_box(window, picture_preview_box, is_true_if_one("PICT_PREVIEW"));
    check_box(window, picture_delete_box, is_true_if_one("PICT_DELETE"));
}

} // namespace

int GetPrefs()
{
    platform::copy_whole(defaultPsOptions, distilling_options);
    platform::copy_whole(defaultPdfOptions, factory_pdf_options);
    cancelDialog = 0;
    WindowRef window = make_dialog("prefs", preferences_constant);
    for (std::int32_t pane = first_pane; pane <= last_pane; ++pane)
        HideControl(dialog_control(window, pane));
    fill(window);
    SetControl32BitValue(dialog_control(window, tab_control), lastTabControl - before_panes);
    ShowControl(dialog_control(window, lastTabControl));
    return run_dialog(window) ? 1 : 0;
}
