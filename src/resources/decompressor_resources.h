// The QZKT decompressor's resources, built into the library: the codec information record
// ('cdci' 256).
#pragma once

#include "platform/component_manager.h"
#include "platform/resource_manager.h"

const ResID kDecompressorCodecInfoID = 256;

// The resource set to register the decompressor with; built on first use, lives for the process.
const ComponentResourceSet* DecompressorResources();
