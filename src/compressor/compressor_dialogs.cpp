// The settings dialogs: the compressor's own modal dialog and the items the host's compression
// dialog embeds.
#include <cstdio>

#include "compressor_settings.h"
#include "platform/resource_manager.h"
#include "resources/compressor_resources.h"

namespace {

// Embedded items, relative to the host's item offset.
enum : int16_t { kEmbeddedAlphaItem = 1, kEmbeddedCompressionItem = 2, kEmbeddedThreadItem = 3 };

ControlRef ItemControl(DialogRef dialog, int16_t item) {
    ControlRef control = nullptr;
    GetDialogItemAsControl(dialog, item, &control);
    return control;
}

int16_t ItemValue(DialogRef dialog, int16_t item) {
    return GetControlValue(ItemControl(dialog, item));
}

// Sets the alpha, compression and thread popups at items first, first + 1, first + 2.
void ShowSettings(const KELCompressorGlobals& globals, DialogRef dialog, int16_t first) {
    SetControlValue(ItemControl(dialog, first), AlphaPopupValue(globals));
    SetControlValue(ItemControl(dialog, static_cast<int16_t>(first + 1)), CompressionPopupValue(globals));
    SetControlValue(ItemControl(dialog, static_cast<int16_t>(first + 2)),
                    static_cast<int16_t>(globals.threadSetting));
}

// The embedded compression popup sets both settings exactly: value 1 or 2 also clears no-LZF.
void ApplyEmbeddedCompression(KELCompressorGlobalsPtr globals, int16_t value) {
    switch (value) {
    case 1:
        globals->dxt24 = 1;
        globals->noLZF = 0;
        break;
    case 2:
        globals->dxt24 = 0;
        globals->noLZF = 0;
        break;
    case 3:
        globals->dxt24 = 1;
        globals->noLZF = 1;
        break;
    default:
        break;
    }
}

// Applies one embedded item; false for items that are not the compressor's.
bool ApplyEmbeddedItem(KELCompressorGlobalsPtr globals, DialogRef dialog, int16_t itemOffset,
                       int16_t relative) {
    const int16_t value = ItemValue(dialog, static_cast<int16_t>(itemOffset + relative));
    switch (relative) {
    case kEmbeddedAlphaItem:
        globals->alpha = value == 2 ? 1 : 0;
        return true;
    case kEmbeddedCompressionItem:
        ApplyEmbeddedCompression(globals, value);
        return true;
    case kEmbeddedThreadItem:
        globals->threadSetting = value;
        return true;
    default:
        return false;
    }
}

} // namespace

ComponentResult KEL_CRequestSettings(KELCompressorGlobalsPtr globals, Handle settings, Rect*,
                                     ModalFilterUPP) {
    const ResFileRefNum savedResFile = CurResFile();
    LoadPreferencesIfNeeded(globals);
    const ResFileRefNum resFile = OpenComponentResFile(globals->self);
    if (resFile == -1) std::printf("Error: res file not opened\n");

    DialogRef dialog = GetNewDialog(kCompressorSettingsDialogID, nullptr, InFrontOfAllWindows());
    if (dialog == nullptr) {
        // Leave the resource chain as the host had it.
        if (resFile != -1) CloseComponentResFile(resFile);
        UseResFile(savedResFile);
        return resNotFound;
    }
    SetDialogCancelItem(dialog, kSettingsCancelItem);
    ShowWindow(GetDialogWindow(dialog));
    ShowSettings(*globals, dialog, kSettingsAlphaPopupItem);

    int16_t itemHit = 0;
    do {
        ModalDialog(nullptr, &itemHit);
    } while (itemHit != kSettingsOKItem && itemHit != kSettingsCancelItem);

    if (itemHit == kSettingsOKItem) {
        globals->alpha = ItemValue(dialog, kSettingsAlphaPopupItem) == 2 ? 1 : 0;
        // Unlike the embedded popup, choices 1 and 2 leave no-LZF as it was.
        const int16_t compression = ItemValue(dialog, kSettingsCompressionPopupItem);
        globals->dxt24 = compression == 2 ? 0 : 1;
        if (compression == 3) {
            globals->dxt24 = 1;
            globals->noLZF = 1;
        }
        globals->threadSetting = ItemValue(dialog, kSettingsThreadPopupItem);
        WritePreferences(globals);
        if (settings != nullptr) KEL_CGetSettings(globals, settings);
    }

    DisposeDialog(dialog);
    if (resFile != -1) CloseComponentResFile(resFile);
    UseResFile(savedResFile);
    return noErr;
}

ComponentResult KEL_CGetDITLForSize(KELCompressorGlobalsPtr globals, Handle* ditl, Point* requestedSize) {
    if (ditl == nullptr || requestedSize == nullptr) return paramErr;
    // Only the smallest size (h = -1) is offered.
    if (requestedSize->h != -1) return badComponentSelector;
    return GetComponentResource(globals->self, FourCC("DITL"), kCompressorEmbeddedItemListID, ditl);
}

ComponentResult KEL_CDITLInstall(KELCompressorGlobalsPtr globals, DialogRef dialog, int16_t itemOffset) {
    LoadPreferencesIfNeeded(globals);
    ShowSettings(*globals, dialog, static_cast<int16_t>(itemOffset + kEmbeddedAlphaItem));
    return noErr;
}

ComponentResult KEL_CDITLEvent(KELCompressorGlobalsPtr, DialogRef, int16_t, const EventRecord*, int16_t*,
                               Boolean* handled) {
    if (handled != nullptr) *handled = false;
    return noErr;
}

ComponentResult KEL_CDITLItem(KELCompressorGlobalsPtr globals, DialogRef dialog, int16_t itemOffset,
                              int16_t itemNum) {
    if (ApplyEmbeddedItem(globals, dialog, itemOffset, static_cast<int16_t>(itemNum - itemOffset)))
        WritePreferences(globals);
    return noErr;
}

ComponentResult KEL_CDITLRemove(KELCompressorGlobalsPtr globals, DialogRef dialog, int16_t itemOffset) {
    for (int16_t item : {kEmbeddedAlphaItem, kEmbeddedCompressionItem, kEmbeddedThreadItem})
        ApplyEmbeddedItem(globals, dialog, itemOffset, item);
    WritePreferences(globals);
    return noErr;
}

ComponentResult KEL_CDITLValidateInput(KELCompressorGlobalsPtr, Boolean* ok) {
    if (ok != nullptr) *ok = true;
    return noErr;
}
