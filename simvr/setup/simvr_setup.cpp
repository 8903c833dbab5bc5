#include "simvr/simvr_setup.h"

#include "simvr/simvr_control.h"

namespace simvr {

void ResetRuntime() {
    simvr_reset();
}

}  // namespace simvr
