// What every part of the library shares: the components' registration, the translation of
// component statuses into results, and the argument rules.
#pragma once

#include "host/host_checks.h"
#include "host/host_components.h"
#include "platform/mac_types.h"
#include "qzkt/qzkt.h"
#include "stream/kel_settings.h"

// The result for a component status: noErr QZKT_OK, codecBadDataErr QZKT_DAMAGED_FRAME,
// codecNoRendererErr QZKT_NO_RENDERER, memFullErr QZKT_OUT_OF_MEMORY, paramErr
// QZKT_BAD_ARGUMENTS, anything else QZKT_CODEC_ERROR.
qzkt_result ResultOfStatus(OSStatus status);

// The result of a call that opened the compressor, which records its problem text for
// qzkt_last_problem on this thread: why the compressor's bundle did not load, or "".
qzkt_result ResultOfCompressorStatus(OSStatus status);

// alpha, dxt24 and no_lzf 0 or 1, thread_setting 1..9.
bool AreValidSettings(const qzkt_settings& settings);

KELSettingsValues ToCodecSettings(const qzkt_settings& settings);
qzkt_settings FromCodecSettings(const KELSettingsValues& values);
