// The QZKT compressor's resources, built into the library: the codec information record
// ('cdci' 256), the settings dialog ('DLOG' 16501 with its item list 'DITL' 16501) and the item
// list the host's compression dialog embeds ('DITL' 129).
#pragma once

#include "platform/component_manager.h"
#include "platform/resource_manager.h"

const ResID kCompressorCodecInfoID = 256;
const ResID kCompressorSettingsDialogID = 16501;
const ResID kCompressorEmbeddedItemListID = 129;

// Items of the settings dialog.
enum : int16_t {
    kSettingsOKItem = 1,
    kSettingsCancelItem = 2,
    kSettingsAlphaPopupItem = 3,
    kSettingsCompressionPopupItem = 4,
    kSettingsThreadPopupItem = 5,
};

// The resource set to register the compressor with; built on first use, lives for the process.
const ComponentResourceSet* CompressorResources();
