// Dialogs, their items and controls, and the modal loop over the installed front end.
#include "dialog_manager.h"

#include <algorithm>
#include <new>

#include "dialog_front_end.h"
#include "memory_manager.h"
#include "resource_manager.h"

namespace {

DialogFrontEnd* g_frontEnd = nullptr;
std::vector<DialogRecord*> g_shownDialogs; // in showing order; the last is in front

void AddItems(DialogRecord* dialog, const std::vector<DialogItemTemplate>& items, int16_t dx, int16_t dy) {
    for (const DialogItemTemplate& source : items) {
        DialogItemRecord record;
        record.item = source;
        record.item.bounds.left = static_cast<int16_t>(record.item.bounds.left + dx);
        record.item.bounds.right = static_cast<int16_t>(record.item.bounds.right + dx);
        record.item.bounds.top = static_cast<int16_t>(record.item.bounds.top + dy);
        record.item.bounds.bottom = static_cast<int16_t>(record.item.bounds.bottom + dy);
        if (source.kind != kStaticTextDialogItem) {
            const int16_t item = static_cast<int16_t>(dialog->items.size() + 1);
            const bool popup = source.kind == kPopupDialogItem;
            const int16_t maximum = popup ? static_cast<int16_t>(source.choices.size()) : 0;
            record.control.reset(new ControlRecord{dialog, item, static_cast<int16_t>(popup ? 1 : 0),
                                                   static_cast<int16_t>(popup ? 1 : 0), maximum});
        }
        dialog->items.push_back(std::move(record));
    }
}

DialogRecord* MakeDialog(const Rect& bounds, const std::string& title,
                         const std::vector<DialogItemTemplate>& items) {
    auto* dialog = new (std::nothrow) DialogRecord();
    if (dialog == nullptr) return nullptr;
    dialog->bounds = bounds;
    dialog->title = title;
    AddItems(dialog, items, 0, 0);
    return dialog;
}

} // namespace

void SetDialogFrontEnd(DialogFrontEnd* frontEnd) {
    g_frontEnd = frontEnd;
}

DialogFrontEnd* GetDialogFrontEnd() {
    return g_frontEnd != nullptr ? g_frontEnd : TerminalDialogFrontEnd();
}

DialogRef GetNewDialog(int16_t dialogID, void*, WindowRef) {
    const ComponentResource* dlog = FindChainResource(FourCC("DLOG"), dialogID);
    if (dlog == nullptr) return nullptr;
    DialogTemplate dialogTemplate;
    if (!ParseDialogTemplate(static_cast<const uint8_t*>(dlog->data), dlog->size, &dialogTemplate))
        return nullptr;
    const ComponentResource* ditl = FindChainResource(FourCC("DITL"), dialogTemplate.itemListID);
    std::vector<DialogItemTemplate> items;
    if (ditl == nullptr || !ParseItemList(static_cast<const uint8_t*>(ditl->data), ditl->size, &items))
        return nullptr;
    return MakeDialog(dialogTemplate.bounds, dialogTemplate.title, items);
}

DialogRef NewDialog(void*, const Rect* bounds, const unsigned char* title, Boolean visible, int16_t,
                    WindowRef, Boolean, int32_t, Handle items) {
    std::vector<DialogItemTemplate> parsed;
    if (items != nullptr && !ParseItemList(reinterpret_cast<const uint8_t*>(*items),
                                           static_cast<size_t>(GetHandleSize(items)), &parsed))
        return nullptr;
    std::string text;
    if (title != nullptr) text.assign(reinterpret_cast<const char*>(title + 1), title[0]);
    DialogRecord* dialog = MakeDialog(bounds != nullptr ? *bounds : Rect{}, text, parsed);
    if (dialog != nullptr && visible) ShowWindow(GetDialogWindow(dialog));
    return dialog;
}

