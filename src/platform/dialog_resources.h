// The byte layouts of the dialog resources ('DLOG' dialog templates and 'DITL' item lists) as
// this platform stores them, with builders for the components' resource data and parsers for
// the Dialog Manager. All multi-byte fields are little-endian.
//
// 'DITL':  u16 item count, then per item:
//            u8 kind, u8 choice count, s16 top, left, bottom, right,
//            u16 text length, text: the title and then each choice, every string ended by NUL
// 'DLOG':  s16 top, left, bottom, right, s16 item list ID, u16 title length, title bytes
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mac_types.h"

enum DialogItemKind : uint8_t {
    kButtonDialogItem = 4,     // a push button (OK, Cancel)
    kPopupDialogItem = 7,      // a popup menu control: value 1..choices, title as its label
    kStaticTextDialogItem = 8, // text only
};

struct DialogItemTemplate {
    DialogItemKind kind;
    Rect bounds;
    std::string title;
    std::vector<std::string> choices; // popups only
};

struct DialogTemplate {
    Rect bounds;
    ResID itemListID;
    std::string title;
};

std::vector<uint8_t> BuildItemList(const std::vector<DialogItemTemplate>& items);
// False when the bytes are not a complete item list.
bool ParseItemList(const uint8_t* data, size_t size, std::vector<DialogItemTemplate>* items);

std::vector<uint8_t> BuildDialogTemplate(const DialogTemplate& dialog);
bool ParseDialogTemplate(const uint8_t* data, size_t size, DialogTemplate* dialog);
