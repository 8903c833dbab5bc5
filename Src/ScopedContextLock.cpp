#include "ScopedContextLock.h"

#include "IGraphicsContext.h"

namespace STN {

ScopedContextLock::ScopedContextLock(const boost::shared_ptr<IGraphicsContext>& context)
    : context(context) {
    // An empty pointer locks nothing; the destructor then has nothing to release either.
    if (this->context) {
        this->context->MakeCurrentAndLock();
    }
}

ScopedContextLock::~ScopedContextLock() {
    if (context) {
        context->UnlockAndRelease();
    }
    context.reset();
}

}  // namespace STN
