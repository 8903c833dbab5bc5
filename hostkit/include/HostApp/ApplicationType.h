#pragma once

// The kind of host application the process is.

namespace HostApp {

// Application types. Controller input is for kApplicationTypeVideoEditor only.
enum ApplicationType {
    kApplicationTypeUnknown = 0,
    kApplicationTypeVideoEditor = 5,
};

// Unknown (0) until a host sets it.
int GetApplicationType();
void SetApplicationType(int type);

}  // namespace HostApp
