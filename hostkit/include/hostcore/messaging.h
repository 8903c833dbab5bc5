#pragma once

// Application messages: identified by a hash of their type name and handed to listeners.

#include <cstdint>

namespace hostcore {
namespace messaging {

using MessageID = std::uint32_t;

// The identifier of a message type: the 32-bit FNV-1a hash of its name. Null hashes as "".
MessageID HashMessageTypeNameToMessageID(const char* typeName);

class Message {
public:
    explicit Message(MessageID id) : id(id) {}
    explicit Message(const char* typeName) : id(HashMessageTypeNameToMessageID(typeName)) {}
    virtual ~Message() = default;
    MessageID GetMessageID() const { return id; }

private:
    MessageID id;
};

// Receives the host's application messages.
class Listener {
public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;
    virtual void ReceiveMessage(const Message& message) = 0;
};

}  // namespace messaging
}  // namespace hostcore
