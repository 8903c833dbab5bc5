#include "hostcore/classref.h"

#include "hostcore/debug.h"

namespace hostcore {
namespace classref {

NullInterfaceException::NullInterfaceException(const std::type_info& refType)
    : std::runtime_error("A NULL interface pointer has been dereferenced: " +
                         debug::DemangleName(refType.name())),
      typeName(debug::DemangleName(refType.name())) {}

}  // namespace classref
}  // namespace hostcore
