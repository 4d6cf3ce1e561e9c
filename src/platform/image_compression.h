// The Image Compression Manager's compression side: session options, image descriptions with
// properties, compression sessions and encoded frames.
//
// A host creates a session for a codec type and size; the session opens the codec's compressor
// through the Component Manager, hands it the options' settings, and prepares it. The host then
// feeds it 32-bit ARGB pixel buffers; the compressor creates encoded frames and emits them, and
// the session passes each to the host's output callback before the encode call returns.
//
// Ownership and lifetimes:
// - Options, sessions, encoded frames and source frames are reference counted (Create/Retain
//   and Release). The session retains its options' settings handle as a copy.
// - An encoded frame handed to the output callback belongs to the compressor: its data is
//   valid only during the callback. A host that keeps a frame retains it there (and releases
//   it later); the bytes are then valid until that release.
// - A pixel buffer passed to EncodeFrame is retained by the source frame only during the call.
#pragma once

#include "core_foundation.h"
#include "core_video.h"
#include "image_codec.h"
#include "mac_types.h"

typedef struct ICMCompressionSessionObject* ICMCompressionSessionRef;
typedef struct ICMEncodedFrameObject* ICMMutableEncodedFrameRef;
typedef struct ICMEncodedFrameObject* ICMEncodedFrameRef;
typedef uint32_t MediaSampleFlags;
typedef uint16_t ICMFrameType;
typedef int64_t TimeValue64;
typedef uint32_t ComponentPropertyClass;
typedef uint32_t ComponentPropertyID;
typedef uint32_t ByteCount;

const MediaSampleFlags mediaSampleDoesNotDependOnOthers = 0x20000000;
enum : ICMFrameType {
    kICMFrameType_I = 'I',
    kICMFrameType_P = 'P',
    kICMFrameType_B = 'B',
    kICMFrameType_Unknown = 0
};

// Image description property class and the gamma property (a Fixed; 0 = the platform default).
const ComponentPropertyClass kQTPropertyClass_ImageDescription = FourCC("idsc");
const ComponentPropertyID kICMImageDescriptionPropertyID_GammaLevel = FourCC("gama");
// Session options property: the compressor settings handle the session hands to the codec.
const ComponentPropertyClass kQTPropertyClass_ICMCompressionSessionOptions = FourCC("icso");
const ComponentPropertyID kICMCompressionSessionOptionsPropertyID_CompressorSettings = FourCC("cost");

// ---- Session options -----------------------------------------------------------------------

OSStatus ICMCompressionSessionOptionsCreate(CFAllocatorRef allocator,
                                            ICMCompressionSessionOptionsRef* options);
ICMCompressionSessionOptionsRef ICMCompressionSessionOptionsRetain(ICMCompressionSessionOptionsRef options);
void ICMCompressionSessionOptionsRelease(ICMCompressionSessionOptionsRef options);
OSStatus ICMCompressionSessionOptionsSetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options,
                                                            int32_t interval);
int32_t ICMCompressionSessionOptionsGetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options);
// The compressor settings property: value points at a Handle, which is copied (a null Handle
// clears it). paramErr for other properties or sizes.
OSStatus ICMCompressionSessionOptionsSetProperty(ICMCompressionSessionOptionsRef options,
                                                 ComponentPropertyClass propClass, ComponentPropertyID propID,
                                                 ByteCount size, const void* value);

// ---- Image descriptions --------------------------------------------------------------------

// A new zero-filled description of width x height for codec cType (32-bit depth, 72 dpi);
// the caller disposes of it with DisposeHandle.
ImageDescriptionHandle NewImageDescription(CodecType cType, int16_t width, int16_t height);
// Sets an 'idsc' property, kept as an extension atom of type propID after the description.
// paramErr for a null description or value, or another property class; memFullErr.
OSStatus ICMImageDescriptionSetProperty(ImageDescriptionHandle desc, ComponentPropertyClass propClass,
                                        ComponentPropertyID propID, ByteCount size, const void* value);
// Copies the property into value (at most size bytes); its size goes to *sizeUsed (may be
// null). paramErr for bad arguments; kQTPropertyNotSupportedErr when it is not set.
OSStatus ICMImageDescriptionGetProperty(ImageDescriptionHandle desc, ComponentPropertyClass propClass,
                                        ComponentPropertyID propID, ByteCount size, void* value,
                                        ByteCount* sizeUsed);
const OSStatus kQTPropertyNotSupportedErr = -2195;

// ---- Sessions (host side) ------------------------------------------------------------------

