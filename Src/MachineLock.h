// The machine-wide lock that lets one process of a machine drive the headset.
//
// A named object in shared memory whose first word is the lock: 0 free, 1 taken, changed only by
// compare-exchange. Taking it closes the handle again without unlocking, so the word stays 1 for
// as long as the run lasts, across processes; releasing opens the object again and puts it back
// to 0, whoever took it. The second word names the process that took it, so that a lock left
// behind by a process that died can be told from one a running host holds.
#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <string>

namespace STN {

class MachineLock {
public:
    static const char kDefaultName[];  // "STN"
    static constexpr long kTimeoutMicroseconds = 2000000;

    explicit MachineLock(const std::string& name = kDefaultName);

    // Opens or creates the object and takes the lock, trying until the deadline (universal
    // time). False on timeout or when the object cannot be opened.
    bool Acquire(const boost::posix_time::ptime& deadline) const;
    // With the deadline now plus two seconds.
    bool Acquire() const;
    // Opens or creates the object and sets the word from 1 to 0.
    void Release() const;
    // Removes the name, discarding whatever lock it holds. Processes that have it open keep
    // their view; nobody does between Acquire and Release.
    void Remove() const;
    // Removes the name when the lock is held by a process that has died, or the object is not
    // a lock: clears what a crashed host left behind without taking the headset from a running
    // one. A free lock stays, since a waiting process may have it open. True when the name is
    // gone (also when there was none).
    bool RemoveAbandoned() const;
    // Whether the word is 1 now; false when the object does not exist. Diagnostic snapshot.
    bool IsTaken() const;

    const std::string& Name() const { return name; }

private:
    std::string name;
};

}  // namespace STN
