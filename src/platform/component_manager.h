// The Component Manager: a process-wide registry of components (each an entry routine plus
// its own resource set), instances with their storage and targets, and calls into a
// component by selector.
//
// Calls travel in a ComponentParameters block: params[] holds the call's parameters in
// declaration order, one pointer-sized word each (integers sign- or zero-extended, small
// structs such as Point copied into the word's low bytes); paramSize is their count times the
// word size. The instance's storage is not in params[]: the Component Manager passes it first.
//
// A component's selector table holds ComponentFunctionUPPs made with ComponentFunction<handler>():
// a small template thunk that turns each word back into the handler's declared parameter
// type, so no handler is ever called through a pointer of the wrong type. The procedure-
// information word keeps its classic encoding: bits 0-3 calling convention (0), bits 4-5 the
// result size, then two bits per parameter from bit 6 on, storage first (0 none, 1 one byte,
// 2 two bytes, 3 a full word). 0x3F0 is a word result with storage and one word parameter;
// 0x2F0 storage and a 16-bit parameter. CallComponentFunctionWithStorageProcInfo checks the
// table's word against the handler's parameter list and the block's paramSize against the
// handler's parameter count.
//
// Threads: the registry and the instance list are guarded; an instance is called from one
// thread at a time (the components take no locks).
#pragma once

#include <cstring>
#include <type_traits>
#include <utility>

#include "mac_types.h"

typedef struct ComponentRecord* Component;
typedef struct ComponentInstanceRecord* ComponentInstance;
typedef uint32_t ProcInfoType;

struct ComponentDescription {
    OSType componentType;         // 0 matches any type when searching
    OSType componentSubType;      // 0 matches any
    OSType componentManufacturer; // 0 matches any
    uint32_t componentFlags;
    uint32_t componentFlagsMask;
};

const int kComponentParameterWords = 16;

struct ComponentParameters {
    uint8_t flags;
    uint8_t paramSize; // bytes used in params: parameter count * sizeof(long)
    int16_t what;      // the selector
    long params[kComponentParameterWords];
};

typedef ComponentResult (*ComponentRoutineProcPtr)(ComponentParameters* params, Handle storage);
typedef ComponentRoutineProcPtr ComponentRoutineUPP;

// Standard selectors every component may serve.
enum : int16_t {
    kComponentOpenSelector = -1,
    kComponentCloseSelector = -2,
    kComponentCanDoSelector = -3,
    kComponentVersionSelector = -4,
    kComponentRegisterSelector = -5,
    kComponentTargetSelector = -6,
    kComponentUnregisterSelector = -7,
    kComponentGetMPWorkFunctionSelector = -8,
};

// A handler reached through a thunk; see ComponentFunction below.
struct ComponentFunctionThunk {
    ProcInfoType procInfo; // derived from the handler's parameter list
    int parameterCount;    // parameters after the storage
    ComponentResult (*call)(Handle storage, const ComponentParameters* params);
};
typedef const ComponentFunctionThunk* ComponentFunctionUPP;

// Marks for selector tables: a selector the component declares but does not serve (answers
// badComponentSelector), and one that succeeds without a call (answers 0).
extern const ComponentFunctionUPP kComponentNotImplemented;
extern const ComponentFunctionUPP kComponentNoOp;

struct ComponentDispatchEntry {
    ComponentFunctionUPP function;
    ProcInfoType procInfo;
};

// ---- Parameter words ----------------------------------------------------------------------

template <typename T> long ToComponentWord(T value) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<long>(value);
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        return static_cast<long>(value);
    } else {
        static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(long), "does not fit a word");
        long word = 0;
        std::memcpy(&word, &value, sizeof(T));
        return word;
    }
}

template <typename T> T FromComponentWord(long word) {
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(word);
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        return static_cast<T>(word);
    } else {
        static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= sizeof(long), "does not fit a word");
        T value;
        std::memcpy(&value, &word, sizeof(T));
        return value;
    }
}

// The two-bit size code of one parameter or result.
template <typename T> constexpr ProcInfoType ComponentSizeCode() {
    return sizeof(T) == 1 ? 1 : sizeof(T) == 2 ? 2 : 3;
}

template <typename R, typename Storage, typename... Args>
constexpr ProcInfoType ComponentProcInfoOf(R (*)(Storage, Args...)) {
    static_assert(sizeof...(Args) <= 12, "at most 13 parameters fit the procedure-information word");
    ProcInfoType info = ComponentSizeCode<R>() << 4 | ComponentSizeCode<Storage>() << 6;
    int shift = 8;
    ((info |= ComponentSizeCode<Args>() << shift, shift += 2), ...);
    return info;
}

namespace component_thunks {

template <auto Handler, typename R, typename Storage, typename... Args, size_t... I>
ComponentResult Invoke(Handle storage, const ComponentParameters* params, std::index_sequence<I...>) {
    return static_cast<ComponentResult>(Handler(FromComponentWord<Storage>(reinterpret_cast<long>(storage)),
                                                FromComponentWord<Args>(params->params[I])...));
}

template <auto Handler, typename R, typename Storage, typename... Args>
ComponentResult Call(Handle storage, const ComponentParameters* params, R (*)(Storage, Args...)) {
    return Invoke<Handler, R, Storage, Args...>(storage, params, std::index_sequence_for<Args...>{});
}

template <auto Handler> ComponentResult Thunk(Handle storage, const ComponentParameters* params) {
    return Call<Handler>(storage, params, Handler);
}

template <typename R, typename Storage, typename... Args>
constexpr int CountParameters(R (*)(Storage, Args...)) {
    return static_cast<int>(sizeof...(Args));
}

} // namespace component_thunks

