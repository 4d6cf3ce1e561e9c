// The QZKT image compressor component: its instance record, entry point and the handlers of
// its selector table. Hosts reach it only through the Component Manager (type 'imco',
// subtype 'QZKT'); the handlers are declared here for the component's own files and tests.
#pragma once

#include "pixel/internal_pixel_buffer.h"
#include "platform/component_manager.h"
#include "platform/dialog_manager.h"
#include "platform/image_codec.h"

// One open compressor: allocated zero-filled by KEL_COpen, freed by KEL_CClose.
struct KELCompressorGlobals {
    ComponentInstance self;
    ComponentInstance target; // stored by KEL_CTarget, not used otherwise
    ICMCompressorSessionRef session;
    ICMCompressionSessionOptionsRef sessionOptions; // retained; released on re-preparation and at close
    int32_t width;
    int32_t height;
    uint32_t maxFrameSize; // the size of every encoded-frame buffer
    int32_t maxKeyFrameInterval;
    InternalPixelBuffer buffers[3]; // allocated at preparation; the encoder does not use them
    // Settings.
    uint8_t alpha;
    uint8_t dxt24;
    uint8_t noLZF;
    int32_t threadSetting;
    uint8_t preferencesLoaded;
};
typedef KELCompressorGlobals* KELCompressorGlobalsPtr;

// The entry point: routes params->what to a handler. Unknown and unserved selectors answer
// badComponentSelector.
extern "C" ComponentResult KEL_CComponentDispatch(ComponentParameters* params, Handle storage);

// Registers the compressor with its resources and its bundle loader (once per process; later
// calls return the same component). Hosts call this before opening it; the bundle itself loads
// at the first open (compressor_bundle.h).
Component ZQN_CompressorRegister();

ComponentResult KEL_COpen(KELCompressorGlobalsPtr storage, ComponentInstance self);
ComponentResult KEL_CClose(KELCompressorGlobalsPtr storage, ComponentInstance self);
ComponentResult KEL_CCanDo(KELCompressorGlobalsPtr storage, int16_t selector);
ComponentResult KEL_CVersion(KELCompressorGlobalsPtr storage);
ComponentResult KEL_CTarget(KELCompressorGlobalsPtr storage, ComponentInstance target);
ComponentResult KEL_CGetCodecInfo(KELCompressorGlobalsPtr storage, CodecInfo* info);
ComponentResult KEL_CGetMaxCompressionSize(KELCompressorGlobalsPtr storage, PixMapHandle sourcePixMap,
                                           const Rect* sourceRect, int16_t depth, CodecQ quality,
                                           int32_t* sizeOut);
ComponentResult KEL_CPrepareToCompressFrames(KELCompressorGlobalsPtr storage, ICMCompressorSessionRef session,
                                             ICMCompressionSessionOptionsRef sessionOptions,
                                             ImageDescriptionHandle imageDescription, void* reserved,
                                             CFDictionaryRef* pixelBufferAttributesOut);
ComponentResult KEL_CEncodeFrame(KELCompressorGlobalsPtr storage, ICMCompressorSourceFrameRef sourceFrame,
                                 uint32_t flags);
ComponentResult KEL_CCompleteFrame(KELCompressorGlobalsPtr storage, ICMCompressorSourceFrameRef sourceFrame,
                                   uint32_t flags);

// Settings and dialogs (compressor_settings.cpp, compressor_dialogs.cpp).
ComponentResult KEL_CGetSettings(KELCompressorGlobalsPtr storage, Handle settings);
ComponentResult KEL_CSetSettings(KELCompressorGlobalsPtr storage, Handle settings);
ComponentResult KEL_CRequestSettings(KELCompressorGlobalsPtr storage, Handle settings, Rect* rp,
                                     ModalFilterUPP filterProc);
ComponentResult KEL_CGetDITLForSize(KELCompressorGlobalsPtr storage, Handle* ditl, Point* requestedSize);
ComponentResult KEL_CDITLInstall(KELCompressorGlobalsPtr storage, DialogRef dialog, int16_t itemOffset);
ComponentResult KEL_CDITLEvent(KELCompressorGlobalsPtr storage, DialogRef dialog, int16_t itemOffset,
                               const EventRecord* event, int16_t* itemHit, Boolean* handled);
ComponentResult KEL_CDITLItem(KELCompressorGlobalsPtr storage, DialogRef dialog, int16_t itemOffset,
                              int16_t itemNum);
ComponentResult KEL_CDITLRemove(KELCompressorGlobalsPtr storage, DialogRef dialog, int16_t itemOffset);
ComponentResult KEL_CDITLValidateInput(KELCompressorGlobalsPtr storage, Boolean* ok);
