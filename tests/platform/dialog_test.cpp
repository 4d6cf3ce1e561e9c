// Dialog resources, dialogs built from them, appended item lists and the scripted front end.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/component_manager.h"
#include "platform/dialog_front_end.h"
#include "platform/dialog_manager.h"
#include "platform/memory_manager.h"
#include "platform/resource_manager.h"

namespace {

std::vector<DialogItemTemplate> Items() {
    return {{kButtonDialogItem, {100, 200, 120, 260}, "OK", {}},
            {kButtonDialogItem, {100, 100, 120, 160}, "Cancel", {}},
            {kStaticTextDialogItem, {0, 0, 20, 300}, "Pick one", {}},
            {kPopupDialogItem, {30, 0, 50, 300}, "Flavour", {"Plain", "Salted", "Sweet"}}};
}

Handle ToHandle(const std::vector<uint8_t>& bytes) {
    Handle handle = NewHandle(static_cast<Size>(bytes.size()));
    std::memcpy(*handle, bytes.data(), bytes.size());
    return handle;
}

ComponentResult NoCalls(ComponentParameters*, Handle) {
    return noErr;
}

} // namespace

TEST(DialogResourcesTest, ItemListsRoundTripAndTruncationsAreRejected) {
    const std::vector<uint8_t> bytes = BuildItemList(Items());
    std::vector<DialogItemTemplate> parsed;
    ASSERT_TRUE(ParseItemList(bytes.data(), bytes.size(), &parsed));
    ASSERT_EQ(parsed.size(), 4u);
    EXPECT_EQ(parsed[3].title, "Flavour");
    EXPECT_EQ(parsed[3].choices, (std::vector<std::string>{"Plain", "Salted", "Sweet"}));
    EXPECT_EQ(parsed[0].bounds.right, 260);
    for (size_t length = 0; length < bytes.size(); ++length)
        EXPECT_FALSE(ParseItemList(bytes.data(), length, &parsed)) << length;
    DialogTemplate dialog;
    const std::vector<uint8_t> dlog = BuildDialogTemplate({{0, 0, 10, 20}, 77, "Title"});
    ASSERT_TRUE(ParseDialogTemplate(dlog.data(), dlog.size(), &dialog));
    EXPECT_EQ(dialog.itemListID, 77);
    EXPECT_EQ(dialog.title, "Title");
    EXPECT_FALSE(ParseDialogTemplate(dlog.data(), dlog.size() - 1, &dialog));
}

TEST(DialogManagerTest, ResourceDialogsRunThroughTheScriptedFrontEnd) {
    static const std::vector<uint8_t> ditl = BuildItemList(Items());
    static const std::vector<uint8_t> dlog = BuildDialogTemplate({{0, 0, 130, 300}, 500, "Snack"});
    static const ComponentResource resources[] = {{FourCC("DLOG"), 500, dlog.data(), dlog.size()},
                                                  {FourCC("DITL"), 500, ditl.data(), ditl.size()}};
    static const ComponentResourceSet set = {resources, 2};
    ComponentDescription description = {FourCC("test"), FourCC("dlg "), 0, 0, 0};
    Component component = RegisterComponentWithResources(&description, NoCalls, "dialog test", &set);

    EXPECT_EQ(GetNewDialog(500, nullptr, InFrontOfAllWindows()), nullptr); // not on the chain yet
    const ResFileRefNum file = OpenComponentResFile(component);
    DialogRef dialog = GetNewDialog(500, nullptr, InFrontOfAllWindows());
    CloseComponentResFile(file);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(CountDITL(dialog), 4);

    ControlRef popup = nullptr;
    EXPECT_EQ(GetDialogItemAsControl(dialog, 3, &popup), paramErr); // static text
    EXPECT_EQ(GetDialogItemAsControl(dialog, 9, &popup), paramErr);
    ASSERT_EQ(GetDialogItemAsControl(dialog, 4, &popup), noErr);
    EXPECT_EQ(GetControlMaximum(popup), 3);
    SetControlValue(popup, 9);
    EXPECT_EQ(GetControlValue(popup), 3); // clamped to the choices
    SetControlValue(popup, 2);

    ScriptedDialogFrontEnd script;
    SetDialogFrontEnd(&script);
    script.Choose(4, 3);
    script.Click(1);
    SetDialogCancelItem(dialog, 2);
    ShowWindow(GetDialogWindow(dialog));
    int16_t hits[3];
    for (int16_t& hit : hits)
        ModalDialog(nullptr, &hit);
    EXPECT_EQ(hits[0], 4);
    EXPECT_EQ(hits[1], 1);
    EXPECT_EQ(hits[2], 2); // the script ran out: cancel
    EXPECT_EQ(GetControlValue(popup), 3);
    ASSERT_EQ(script.shownValues.size(), 1u);
    EXPECT_EQ(script.shownValues[0], (std::vector<int16_t>{0, 0, 0, 2}));

    // A host's dialog with another item list appended below its own items.
    Handle extra = ToHandle(BuildItemList({Items()[3]}));
    AppendDITL(dialog, extra, appendDITLBottom);
    DisposeHandle(extra);
    EXPECT_EQ(CountDITL(dialog), 5);
    ControlRef appended = nullptr;
    ASSERT_EQ(GetDialogItemAsControl(dialog, 5, &appended), noErr);
    EXPECT_EQ(GetControlValue(appended), 1);
    DisposeDialog(dialog);
    int16_t none = -1;
    ModalDialog(nullptr, &none);
    EXPECT_EQ(none, 0); // no dialog shown any more
    SetDialogFrontEnd(nullptr);
    EXPECT_EQ(UnregisterComponent(component), noErr);
}

TEST(DialogManagerTest, NewDialogFromAnItemListHandle) {
    Handle items = ToHandle(BuildItemList(Items()));
    const unsigned char title[] = "\x04Host";
    Rect bounds = {0, 0, 200, 300};
    DialogRef dialog = NewDialog(nullptr, &bounds, title, false, 0, InFrontOfAllWindows(), false, 0, items);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(CountDITL(dialog), 4);
    DisposeDialog(dialog);
    SetHandleSize(items, 3);
    EXPECT_EQ(NewDialog(nullptr, &bounds, title, false, 0, nullptr, false, 0, items), nullptr);
    DisposeHandle(items);
}
