// Settings through the component: the preferences file and its acceptance rules, the
// settings handle, the embedded dialog items, and the host calls.
#include <gtest/gtest.h>

#include <cstring>

#include "compressor_fixture.h"
#include "host/host_compression.h"
#include "host/host_settings_dialog.h"
#include "platform/memory_manager.h"
#include "resources/compressor_resources.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"

namespace {

class CompressorSettingsTest : public CompressorFixture {
  protected:
    void SetUp() override {
        CompressorFixture::SetUp();
        ASSERT_EQ(OpenADefaultComponent(compressorComponentType, kKELCodecType, &instance_), noErr);
    }
    void TearDown() override {
        CloseComponent(instance_);
        CompressorFixture::TearDown();
    }

    KELSettingsValues Settings() {
        Handle handle = NewHandle(0);
        EXPECT_EQ(ImageCodecGetSettings(instance_, handle), noErr);
        KELSettingsValues values{};
        EXPECT_TRUE(ReadKELSettingsRecord(reinterpret_cast<uint8_t*>(*handle), 12, &values));
        EXPECT_EQ(GetHandleSize(handle), 12);
        DisposeHandle(handle);
        return values;
    }

    static std::vector<int> AsVector(const KELSettingsValues& v) {
        return {v.alpha, v.dxt24, v.noLZF, v.threadSetting};
    }

    int32_t MaxSize(int16_t width, int16_t height) {
        Rect bounds = {0, 0, height, width};
        int32_t size = -1;
        EXPECT_EQ(ImageCodecGetMaxCompressionSize(instance_, nullptr, &bounds, 32, 0, &size), noErr);
        return size;
    }

    ComponentResult SetSettingsBytes(const std::vector<uint8_t>& bytes) {
        Handle handle = NewHandle(static_cast<Size>(bytes.size()));
        std::memcpy(*handle, bytes.data(), bytes.size());
        const ComponentResult status = ImageCodecSetSettings(instance_, handle);
        DisposeHandle(handle);
        return status;
    }

    ComponentInstance instance_ = nullptr;
};

} // namespace

TEST_F(CompressorSettingsTest, PreferencesFileAcceptanceRules) {
    const struct {
        std::vector<uint8_t> file;
        std::vector<int> settings;
    } cases[] = {
        {FileBytes({1, 0, 1, 9}), {1, 0, 1, 9}},
        {FileBytes({2, 1, 3, 0}), {0, 1, 0, 2}},  // only exactly 1 counts; thread 0 falls back to 2
        {FileBytes({1, 7, 1, 10}), {1, 0, 1, 2}}, // thread 10 too
        {FileBytes({1, 0, 0, 0xFFFFFFFF}), {1, 0, 0, 2}},
        {FileBytes({1, 0}), {1, 0, 0, 2}},  // 8 bytes: the rest keep their presets
        {{1, 0, 0, 0, 1, 0}, {1, 1, 0, 2}}, // a partial value is not read
        {{}, {0, 1, 0, 2}},
    };
    for (const auto& c : cases) {
        WritePreferencesFile(c.file);
        ComponentInstance fresh = nullptr;
        ASSERT_EQ(OpenADefaultComponent(compressorComponentType, kKELCodecType, &fresh), noErr);
        std::swap(fresh, instance_);
        MaxSize(4, 4); // the first query that needs settings reads the file
        EXPECT_EQ(AsVector(Settings()), c.settings) << c.file.size();
        std::swap(fresh, instance_);
        CloseComponent(fresh);
    }
    // Without a file the defaults stay.
    std::remove(PreferencesFile().c_str());
    MaxSize(4, 4);
    EXPECT_EQ(AsVector(Settings()), (std::vector<int>{0, 1, 0, 2}));
}

