// The component registry, instances and selector calls.
#include "component_manager.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "component_registry.h"
#include "memory_manager.h"

namespace {

// Distinct objects whose addresses serve as the two table marks; never called.
const ComponentFunctionThunk g_notImplementedMark = {0, 0, nullptr};
const ComponentFunctionThunk g_noOpMark = {0, 0, nullptr};

std::mutex g_registryMutex;
std::vector<std::unique_ptr<ComponentRecord>>& Components() {
    static auto* components = new std::vector<std::unique_ptr<ComponentRecord>>();
    return *components;
}
std::vector<ComponentInstanceRecord*>& Instances() {
    static auto* instances = new std::vector<ComponentInstanceRecord*>();
    return *instances;
}

bool Matches(const ComponentDescription& have, const ComponentDescription& want) {
    if (want.componentType != 0 && want.componentType != have.componentType) return false;
    if (want.componentSubType != 0 && want.componentSubType != have.componentSubType) return false;
    if (want.componentManufacturer != 0 && want.componentManufacturer != have.componentManufacturer)
        return false;
    return (have.componentFlags & want.componentFlagsMask) == (want.componentFlags & want.componentFlagsMask);
}

bool IsOpenInstance(ComponentInstance instance) {
    const auto& instances = Instances();
    return std::find(instances.begin(), instances.end(), instance) != instances.end();
}

} // namespace

const ComponentFunctionUPP kComponentNotImplemented = &g_notImplementedMark;
const ComponentFunctionUPP kComponentNoOp = &g_noOpMark;

ComponentResult CallComponentFunctionWithStorageProcInfo(Handle storage, ComponentParameters* params,
                                                         ComponentFunctionUPP function,
                                                         ProcInfoType procInfo) {
    if (function == nullptr || function->call == nullptr || params == nullptr) return badComponentSelector;
    if (procInfo != function->procInfo) return badComponentSelector;
    if (params->paramSize != function->parameterCount * sizeof(long)) return paramErr;
    return function->call(storage, params);
}

ComponentResult CallComponentDispatchEntry(const ComponentDispatchEntry& entry, ComponentParameters* params,
                                           Handle storage) {
    if (entry.function == kComponentNoOp) return noErr;
    if (entry.function == nullptr || entry.function == kComponentNotImplemented || entry.procInfo == 0)
        return badComponentSelector;
    return CallComponentFunctionWithStorageProcInfo(storage, params, entry.function, entry.procInfo);
}

Component RegisterComponentWithResources(const ComponentDescription* description,
                                         ComponentRoutineUPP entryPoint, const char* name,
                                         const ComponentResourceSet* resources) {
    if (description == nullptr || entryPoint == nullptr) return nullptr;
    auto record = std::unique_ptr<ComponentRecord>(new (std::nothrow) ComponentRecord());
    if (!record) return nullptr;
    record->description = *description;
    record->entryPoint = entryPoint;
    record->name = name != nullptr ? name : "";
    if (resources != nullptr) record->resources = *resources;
    std::lock_guard<std::mutex> lock(g_registryMutex);
    Components().push_back(std::move(record));
    return Components().back().get();
}

Component RegisterComponent(ComponentDescription* description, ComponentRoutineUPP entryPoint, int16_t,
                            Handle componentName, Handle, Handle) {
    std::string name;
    if (componentName != nullptr)
        name.assign(*componentName, static_cast<size_t>(GetHandleSize(componentName)));
    return RegisterComponentWithResources(description, entryPoint, name.c_str(), nullptr);
}

void SetComponentBundleLoader(Component component, ComponentBundleLoaderProc loader) {
    if (component == nullptr) return;
    std::lock_guard<std::mutex> lock(g_registryMutex);
    component->loader = loader;
}

OSErr UnregisterComponent(Component component) {
    std::lock_guard<std::mutex> lock(g_registryMutex);
    auto& components = Components();
    auto found =
        std::find_if(components.begin(), components.end(),
                     [component](const std::unique_ptr<ComponentRecord>& c) { return c.get() == component; });
    if (found == components.end()) return invalidComponentID;
    if (component->instanceCount > 0) return validInstancesExist;
    components.erase(found);
    return noErr;
}

