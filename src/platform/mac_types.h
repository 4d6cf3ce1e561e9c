// The classic host API's basic types and status codes, as the components use them. Status
// types are 32-bit; FourCharCode values are built with FOUR_CHAR_CODE-style constants
// ('imco' as a multi-character literal has the same value on every compiler we build with,
// but we spell them through FourCC() to stay warning-free).
#pragma once

#include <cstddef>
#include <cstdint>

typedef int32_t OSErr;
typedef int32_t OSStatus;
typedef int32_t ComponentResult;
typedef uint32_t FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;
typedef FourCharCode CodecType;
typedef int16_t ResID;
typedef int16_t ResFileRefNum;
typedef int32_t Fixed;
typedef intptr_t Size;
typedef unsigned char Boolean;
typedef char* Ptr;
typedef char** Handle;
typedef unsigned char Str31[32];
typedef unsigned char Str255[256];

struct Point {
    int16_t v;
    int16_t h;
};

struct Rect {
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
};

// The four characters of a code, first character in the high byte, as the classic API does.
constexpr FourCharCode FourCC(const char (&text)[5]) {
    return static_cast<FourCharCode>(static_cast<uint8_t>(text[0])) << 24 |
           static_cast<FourCharCode>(static_cast<uint8_t>(text[1])) << 16 |
           static_cast<FourCharCode>(static_cast<uint8_t>(text[2])) << 8 |
           static_cast<FourCharCode>(static_cast<uint8_t>(text[3]));
}

enum : int32_t {
    noErr = 0,
    paramErr = -50,
    memFullErr = -108,
    nilHandleErr = -109,
    memWZErr = -111,
    resNotFound = -192,
    resFNotFound = -193,
    internalQuickTimeError = -2070,
    invalidComponentID = -3000,
    validInstancesExist = -3001,
    noCodecErr = -8961,
    codecErr = -8960,
};

const ComponentResult badComponentInstance = static_cast<ComponentResult>(0x80008001u);
const ComponentResult badComponentSelector = static_cast<ComponentResult>(0x80008002u);
