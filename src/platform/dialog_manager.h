// The Dialog and Control Manager calls the settings dialogs use: dialogs made from a 'DLOG'
// resource or from an item list, buttons and popup controls, item lists appended to a host's
// dialog, and ModalDialog. What the person sees and does is a front end's business
// (dialog_front_end.h): a terminal front end by default, a scripted one for tests.
//
// Ownership: the creator of a dialog disposes of it with DisposeDialog; controls and the
// window belong to their dialog. Dialogs are used from one thread.
#pragma once

#include "mac_types.h"

typedef struct DialogRecord* DialogRef;
typedef DialogRef DialogPtr;
typedef struct ControlRecord* ControlRef;
typedef ControlRef* ControlHandle;
typedef struct WindowRecord* WindowRef;
typedef WindowRef WindowPtr;

struct EventRecord {
    uint16_t what;
    uint32_t message;
    uint32_t when;
    Point where;
    uint16_t modifiers;
};

typedef Boolean (*ModalFilterProcPtr)(DialogRef dialog, EventRecord* event, int16_t* itemHit);
typedef ModalFilterProcPtr ModalFilterUPP;

// The "in front of all windows" argument of GetNewDialog and NewDialog.
inline WindowRef InFrontOfAllWindows() {
    return reinterpret_cast<WindowRef>(static_cast<intptr_t>(-1));
}

// Where AppendDITL puts the new items: over the existing ones, to their right, or below.
enum : int16_t { overlayDITL = 0, appendDITLRight = 1, appendDITLBottom = 2 };

// A dialog from the 'DLOG' resource dialogID and the 'DITL' it names, both found on the
// current resource chain. Null when either is missing or malformed (ResError() tells which).
// storage and behind are accepted and ignored: there is one layer of windows.
DialogRef GetNewDialog(int16_t dialogID, void* storage, WindowRef behind);
// A dialog from an item list handle (copied; the caller keeps it). title is a Pascal string
// (may be null). Null when the item list is malformed.
DialogRef NewDialog(void* storage, const Rect* bounds, const unsigned char* title, Boolean visible,
                    int16_t procID, WindowRef behind, Boolean goAwayFlag, int32_t refCon, Handle items);
void DisposeDialog(DialogRef dialog);

WindowRef GetDialogWindow(DialogRef dialog);
// Shows the window; ModalDialog works on the most recently shown dialog still open.
void ShowWindow(WindowRef window);

OSErr SetDialogDefaultItem(DialogRef dialog, int16_t item);
OSErr SetDialogCancelItem(DialogRef dialog, int16_t item);

// Waits for the person (through the front end) to hit an item of the front dialog and stores
// its number; a popup changed by the person counts as a hit on that popup. The filter is
// accepted and not called. *itemHit is 0 when no dialog is shown.
void ModalDialog(ModalFilterUPP filter, int16_t* itemHit);

int16_t CountDITL(DialogRef dialog);
// Appends the items of an item list handle (copied) after the dialog's own, so they are
// numbered from CountDITL() + 1 on; their bounds move right of or below the existing items.
void AppendDITL(DialogRef dialog, Handle items, int16_t method);

// The control of a button or popup item; paramErr for a missing item or static text.
OSErr GetDialogItemAsControl(DialogRef dialog, int16_t item, ControlRef* control);
int16_t GetControlValue(ControlRef control);
// Stores value clamped to the control's minimum and maximum.
void SetControlValue(ControlRef control, int16_t value);
int32_t GetControl32BitValue(ControlRef control);
void SetControl32BitValue(ControlRef control, int32_t value);
int16_t GetControlMaximum(ControlRef control);