// The thunk for Handler, a function whose first parameter receives the instance storage.
template <auto Handler> ComponentFunctionUPP ComponentFunction() {
    static const ComponentFunctionThunk thunk = {ComponentProcInfoOf(Handler),
                                                 component_thunks::CountParameters(Handler),
                                                 &component_thunks::Thunk<Handler>};
    return &thunk;
}

// Calls function with storage and the block's parameters. badComponentSelector when function
// is null or procInfo differs from the handler's own parameter list; paramErr when the block
// carries a different number of parameters than the handler takes.
ComponentResult CallComponentFunctionWithStorageProcInfo(Handle storage, ComponentParameters* params,
                                                         ComponentFunctionUPP function,
                                                         ProcInfoType procInfo);

// Runs one table entry: kComponentNotImplemented or a zero procInfo answer
// badComponentSelector, kComponentNoOp answers 0, anything else is called as above.
// A null function is the component's own business (reject or delegate) and answers
// badComponentSelector here.
ComponentResult CallComponentDispatchEntry(const ComponentDispatchEntry& entry, ComponentParameters* params,
                                           Handle storage);

// ---- Registry ------------------------------------------------------------------------------

struct ComponentResource;
// The resources a component carries: the registration keeps the pointer, so the set and its
// data must outlive the registration (resources built into a library do).
struct ComponentResourceSet {
    const ComponentResource* resources;
    size_t count;
};

// Registers a component. name (may be null) is copied. Returns the component, or null when
// description or entry point is null. global is kept and otherwise unused.
Component RegisterComponent(ComponentDescription* description, ComponentRoutineUPP entryPoint, int16_t global,
                            Handle componentName, Handle componentInfo, Handle componentIcon);
// The same with the component's own resource set (may be null for none).
Component RegisterComponentWithResources(const ComponentDescription* description,
                                         ComponentRoutineUPP entryPoint, const char* name,
                                         const ComponentResourceSet* resources);
// What loading a component's bundle does (its code's static initialisers on the original
// system). The Component Manager calls it before every open of the component, so it must be
// cheap once loaded; a status other than noErr fails the open with that status.
typedef OSErr (*ComponentBundleLoaderProc)();
// Sets component's bundle loader (null: none); ignored for a null component.
void SetComponentBundleLoader(Component component, ComponentBundleLoaderProc loader);
// Removes a component; validInstancesExist while it has open instances.
OSErr UnregisterComponent(Component component);

// The next component after previous (null: from the first) matching looking; zero fields of
// looking match anything, flags are compared under the mask.
Component FindNextComponent(Component previous, const ComponentDescription* looking);
// The component's description; name (a handle, may be null) receives its name as text.
OSErr GetComponentInfo(Component component, ComponentDescription* description, Handle name, Handle info,
                       Handle icon);
long CountComponentInstances(Component component);

// ---- Instances -----------------------------------------------------------------------------

// Opens an instance: runs the component's bundle loader (its failure is returned as it is),
// creates the instance with null storage and calls the open selector with the new instance as
// its parameter. When open fails the close selector is called (so the component
// can free what it stored), the instance is destroyed, and open's status returned.
OSErr OpenAComponent(Component component, ComponentInstance* instance);
// The first registered component of this type and subtype; invalidComponentID when none.
OSErr OpenADefaultComponent(OSType componentType, OSType componentSubType, ComponentInstance* instance);
// Calls the close selector, destroys the instance and returns close's status.
OSErr CloseComponent(ComponentInstance instance);

void SetComponentInstanceStorage(ComponentInstance instance, Handle storage);
Handle GetComponentInstanceStorage(ComponentInstance instance);
Component GetComponentOf(ComponentInstance instance);

// Calls the instance's entry point with params and the instance's storage.
// badComponentInstance when instance is not an open instance.
ComponentResult CallComponentDispatch(ComponentInstance instance, ComponentParameters* params);
// Passes a call on, unchanged, to another instance (a component's delegate).
ComponentResult DelegateComponentCall(ComponentParameters* originalParams, ComponentInstance instance);

// Calls selector what on instance with args as parameter words.
template <typename... Args>
ComponentResult CallComponentSelector(ComponentInstance instance, int16_t what, Args... args) {
    static_assert(sizeof...(Args) <= kComponentParameterWords, "too many parameters");
    ComponentParameters params{};
    params.what = what;
    params.paramSize = static_cast<uint8_t>(sizeof...(Args) * sizeof(long));
    int i = 0;
    ((params.params[i++] = ToComponentWord(args)), ...);
    (void)i;
    return CallComponentDispatch(instance, &params);
}

// The standard selectors, called on an instance.
ComponentResult CallComponentCanDo(ComponentInstance instance, int16_t selector);
ComponentResult CallComponentVersion(ComponentInstance instance);
ComponentResult ComponentSetTarget(ComponentInstance instance, ComponentInstance target);