void DisposeDialog(DialogRef dialog) {
    if (dialog == nullptr) return;
    if (dialog->window.visible) GetDialogFrontEnd()->DialogDisposed(dialog);
    g_shownDialogs.erase(std::remove(g_shownDialogs.begin(), g_shownDialogs.end(), dialog),
                         g_shownDialogs.end());
    delete dialog;
}

WindowRef GetDialogWindow(DialogRef dialog) {
    return dialog == nullptr ? nullptr : &dialog->window;
}

void ShowWindow(WindowRef window) {
    if (window == nullptr || window->visible) return;
    window->visible = true;
    g_shownDialogs.push_back(window->dialog);
    GetDialogFrontEnd()->DialogShown(window->dialog);
}

OSErr SetDialogDefaultItem(DialogRef dialog, int16_t item) {
    if (dialog == nullptr) return paramErr;
    dialog->defaultItem = item;
    return noErr;
}

OSErr SetDialogCancelItem(DialogRef dialog, int16_t item) {
    if (dialog == nullptr) return paramErr;
    dialog->cancelItem = item;
    return noErr;
}

void ModalDialog(ModalFilterUPP, int16_t* itemHit) {
    if (itemHit == nullptr) return;
    *itemHit = g_shownDialogs.empty() ? 0 : GetDialogFrontEnd()->NextItemHit(g_shownDialogs.back());
}

int16_t CountDITL(DialogRef dialog) {
    return dialog == nullptr ? 0 : static_cast<int16_t>(dialog->items.size());
}

void AppendDITL(DialogRef dialog, Handle items, int16_t method) {
    std::vector<DialogItemTemplate> parsed;
    if (dialog == nullptr || items == nullptr ||
        !ParseItemList(reinterpret_cast<const uint8_t*>(*items), static_cast<size_t>(GetHandleSize(items)),
                       &parsed))
        return;
    int16_t right = 0, bottom = 0;
    for (const DialogItemRecord& record : dialog->items) {
        right = std::max(right, record.item.bounds.right);
        bottom = std::max(bottom, record.item.bounds.bottom);
    }
    AddItems(dialog, parsed, method == appendDITLRight ? right : 0, method == appendDITLBottom ? bottom : 0);
}

OSErr GetDialogItemAsControl(DialogRef dialog, int16_t item, ControlRef* control) {
    if (control == nullptr) return paramErr;
    *control = nullptr;
    if (dialog == nullptr || item < 1 || item > CountDITL(dialog)) return paramErr;
    *control = dialog->items[static_cast<size_t>(item - 1)].control.get();
    return *control == nullptr ? paramErr : noErr;
}

int16_t GetControlValue(ControlRef control) {
    return control == nullptr ? 0 : control->value;
}

void SetControlValue(ControlRef control, int16_t value) {
    if (control != nullptr) control->value = std::clamp(value, control->minimum, control->maximum);
}

int32_t GetControl32BitValue(ControlRef control) {
    return GetControlValue(control);
}

void SetControl32BitValue(ControlRef control, int32_t value) {
    SetControlValue(control, static_cast<int16_t>(std::clamp<int32_t>(value, INT16_MIN, INT16_MAX)));
}

int16_t GetControlMaximum(ControlRef control) {
    return control == nullptr ? 0 : control->maximum;
}

void ScriptedDialogFrontEnd::DialogShown(DialogRef) {
    ++dialogsShown;
    snapshotPending_ = true;
}

int16_t ScriptedDialogFrontEnd::NextItemHit(DialogRef dialog) {
    if (snapshotPending_) {
        std::vector<int16_t> values;
        for (const DialogItemRecord& record : dialog->items)
            values.push_back(GetControlValue(record.control.get()));
        shownValues.push_back(values);
        snapshotPending_ = false;
    }
    if (next_ >= actions_.size()) return dialog->cancelItem != 0 ? dialog->cancelItem : dialog->defaultItem;
    const auto [item, value] = actions_[next_++];
    if (value != kClick) {
        ControlRef control = nullptr;
        if (GetDialogItemAsControl(dialog, item, &control) == noErr) SetControlValue(control, value);
    }
    return item;
}
