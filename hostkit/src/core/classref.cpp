#include "hostcore/classref.h"

#include "hostcore/debug.h"

namespace hostcore {
namespace classref {

std::string InterfaceID::ToString() const {
    static const char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(36);
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            out.push_back('-');
        }
        out.push_back(kHex[bytes[i] >> 4]);
        out.push_back(kHex[bytes[i] & 0xf]);
    }
    return out;
}

NullInterfaceException::NullInterfaceException(const std::type_info& refType)
    : std::runtime_error("A NULL interface pointer has been dereferenced: " +
                         debug::DemangleName(refType.name())),
      typeName(debug::DemangleName(refType.name())) {}

}  // namespace classref
}  // namespace hostcore