typedef void (*ICMEncodedFrameOutputCallback)(void* encodedFrameOutputRefCon,
                                              ICMCompressionSessionRef session, OSStatus error,
                                              ICMEncodedFrameRef frame, void* reserved);

struct ICMEncodedFrameOutputRecord {
    ICMEncodedFrameOutputCallback encodedFrameOutputCallback;
    void* encodedFrameOutputRefCon;
    CFAllocatorRef frameDataAllocator; // unused: frame buffers come from the C heap
};

// Opens the first compressor component ('imco') of subtype codecType, hands it the options'
// compressor settings (when set) and prepares it for width x height. paramErr for a side
// outside 1..32767 or null arguments; invalidComponentID when no such compressor is registered;
// the codec's status when setting or preparing fails (the component is closed again).
OSStatus ICMCompressionSessionCreate(CFAllocatorRef allocator, int32_t width, int32_t height,
                                     CodecType codecType, int32_t timeScale,
                                     ICMCompressionSessionOptionsRef options,
                                     CFDictionaryRef sourcePixelBufferAttributes,
                                     ICMEncodedFrameOutputRecord* encodedFrameOutputRecord,
                                     ICMCompressionSessionRef* sessionOut);
ICMCompressionSessionRef ICMCompressionSessionRetain(ICMCompressionSessionRef session);
// With the last reference: closes the compressor and frees the session.
void ICMCompressionSessionRelease(ICMCompressionSessionRef session);

// Compresses one frame; the encoded frame reaches the output callback before this returns.
// paramErr for a null buffer, another pixel format, or a size other than the session's.
OSStatus ICMCompressionSessionEncodeFrame(ICMCompressionSessionRef session, CVPixelBufferRef pixelBuffer,
                                          TimeValue64 displayTimeStamp, TimeValue64 displayDuration,
                                          uint32_t validTimeFlags, void* frameOptions,
                                          void* sourceTrackingCallbackRecord, void* sourceFrameRefCon);
// Asks the compressor to finish pending frames (this codec has none pending).
OSStatus ICMCompressionSessionCompleteFrames(ICMCompressionSessionRef session, Boolean completeAllFrames,
                                             TimeValue64 completeUntilDisplayTimeStamp,
                                             TimeValue64 nextDisplayTimeStamp);
// The pixel-buffer attributes the compressor asked for when prepared (not retained for the
// caller); null if it gave none.
CFDictionaryRef ICMCompressionSessionGetPixelBufferAttributes(ICMCompressionSessionRef session);
// The compressor instance the session drives (owned by the session).
ComponentInstance ICMCompressionSessionGetCompressorInstance(ICMCompressionSessionRef session);

// ---- Compressor side -----------------------------------------------------------------------

CVPixelBufferRef ICMCompressorSourceFrameGetPixelBuffer(ICMCompressorSourceFrameRef sourceFrame);

// A new encoded frame whose buffer holds bufferSize bytes (data size 0, flags 0, type unknown).
// paramErr for a null out pointer or session; memFullErr.
OSStatus ICMEncodedFrameCreateMutable(ICMCompressorSessionRef session,
                                      ICMCompressorSourceFrameRef sourceFrame, ByteCount bufferSize,
                                      ICMMutableEncodedFrameRef* frameOut);
ICMEncodedFrameRef ICMEncodedFrameRetain(ICMEncodedFrameRef frame);
void ICMEncodedFrameRelease(ICMEncodedFrameRef frame);
uint8_t* ICMEncodedFrameGetDataPtr(ICMMutableEncodedFrameRef frame);
ByteCount ICMEncodedFrameGetBufferSize(ICMEncodedFrameRef frame);
ByteCount ICMEncodedFrameGetDataSize(ICMEncodedFrameRef frame);
// paramErr when dataSize exceeds the buffer.
OSStatus ICMEncodedFrameSetDataSize(ICMMutableEncodedFrameRef frame, ByteCount dataSize);
OSStatus ICMEncodedFrameSetMediaSampleFlags(ICMMutableEncodedFrameRef frame, MediaSampleFlags flags);
MediaSampleFlags ICMEncodedFrameGetMediaSampleFlags(ICMEncodedFrameRef frame);
OSStatus ICMEncodedFrameSetFrameType(ICMMutableEncodedFrameRef frame, ICMFrameType frameType);
ICMFrameType ICMEncodedFrameGetFrameType(ICMEncodedFrameRef frame);

// Hands the frame to the host's output callback. paramErr for a null session or frame.
OSStatus ICMCompressorSessionEmitEncodedFrame(ICMCompressorSessionRef session,
                                              ICMMutableEncodedFrameRef frame, long numberOfSourceFrames,
                                              ICMCompressorSourceFrameRef* sourceFrames);
