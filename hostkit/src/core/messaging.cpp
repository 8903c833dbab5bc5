#include "hostcore/messaging.h"

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

}  // namespace messaging
}  // namespace hostcore
