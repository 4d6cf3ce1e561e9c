// The Component Manager's records, shared by the component and resource code of the platform
// layer. Not for components or hosts: they see only the opaque Component and ComponentInstance.
#pragma once

#include <string>

#include "component_manager.h"

struct ComponentRecord {
    ComponentDescription description{};
    ComponentRoutineUPP entryPoint = nullptr;
    std::string name;
    ComponentResourceSet resources{nullptr, 0};
    ComponentBundleLoaderProc loader = nullptr; // guarded by the registry's lock
    long instanceCount = 0;                     // guarded by the registry's lock
};

struct ComponentInstanceRecord {
    Component component = nullptr;
    Handle storage = nullptr;
};
