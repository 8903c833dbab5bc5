#pragma once

// Application messages: identified by a hash of their type name and handed to listeners.

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

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

// Receives application messages. A listener gets messages once registered with a
// MessageDispatcher, and only until it is removed again.
class Listener {
public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;
    virtual void ReceiveMessage(const Message& message) = 0;
};

// Delivers messages to the listeners registered with it, in the order they were added, on the
// sending thread. RemoveListener waits until no delivery to that listener is in progress, so a
// listener may be destroyed right after it returns (not from inside its own ReceiveMessage).
class MessageDispatcher {
public:
    static MessageDispatcher& Instance();
    MessageDispatcher() = default;
    MessageDispatcher(const MessageDispatcher&) = delete;
    MessageDispatcher& operator=(const MessageDispatcher&) = delete;

    void AddListener(Listener* listener);  // null or already added: nothing
    void RemoveListener(Listener* listener);
    // Returns the number of listeners that received the message.
    std::size_t Send(const Message& message);

private:
    std::recursive_mutex deliveryMutex;  // held during a delivery; recursive so a listener may send
    std::mutex listMutex;
    std::vector<Listener*> listeners;
};

}  // namespace messaging
}  // namespace hostcore