Component FindNextComponent(Component previous, const ComponentDescription* looking) {
    std::lock_guard<std::mutex> lock(g_registryMutex);
    const ComponentDescription anything{};
    const ComponentDescription& want = looking != nullptr ? *looking : anything;
    bool started = previous == nullptr;
    for (const auto& component : Components()) {
        if (!started) {
            started = component.get() == previous;
            continue;
        }
        if (Matches(component->description, want)) return component.get();
    }
    return nullptr;
}

OSErr GetComponentInfo(Component component, ComponentDescription* description, Handle name, Handle, Handle) {
    if (component == nullptr) return invalidComponentID;
    if (description != nullptr) *description = component->description;
    if (name != nullptr) {
        SetHandleSize(name, static_cast<Size>(component->name.size()));
        if (MemError() != noErr) return MemError();
        std::memcpy(*name, component->name.data(), component->name.size());
    }
    return noErr;
}

long CountComponentInstances(Component component) {
    std::lock_guard<std::mutex> lock(g_registryMutex);
    return component == nullptr ? 0 : component->instanceCount;
}

OSErr OpenAComponent(Component component, ComponentInstance* instance) {
    if (instance == nullptr) return paramErr;
    *instance = nullptr;
    if (component == nullptr) return invalidComponentID;
    ComponentBundleLoaderProc loader;
    {
        std::lock_guard<std::mutex> lock(g_registryMutex);
        loader = component->loader;
    }
    if (loader != nullptr) {
        const OSErr loaded = loader();
        if (loaded != noErr) return loaded;
    }
    auto* record = new (std::nothrow) ComponentInstanceRecord();
    if (record == nullptr) return memFullErr;
    record->component = component;
    {
        std::lock_guard<std::mutex> lock(g_registryMutex);
        Instances().push_back(record);
        ++component->instanceCount;
    }
    const ComponentResult status = CallComponentSelector(record, kComponentOpenSelector, record);
    if (status != noErr) {
        CloseComponent(record);
        return status;
    }
    *instance = record;
    return noErr;
}

OSErr OpenADefaultComponent(OSType componentType, OSType componentSubType, ComponentInstance* instance) {
    if (instance == nullptr) return paramErr;
    *instance = nullptr;
    ComponentDescription looking{componentType, componentSubType, 0, 0, 0};
    Component component = FindNextComponent(nullptr, &looking);
    if (component == nullptr) return invalidComponentID;
    return OpenAComponent(component, instance);
}

OSErr CloseComponent(ComponentInstance instance) {
    {
        std::lock_guard<std::mutex> lock(g_registryMutex);
        if (!IsOpenInstance(instance)) return badComponentInstance;
    }
    const ComponentResult status = CallComponentSelector(instance, kComponentCloseSelector, instance);
    std::lock_guard<std::mutex> lock(g_registryMutex);
    auto& instances = Instances();
    instances.erase(std::find(instances.begin(), instances.end(), instance));
    --instance->component->instanceCount;
    delete instance;
    return status;
}

void SetComponentInstanceStorage(ComponentInstance instance, Handle storage) {
    if (instance != nullptr) instance->storage = storage;
}

Handle GetComponentInstanceStorage(ComponentInstance instance) {
    return instance == nullptr ? nullptr : instance->storage;
}

Component GetComponentOf(ComponentInstance instance) {
    return instance == nullptr ? nullptr : instance->component;
}

ComponentResult CallComponentDispatch(ComponentInstance instance, ComponentParameters* params) {
    {
        std::lock_guard<std::mutex> lock(g_registryMutex);
        if (!IsOpenInstance(instance)) return badComponentInstance;
    }
    if (params == nullptr) return paramErr;
    return instance->component->entryPoint(params, instance->storage);
}

ComponentResult DelegateComponentCall(ComponentParameters* originalParams, ComponentInstance instance) {
    return CallComponentDispatch(instance, originalParams);
}

ComponentResult CallComponentCanDo(ComponentInstance instance, int16_t selector) {
    return CallComponentSelector(instance, kComponentCanDoSelector, selector);
}

ComponentResult CallComponentVersion(ComponentInstance instance) {
    return CallComponentSelector(instance, kComponentVersionSelector);
}

ComponentResult ComponentSetTarget(ComponentInstance instance, ComponentInstance target) {
    return CallComponentSelector(instance, kComponentTargetSelector, target);
}
