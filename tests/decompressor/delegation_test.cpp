// What the decompressor passes to its base decompressor. A recording stand-in is registered as
// 'imdc'/'base' before anything registers the real one, so the decompressor opens and targets
// it; its answers are distinctive, so a call that reached it shows in the result as well. Before
// the stand-in is registered, opening the decompressor fails cleanly.
#include <gtest/gtest.h>

#include <vector>

#include "decompressor/decompressor_component.h"
#include "stream/kel_settings.h"

namespace {

const ComponentResult kStandInAnswer = 0x5EC0;
const ComponentResult kStandInCanDo = 42;

std::vector<int16_t> gReached; // selectors that reached the stand-in, in order
ComponentInstance gStandInTarget = nullptr;

ComponentResult StandInBase(ComponentParameters* params, Handle) {
    gReached.push_back(params->what);
    switch (params->what) {
    case kComponentOpenSelector:
    case kComponentCloseSelector:
        return noErr;
    case kComponentTargetSelector:
        gStandInTarget = reinterpret_cast<ComponentInstance>(params->params[0]);
        return noErr;
    case kComponentCanDoSelector:
        return kStandInCanDo;
    default:
        return kStandInAnswer;
    }
}

} // namespace

TEST(DecompressorDelegation, UnservedSelectorsReachTheBaseDecompressor) {
    // Without any base decompressor the decompressor does not open, and leaves nothing open.
    const Component decompressorComponent = ZQN_CodecRegister();
    ComponentInstance decompressor = nullptr;
    EXPECT_EQ(OpenADefaultComponent(decompressorComponentType, kKELCodecType, &decompressor),
              invalidComponentID);
    EXPECT_EQ(CountComponentInstances(decompressorComponent), 0);

    ComponentDescription description = {decompressorComponentType, kBaseCodecSubType, FourCC("appl"), 0, 0};
    const Component standIn = RegisterComponentWithResources(&description, StandInBase, "stand-in", nullptr);
    ASSERT_NE(standIn, nullptr);
    ASSERT_EQ(OpenADefaultComponent(decompressorComponentType, kKELCodecType, &decompressor), noErr);
    EXPECT_EQ(gReached, (std::vector<int16_t>{kComponentOpenSelector, kComponentTargetSelector}));
    EXPECT_EQ(gStandInTarget, decompressor);

    // Passed on: selectors without a handler in the tables, and those outside them.
    for (int16_t selector :
         {0x207, 0x001, 0x005, 0x006, 0x03C, 0x03D, 0x100, 0x208, 0x20E, 0x210, 0x300, -9}) {
        gReached.clear();
        EXPECT_EQ(CallComponentSelector(decompressor, selector), kStandInAnswer) << selector;
        EXPECT_EQ(gReached, std::vector<int16_t>{selector}) << selector;
    }
    // Served here, or refused here: nothing reaches the stand-in.
    gReached.clear();
    EXPECT_EQ(CallComponentVersion(decompressor), 0x10001);
    EXPECT_EQ(ImageCodecQueueStarting(decompressor), noErr);
    EXPECT_EQ(ComponentSetTarget(decompressor, nullptr), noErr);
    for (int16_t selector : {-5, -7, -8})
        EXPECT_EQ(CallComponentSelector(decompressor, selector), badComponentSelector) << selector;
    EXPECT_TRUE(gReached.empty());

    // Can-do answers 1 for its own handlers and asks the base about everything else.
    for (int16_t selector :
         {-1, -2, -3, -4, -6, 0x000, 0x008, 0x200, 0x201, 0x202, 0x203, 0x204, 0x205, 0x206, 0x20F})
        EXPECT_EQ(CallComponentCanDo(decompressor, selector), 1) << selector;
    EXPECT_TRUE(gReached.empty());
    EXPECT_EQ(CallComponentCanDo(decompressor, kImageCodecDroppingFrameSelector), kStandInCanDo);
    EXPECT_EQ(CallComponentCanDo(decompressor, kComponentRegisterSelector), kStandInCanDo);
    EXPECT_EQ(gReached, (std::vector<int16_t>{kComponentCanDoSelector, kComponentCanDoSelector}));

    gReached.clear();
    EXPECT_EQ(CloseComponent(decompressor), noErr);
    EXPECT_EQ(gReached, std::vector<int16_t>{kComponentCloseSelector});
    EXPECT_EQ(CountComponentInstances(standIn), 0);
}
