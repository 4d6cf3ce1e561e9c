// Component resources. Each registered component may carry its own resource set (data built
// into its library). Opening the component's resource file puts that set on the resource
// chain and makes it current; lookups by type and ID search the current file, then the files
// opened before it. Reference 0 is the empty system file that is current at start.
//
// Handles returned by GetComponentResource are copies that the caller disposes of.
// The chain is process-wide and guarded; a component opens, uses and closes its file within
// one call, as the settings dialog does.
#pragma once

#include "component_manager.h"
#include "mac_types.h"

// One resource: type, ID and the bytes (which must outlive the registration).
struct ComponentResource {
    ResType type;
    ResID id;
    const void* data;
    size_t size;
};

const ResFileRefNum kSystemResFile = 0;

// Opens the component's resources and makes them current. Returns the file's reference, or -1
// when the component has no resources (ResError() is then resFNotFound).
ResFileRefNum OpenComponentResFile(Component component);
ResFileRefNum OpenComponentResFile(ComponentInstance instance);
// Closes a file opened above. When it was current, the file current before it becomes current.
OSErr CloseComponentResFile(ResFileRefNum refNum);
ResFileRefNum CurResFile();
// Makes an open file current; an unknown reference sets ResError() to resFNotFound and
// changes nothing.
void UseResFile(ResFileRefNum refNum);
OSErr ResError();

// Copies the component's resource (type, id) into a new handle at *resource.
// paramErr for a null out pointer, resNotFound when absent, memFullErr when out of memory.
OSErr GetComponentResource(Component component, OSType resType, ResID resID, Handle* resource);
OSErr GetComponentResource(ComponentInstance instance, OSType resType, ResID resID, Handle* resource);

// The resource (type, id) found from the current file down the chain, or null
// (ResError() = resNotFound). The data stays valid while its component is registered.
const ComponentResource* FindChainResource(ResType resType, ResID resID);
