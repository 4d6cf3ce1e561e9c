// The library's settings dialog: the compressor's, with a fourth compression choice.
#include "host_settings_dialog.h"

#include <string>

#include "platform/dialog_front_end.h"
#include "resources/compressor_resources.h"

namespace {

constexpr int16_t kCompressionPopupItem = kSettingsCompressionPopupItem;
constexpr int16_t kDXT1NoLZFChoice = 4;

ControlRecord* CompressionPopup(DialogRef dialog) {
    if (dialog == nullptr || dialog->items.size() < static_cast<size_t>(kCompressionPopupItem))
        return nullptr;
    DialogItemRecord& record = dialog->items[kCompressionPopupItem - 1];
    if (record.item.kind != kPopupDialogItem || record.control == nullptr) return nullptr;
    return record.control.get();
}

// Passes every call on to the front end in use, and around it adds the fourth choice, shows it
// at the first wait for the person (the compressor sets its popups after showing the window),
// and notes the popup's value as the dialog goes away.
class CompressionChoiceFrontEnd : public DialogFrontEnd {
  public:
    CompressionChoiceFrontEnd(DialogFrontEnd* inner, bool showDXT1NoLZF)
        : inner_(inner), showDXT1NoLZF_(showDXT1NoLZF) {}

    void DialogShown(DialogRef dialog) override {
        if (ControlRecord* popup = CompressionPopup(dialog)) {
            dialog->items[kCompressionPopupItem - 1].item.choices.push_back("DXT1, no LZF");
            popup->maximum = kDXT1NoLZFChoice;
            pending_ = true;
        }
        inner_->DialogShown(dialog);
    }

    int16_t NextItemHit(DialogRef dialog) override {
        ControlRecord* popup = CompressionPopup(dialog);
        if (pending_ && popup != nullptr && showDXT1NoLZF_ && popup->value == 3)
            popup->value = kDXT1NoLZFChoice;
        pending_ = false;
        return inner_->NextItemHit(dialog);
    }

    void DialogDisposed(DialogRef dialog) override {
        if (const ControlRecord* popup = CompressionPopup(dialog)) finalChoice_ = popup->value;
        inner_->DialogDisposed(dialog);
    }

    int16_t finalChoice() const { return finalChoice_; }

  private:
    DialogFrontEnd* inner_;
    bool showDXT1NoLZF_;
    bool pending_ = false;
    int16_t finalChoice_ = 0;
};

// Puts the front end back however the dialog ends.
class FrontEndScope {
  public:
    explicit FrontEndScope(DialogFrontEnd* frontEnd) : previous_(GetDialogFrontEnd()) {
        SetDialogFrontEnd(frontEnd);
    }
    ~FrontEndScope() { SetDialogFrontEnd(previous_); }
    FrontEndScope(const FrontEndScope&) = delete;
    FrontEndScope& operator=(const FrontEndScope&) = delete;

  private:
    DialogFrontEnd* previous_;
};

} // namespace

OSStatus HostRequestSettingsAsChosen(KELSettingsValues* settings, bool* confirmed) {
    if (settings == nullptr || confirmed == nullptr) return paramErr;
    KELSettingsValues stored{};
    const bool known = HostReadCompressorSettings(&stored) == noErr;
    CompressionChoiceFrontEnd frontEnd(GetDialogFrontEnd(), known && stored.dxt24 == 0 && stored.noLZF != 0);
    OSStatus status;
    {
        const FrontEndScope scope(&frontEnd);
        status = HostRequestCompressorSettings(settings, confirmed);
    }
    if (status != noErr || !*confirmed) return status;
    // No popup seen (another dialog): the compressor's reading stands.
    const int16_t choice = frontEnd.finalChoice();
    if (choice >= 1 && choice <= kDXT1NoLZFChoice) {
        settings->dxt24 = choice == 1 || choice == 3 ? 1 : 0;
        settings->noLZF = choice >= 3 ? 1 : 0;
    }
    return noErr;
}
