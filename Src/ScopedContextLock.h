#pragma once

#include <boost/shared_ptr.hpp>

namespace STN {

class IGraphicsContext;

// Makes a context current and locks it for the life of the scope.
class ScopedContextLock {
public:
    explicit ScopedContextLock(const boost::shared_ptr<IGraphicsContext>& context);
    ~ScopedContextLock();
    ScopedContextLock(const ScopedContextLock&) = delete;
    ScopedContextLock& operator=(const ScopedContextLock&) = delete;

private:
    boost::shared_ptr<IGraphicsContext> context;
};

}  // namespace STN
