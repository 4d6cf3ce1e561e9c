// The compressor's resource data.
#include "compressor_resources.h"

#include <cstring>
#include <vector>

#include "codec_info.h"
#include "platform/dialog_resources.h"
#include "platform/image_codec.h"

namespace {

const std::vector<std::string> kAlphaChoices = {"Off (opaque)", "On (DXT5 with alpha)"};
// Choice order follows the compression popup values 1..3.
const std::vector<std::string> kCompressionChoices = {"DXT24 + LZF", "DXT1 + LZF", "DXT24, no LZF"};
// Thread setting 1..9; 2 means one thread.
const std::vector<std::string> kThreadChoices = {"One per physical core",
                                                 "1 thread",
                                                 "2 threads",
                                                 "4 threads",
                                                 "6 threads",
                                                 "8 threads",
                                                 "12 threads",
                                                 "16 threads",
                                                 "24 threads"};

std::vector<DialogItemTemplate> Popups(int16_t top) {
    return {
        {kPopupDialogItem, {top, 10, static_cast<int16_t>(top + 20), 330}, "Alpha channel", kAlphaChoices},
        {kPopupDialogItem,
         {static_cast<int16_t>(top + 30), 10, static_cast<int16_t>(top + 50), 330},
         "Compression",
         kCompressionChoices},
        {kPopupDialogItem,
         {static_cast<int16_t>(top + 60), 10, static_cast<int16_t>(top + 80), 330},
         "DXT24 threads",
         kThreadChoices},
    };
}

std::vector<DialogItemTemplate> SettingsDialogItems() {
    std::vector<DialogItemTemplate> items = {
        {kButtonDialogItem, {130, 250, 150, 330}, "OK", {}},
        {kButtonDialogItem, {130, 160, 150, 240}, "Cancel", {}},
    };
    for (const DialogItemTemplate& popup : Popups(20))
        items.push_back(popup);
    return items;
}

} // namespace

const ComponentResourceSet* CompressorResources() {
    static const CodecInfo codecInfo = QZKTCodecInfo();
    static const std::vector<uint8_t> dialog =
        BuildDialogTemplate({{0, 0, 160, 340}, kCompressorSettingsDialogID, "QZKT compression settings"});
    static const std::vector<uint8_t> dialogItems = BuildItemList(SettingsDialogItems());
    static const std::vector<uint8_t> embeddedItems = BuildItemList(Popups(0));
    static const ComponentResource resources[] = {
        {FourCC("cdci"), kCompressorCodecInfoID, &codecInfo, sizeof codecInfo},
        {FourCC("DLOG"), kCompressorSettingsDialogID, dialog.data(), dialog.size()},
        {FourCC("DITL"), kCompressorSettingsDialogID, dialogItems.data(), dialogItems.size()},
        {FourCC("DITL"), kCompressorEmbeddedItemListID, embeddedItems.data(), embeddedItems.size()},
    };
    static const ComponentResourceSet set = {resources, sizeof resources / sizeof resources[0]};
    return &set;
}
