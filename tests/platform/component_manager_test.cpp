// The Component Manager: open/close, delegation, can-do, targets, and the checks a call must
// pass before a handler runs (procedure information, parameter block size, table entries).
#include <gtest/gtest.h>

#include <cstring>

#include "platform/component_manager.h"
#include "platform/memory_manager.h"
#include "platform/resource_manager.h"

namespace {

struct Probe {
    ComponentInstance self = nullptr;
    ComponentInstance target = nullptr;
    int16_t lastShort = 0;
    Point lastPoint{};
};

int g_mixedCalls = 0;

long g_closeCount = 0;
ComponentResult g_openResult = noErr;

ComponentResult ProbeOpen(Probe*, ComponentInstance self) {
    auto* probe = new Probe();
    probe->self = self;
    SetComponentInstanceStorage(self, reinterpret_cast<Handle>(probe));
    return g_openResult;
}
ComponentResult ProbeClose(Probe* probe, ComponentInstance) {
    ++g_closeCount;
    delete probe;
    return noErr;
}
ComponentResult ProbeTarget(Probe* probe, ComponentInstance target) {
    probe->target = target;
    return noErr;
}
ComponentResult ProbeCanDo(Probe*, int16_t selector) {
    return selector == 7 ? 1 : 0;
}
// A 16-bit parameter between two words, and a Point by value: the thunk must unpack each.
ComponentResult ProbeMixed(Probe* probe, int16_t value, Point point, int32_t* out) {
    ++g_mixedCalls;
    probe->lastShort = value;
    probe->lastPoint = point;
    *out = value * 1000 + point.h;
    return noErr;
}

const ComponentDispatchEntry kEntries[] = {
    {ComponentFunction<ProbeOpen>(), 0x3F0},   {ComponentFunction<ProbeClose>(), 0x3F0},
    {ComponentFunction<ProbeCanDo>(), 0x2F0},  {ComponentFunction<ProbeTarget>(), 0x3F0},
    {ComponentFunction<ProbeMixed>(), 0x3EF0}, {ComponentFunction<ProbeMixed>(), 0x3FF0}, // wrong word
    {kComponentNotImplemented, 0x3F0},         {kComponentNoOp, 0},
};

ComponentResult ProbeDispatch(ComponentParameters* params, Handle storage) {
    switch (params->what) {
    case kComponentOpenSelector:
        return CallComponentDispatchEntry(kEntries[0], params, storage);
    case kComponentCloseSelector:
        return CallComponentDispatchEntry(kEntries[1], params, storage);
    case kComponentCanDoSelector:
        return CallComponentDispatchEntry(kEntries[2], params, storage);
    case kComponentTargetSelector:
        return CallComponentDispatchEntry(kEntries[3], params, storage);
    case 1:
    case 2:
    case 3:
    case 4:
        return CallComponentDispatchEntry(kEntries[3 + params->what], params, storage);
    default:
        return badComponentSelector;
    }
}

// Forwards every call to the instance kept in its storage.
ComponentResult ForwardingDispatch(ComponentParameters* params, Handle storage) {
    if (params->what == kComponentOpenSelector || params->what == kComponentCloseSelector) return noErr;
    return DelegateComponentCall(params, reinterpret_cast<ComponentInstance>(storage));
}

Component Register(const char* subtype, const ComponentResourceSet* resources = nullptr,
                   ComponentRoutineUPP entry = ProbeDispatch) {
    char code[5];
    std::memcpy(code, subtype, 5);
    ComponentDescription description = {FourCC("test"), FourCC(code), FourCC("qzkt"), 0, 0};
    return RegisterComponentWithResources(&description, entry, subtype, resources);
}

} // namespace

TEST(ComponentManagerTest, FailedOpenClosesAndDelegationPassesCallsOn) {
    Component component = Register("fail", nullptr);
    ComponentInstance instance = reinterpret_cast<ComponentInstance>(1);
    g_openResult = memFullErr;
    const long closesBefore = g_closeCount;
    EXPECT_EQ(OpenAComponent(component, &instance), memFullErr);
    g_openResult = noErr;
    EXPECT_EQ(instance, nullptr);
    EXPECT_EQ(g_closeCount, closesBefore + 1); // close ran so the component could free its record
    EXPECT_EQ(CountComponentInstances(component), 0);
    EXPECT_EQ(OpenADefaultComponent(FourCC("test"), FourCC("none"), &instance), invalidComponentID);

    Register("fwd ", nullptr, ForwardingDispatch);
    ComponentInstance inner = nullptr, outer = nullptr;
    ASSERT_EQ(OpenAComponent(component, &inner), noErr);
    ASSERT_EQ(OpenADefaultComponent(FourCC("test"), FourCC("fwd "), &outer), noErr);
    SetComponentInstanceStorage(outer, reinterpret_cast<Handle>(inner));
    int32_t result = 0;
    EXPECT_EQ(CallComponentSelector(outer, 1, static_cast<int16_t>(2), Point{0, 5}, &result), noErr);
    EXPECT_EQ(result, 2005);
    EXPECT_EQ(CallComponentCanDo(outer, 7), 1);
    EXPECT_EQ(UnregisterComponent(component), validInstancesExist);
    CloseComponent(outer);
    CloseComponent(inner);
    EXPECT_EQ(UnregisterComponent(component), noErr);
}

TEST(ComponentManagerTest, ACallReachesItsHandlerOnlyWhenItsWordsMatchTheHandler) {
    Register("mixd");
    ComponentInstance instance = nullptr;
    ASSERT_EQ(OpenADefaultComponent(FourCC("test"), FourCC("mixd"), &instance), noErr);
    int32_t result = 0;
    g_mixedCalls = 0;
    // Selector 1: the table's word is the handler's own (result, storage, a 16-bit value, a
    // Point and a pointer: 0x3EF0), so the call runs and each parameter arrives unpacked.
    EXPECT_EQ(CallComponentSelector(instance, 1, static_cast<int16_t>(-3), Point{7, 42}, &result), noErr);
    EXPECT_EQ(result, -3 * 1000 + 42);
    EXPECT_EQ(g_mixedCalls, 1);
    // Selector 2: the same handler under a word that claims a full word for the 16-bit value
    // (0x3FF0): refused before the handler runs.
    result = 0;
    EXPECT_EQ(CallComponentSelector(instance, 2, static_cast<int16_t>(5), Point{0, 1}, &result),
              badComponentSelector);
    EXPECT_EQ(g_mixedCalls, 1);
    EXPECT_EQ(result, 0);
    // A parameter block of the wrong size for the handler: paramErr, the handler not run.
    EXPECT_EQ(CallComponentSelector(instance, 1, static_cast<int16_t>(5), Point{0, 1}), paramErr);
    EXPECT_EQ(g_mixedCalls, 1);
    // Entries marked not implemented, no-op entries, and selectors past the table.
    EXPECT_EQ(CallComponentSelector(instance, 3), badComponentSelector);
    EXPECT_EQ(CallComponentSelector(instance, 4), noErr);
    EXPECT_EQ(CallComponentSelector(instance, 5), badComponentSelector);
    EXPECT_EQ(CallComponentCanDo(instance, 7), 1);
    EXPECT_EQ(CallComponentCanDo(instance, 8), 0);
    // The target selector hands the instance to the handler.
    ComponentInstance other = reinterpret_cast<ComponentInstance>(0x40);
    EXPECT_EQ(ComponentSetTarget(instance, other), noErr);
    EXPECT_EQ(reinterpret_cast<Probe*>(GetComponentInstanceStorage(instance))->target, other);
    CloseComponent(instance);
}
