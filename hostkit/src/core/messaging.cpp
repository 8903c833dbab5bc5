#include "hostcore/messaging.h"

#include <algorithm>

namespace hostcore {
namespace messaging {

MessageID HashMessageTypeNameToMessageID(const char* typeName) {
    std::uint32_t hash = 2166136261u;
    if (typeName != nullptr) {
        for (const char* p = typeName; *p != '\0'; ++p) {
            hash ^= static_cast<unsigned char>(*p);
            hash *= 16777619u;
        }
    }
    return hash;
}

MessageDispatcher& MessageDispatcher::Instance() {
    static MessageDispatcher* instance = new MessageDispatcher();
    return *instance;
}

void MessageDispatcher::AddListener(Listener* listener) {
    if (listener == nullptr) {
        return;
    }
    std::lock_guard<std::mutex> lock(listMutex);
    if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) {
        listeners.push_back(listener);
    }
}

void MessageDispatcher::RemoveListener(Listener* listener) {
    {
        std::lock_guard<std::mutex> lock(listMutex);
        listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
    }
    // A delivery that took its copy of the list before the removal may still be running.
    std::lock_guard<std::recursive_mutex> wait(deliveryMutex);
}

std::size_t MessageDispatcher::Send(const Message& message) {
    std::lock_guard<std::recursive_mutex> delivery(deliveryMutex);
    std::vector<Listener*> copy;
    {
        std::lock_guard<std::mutex> lock(listMutex);
        copy = listeners;
    }
    std::size_t delivered = 0;
    for (Listener* listener : copy) {
        {
            // Skip listeners removed by an earlier listener of this same delivery.
            std::lock_guard<std::mutex> lock(listMutex);
            if (std::find(listeners.begin(), listeners.end(), listener) == listeners.end()) {
                continue;
            }
        }
        listener->ReceiveMessage(message);
        ++delivered;
    }
    return delivered;
}

}  // namespace messaging
}  // namespace hostcore
