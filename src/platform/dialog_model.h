// The Dialog Manager's records, for the dialog front ends. Components and hosts use the opaque
// references of dialog_manager.h.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "dialog_manager.h"
#include "dialog_resources.h"

struct ControlRecord {
    DialogRecord* dialog;
    int16_t item;
    int16_t value;
    int16_t minimum;
    int16_t maximum;
};

struct DialogItemRecord {
    DialogItemTemplate item;
    std::unique_ptr<ControlRecord> control; // null for static text
};

struct WindowRecord {
    DialogRecord* dialog;
    bool visible;
};

struct DialogRecord {
    std::string title;
    Rect bounds{};
    std::vector<DialogItemRecord> items; // item n is items[n - 1]
    int16_t defaultItem = 1;
    int16_t cancelItem = 0;
    WindowRecord window{this, false};
};
