// The QZKT image decompressor component: a subcodec of the base image decompressor. It serves
// the few selectors that concern its own format and delegates every other call to the base
// decompressor, which schedules the work and calls back into the band handlers. Hosts reach it
// through the Component Manager (type 'imdc', subtype 'QZKT') after ZQN_CodecRegister().
#pragma once

#include "pixel/internal_pixel_buffer.h"
#include "platform/component_manager.h"
#include "platform/image_decompression.h"

struct GLDecompressorResources;

// One open decompressor: allocated zero-filled by KEL_DOpen, freed by KEL_DClose.
struct KELDecompressorGlobals {
    ComponentInstance self;
    ComponentInstance delegate; // the base image decompressor; 0 until opened
    ComponentInstance target;   // the component to call for self-calls
    int32_t width;              // stored at preflight
    int32_t height;
    InternalPixelBuffer pixelBuffers[3]; // allocated at preflight; the decoder does not use them
    Handle wantedPixelTypes;             // the destination pixel types offered to the host
    GLDecompressorResources* resources;  // made at open; GL objects made by the first GPU frame
};
typedef KELDecompressorGlobals* KELDecompressorGlobalsPtr;

// The per-band record the base decompressor keeps for us (20 bytes, three words used).
struct KELDecompressRecord {
    int32_t width;
    int32_t height;
    int32_t dataSize; // bytes of the frame, for the bounds check before decoding
    int32_t unused[2];
};
static_assert(sizeof(KELDecompressRecord) == 20, "the per-band record announced at initialisation");

extern "C" {
// The entry point: handled selectors call their handler, the register, unregister and
// work-function selectors answer badComponentSelector, everything else goes to the base
// decompressor.
ComponentResult KEL_DComponentDispatch(ComponentParameters* params, Handle storage);

// Registers the decompressor ('imdc'/'QZKT'/'appl', codecInfoDoes32) with its resources, once
// per process; later calls return the same component.
Component ZQN_CodecRegister();
}

ComponentResult KEL_DOpen(KELDecompressorGlobalsPtr storage, ComponentInstance self);
ComponentResult KEL_DClose(KELDecompressorGlobalsPtr storage, ComponentInstance self);
ComponentResult KEL_DCanDo(KELDecompressorGlobalsPtr storage, int16_t selector);
ComponentResult KEL_DVersion(KELDecompressorGlobalsPtr storage);
ComponentResult KEL_DTarget(KELDecompressorGlobalsPtr storage, ComponentInstance target);
ComponentResult KEL_DGetCodecInfo(KELDecompressorGlobalsPtr storage, CodecInfo* info);
ComponentResult KEL_DGetCompressedImageSize(KELDecompressorGlobalsPtr storage, ImageDescriptionHandle desc,
                                            Ptr data, int32_t bufferSize, ICMDataProcRecord* dataProc,
                                            int32_t* dataSize);
ComponentResult KEL_DPreflight(KELDecompressorGlobalsPtr storage, CodecDecompressParams* p);
ComponentResult KEL_DInitialize(KELDecompressorGlobalsPtr storage, ImageSubCodecDecompressCapabilities* cap);
ComponentResult KEL_DBeginBand(KELDecompressorGlobalsPtr storage, CodecDecompressParams* p,
                               ImageSubCodecDecompressRecord* drp, int32_t flags);
ComponentResult KEL_DDrawBand(KELDecompressorGlobalsPtr storage, ImageSubCodecDecompressRecord* drp);
ComponentResult KEL_DEndBand(KELDecompressorGlobalsPtr storage, ImageSubCodecDecompressRecord* drp,
                             int16_t result, int32_t flags);
ComponentResult KEL_DQueueStarting(KELDecompressorGlobalsPtr storage);
ComponentResult KEL_DQueueStopping(KELDecompressorGlobalsPtr storage);
ComponentResult KEL_DDecodeBand(KELDecompressorGlobalsPtr storage, ImageSubCodecDecompressRecord* drp,
                                uint32_t flags);