TEST_F(CompressorSettingsTest, UnusableHandlesResetToTheDefaults) {
    uint8_t good[12];
    WriteKELSettingsRecord(good, {1, 0, 1, 7});
    ASSERT_EQ(SetSettingsBytes(std::vector<uint8_t>(good, good + 12)), noErr);
    EXPECT_EQ(AsVector(Settings()), (std::vector<int>{1, 0, 1, 7}));

    std::vector<uint8_t> wrongTag(good, good + 12);
    wrongTag[0] = 'X';
    EXPECT_EQ(SetSettingsBytes(wrongTag), noErr); // success all the same
    EXPECT_EQ(AsVector(Settings()), (std::vector<int>{0, 1, 0, 2}));

    ASSERT_EQ(SetSettingsBytes(std::vector<uint8_t>(good, good + 12)), noErr);
    EXPECT_EQ(SetSettingsBytes(std::vector<uint8_t>(good, good + 11)), paramErr);
    EXPECT_EQ(AsVector(Settings()), (std::vector<int>{0, 1, 0, 2}));
    ASSERT_EQ(SetSettingsBytes(std::vector<uint8_t>(good, good + 12)), noErr);
    EXPECT_EQ(ImageCodecSetSettings(instance_, nullptr), paramErr);
    EXPECT_EQ(AsVector(Settings()), (std::vector<int>{0, 1, 0, 2}));
    EXPECT_EQ(ImageCodecGetSettings(instance_, nullptr), paramErr);

    // The host's handle of any size comes back as exactly 12 bytes.
    Handle big = NewHandleClear(40);
    EXPECT_EQ(ImageCodecGetSettings(instance_, big), noErr);
    EXPECT_EQ(GetHandleSize(big), 12);
    EXPECT_EQ(0, std::memcmp(*big, "KELC", 4));
    DisposeHandle(big);
}

TEST_F(CompressorSettingsTest, EmbeddedItemsApplyTheCompressionTableExactly) {
    Point smallest = {-1, -1}, other = {100, 200};
    Handle ditl = nullptr;
    EXPECT_EQ(ImageCodecGetDITLForSize(instance_, &ditl, &other), badComponentSelector);
    EXPECT_EQ(ImageCodecGetDITLForSize(instance_, nullptr, &smallest), paramErr);
    ASSERT_EQ(ImageCodecGetDITLForSize(instance_, &ditl, &smallest), noErr);

    // The host's standard dialog: its own OK and Cancel, then the compressor's items.
    Handle hostItems = NewHandle(0);
    const std::vector<uint8_t> own = BuildItemList(
        {{kButtonDialogItem, {0, 0, 20, 60}, "OK", {}}, {kButtonDialogItem, {0, 70, 20, 130}, "Cancel", {}}});
    SetHandleSize(hostItems, static_cast<Size>(own.size()));
    std::memcpy(*hostItems, own.data(), own.size());
    DialogRef dialog = NewDialog(nullptr, nullptr, nullptr, false, 0, nullptr, false, 0, hostItems);
    DisposeHandle(hostItems);
    const int16_t offset = CountDITL(dialog);
    AppendDITL(dialog, ditl, appendDITLBottom);
    DisposeHandle(ditl);
    ASSERT_EQ(CountDITL(dialog), offset + 3);

    WritePreferencesFile(FileBytes({0, 1, 1, 6}));
    ASSERT_EQ(ImageCodecDITLInstall(instance_, dialog, offset), noErr); // loads the file lazily
    ControlRef alpha = nullptr, compression = nullptr, threads = nullptr;
    GetDialogItemAsControl(dialog, offset + 1, &alpha);
    GetDialogItemAsControl(dialog, offset + 2, &compression);
    GetDialogItemAsControl(dialog, offset + 3, &threads);
    EXPECT_EQ(GetControlValue(alpha), 1);
    EXPECT_EQ(GetControlValue(compression), 3);
    EXPECT_EQ(GetControlValue(threads), 6);

    // Choice 1 here clears no-LZF, and the file is written at once.
    SetControlValue(compression, 1);
    EXPECT_EQ(ImageCodecDITLItem(instance_, dialog, offset, offset + 2), noErr);
    EXPECT_EQ(ReadPreferencesFile(), FileBytes({0, 1, 0, 6}));
    SetControlValue(alpha, 2);
    EXPECT_EQ(ImageCodecDITLItem(instance_, dialog, offset, 1), noErr); // the host's own item: nothing
    EXPECT_EQ(ReadPreferencesFile(), FileBytes({0, 1, 0, 6}));
    SetControlValue(threads, 9);
    EXPECT_EQ(ImageCodecDITLRemove(instance_, dialog, offset), noErr); // reads all three
    EXPECT_EQ(ReadPreferencesFile(), FileBytes({1, 1, 0, 9}));

    Boolean handled = true, ok = false;
    int16_t itemHit = 0;
    EventRecord event{};
    EXPECT_EQ(ImageCodecDITLEvent(instance_, dialog, offset, &event, &itemHit, &handled), noErr);
    EXPECT_FALSE(handled);
    EXPECT_EQ(ImageCodecDITLValidateInput(instance_, &ok), noErr);
    EXPECT_TRUE(ok);
    EXPECT_EQ(ImageCodecDITLValidateInput(instance_, nullptr), noErr);
    DisposeDialog(dialog);
}

