#pragma once

// Messages the host application sends when it is sent to the background and when it comes back.
// Each is identified by the hash of its class name.

#include "hostcore/messaging.h"

namespace HSL {

class ApplicationSuspendedMessage : public hostcore::messaging::Message {
public:
    static constexpr const char* kTypeName = "HSL::ApplicationSuspendedMessage";
    ApplicationSuspendedMessage() : Message(kTypeName) {}
};

class ApplicationResumedMessage : public hostcore::messaging::Message {
public:
    static constexpr const char* kTypeName = "HSL::ApplicationResumedMessage";
    ApplicationResumedMessage() : Message(kTypeName) {}
};

}  // namespace HSL