TEST_F(CompressorSettingsTest, HostCallsReadAndEditTheMachineWideSettings) {
    KELSettingsValues values{};
    ASSERT_EQ(HostReadCompressorSettings(&values), noErr);
    EXPECT_EQ(AsVector(values), (std::vector<int>{0, 1, 0, 2}));
    WritePreferencesFile(FileBytes({0, 0, 0, 8}));
    ASSERT_EQ(HostReadCompressorSettings(&values), noErr);
    EXPECT_EQ(AsVector(values), (std::vector<int>{0, 0, 0, 8}));

    bool confirmed = true;
    script_.Click(kSettingsCancelItem);
    ASSERT_EQ(HostRequestCompressorSettings(&values, &confirmed), noErr);
    EXPECT_FALSE(confirmed);
    EXPECT_EQ(AsVector(values), (std::vector<int>{0, 0, 0, 8}));
    script_.Choose(kSettingsCompressionPopupItem, 3);
    script_.Click(kSettingsOKItem);
    ASSERT_EQ(HostRequestCompressorSettings(&values, &confirmed), noErr);
    EXPECT_TRUE(confirmed);
    EXPECT_EQ(AsVector(values), (std::vector<int>{0, 1, 1, 8}));
    EXPECT_EQ(ReadPreferencesFile(), FileBytes({0, 1, 1, 8}));
}

// The library's dialog (the compressor's, with a fourth compression choice) shows each of the
// eight saved combinations as itself and, confirmed untouched, gives it back unchanged; a
// chosen compression is saved as the popup's table says, whatever no-LZF was before.
TEST_F(CompressorSettingsTest, TheLibrarysDialogGivesBackEverySavedCombination) {
    struct Combination {
        int dxt24, noLZF, shown;
    };
    const Combination combinations[] = {{1, 0, 1}, {0, 0, 2}, {1, 1, 3}, {0, 1, 4}};
    for (const int alpha : {0, 1})
        for (const Combination& c : combinations) {
            SCOPED_TRACE("alpha " + std::to_string(alpha) + " dxt24 " + std::to_string(c.dxt24) + " noLZF " +
                         std::to_string(c.noLZF));
            WritePreferencesFile(FileBytes({static_cast<uint32_t>(alpha), static_cast<uint32_t>(c.dxt24),
                                            static_cast<uint32_t>(c.noLZF), 5}));
            script_.Click(kSettingsOKItem);
            KELSettingsValues values{};
            bool confirmed = false;
            ASSERT_EQ(HostRequestSettingsAsChosen(&values, &confirmed), noErr);
            EXPECT_TRUE(confirmed);
            EXPECT_EQ(AsVector(values), (std::vector<int>{alpha, c.dxt24, c.noLZF, 5}));
            ASSERT_FALSE(script_.shownValues.empty());
            EXPECT_EQ(script_.shownValues.back()[kSettingsCompressionPopupItem - 1], c.shown);
        }

    for (const Combination& c : combinations) {
        SCOPED_TRACE("choice " + std::to_string(c.shown));
        WritePreferencesFile(FileBytes({0, 0, 1, 2})); // DXT1 without LZF before
        script_.Choose(kSettingsCompressionPopupItem, static_cast<int16_t>(c.shown));
        script_.Click(kSettingsOKItem);
        KELSettingsValues values{};
        bool confirmed = false;
        ASSERT_EQ(HostRequestSettingsAsChosen(&values, &confirmed), noErr);
        EXPECT_EQ(AsVector(values), (std::vector<int>{0, c.dxt24, c.noLZF, 2}));
    }

    // Cancelled, the settings are as they were; and the compressor's own dialog is unchanged:
    // three choices, DXT1 without LZF shown as 3.
    WritePreferencesFile(FileBytes({1, 0, 1, 3}));
    script_.Click(kSettingsCancelItem);
    KELSettingsValues values{};
    bool confirmed = true;
    ASSERT_EQ(HostRequestSettingsAsChosen(&values, &confirmed), noErr);
    EXPECT_FALSE(confirmed);
    EXPECT_EQ(AsVector(values), (std::vector<int>{1, 0, 1, 3}));
    script_.Click(kSettingsOKItem);
    ASSERT_EQ(HostRequestCompressorSettings(&values, &confirmed), noErr);
    EXPECT_EQ(script_.shownValues.back()[kSettingsCompressionPopupItem - 1], 3);
    EXPECT_EQ(AsVector(values), (std::vector<int>{1, 1, 1, 3}));
}
