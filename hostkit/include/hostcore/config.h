#pragma once

// The host's usage logger: named events with string values.

#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace hostcore {
namespace config {

class UsageLogger;

// One event being filled in. It is logged once, when its last reference goes away.
class UsageEvent {
public:
    ~UsageEvent();
    UsageEvent(const UsageEvent&) = delete;
    UsageEvent& operator=(const UsageEvent&) = delete;

    // Sets key to value; a key set again keeps its first position and takes the new value.
    void SetValue(const std::string& key, const std::string& value);

    const std::string& Category() const { return category; }
    const std::string& Name() const { return name; }

private:
    friend class UsageLogger;
    UsageEvent(boost::shared_ptr<UsageLogger> logger, std::string category, std::string name);

    boost::shared_ptr<UsageLogger> logger;
    std::string category;
    std::string name;
    std::vector<std::pair<std::string, std::string>> values;
};

// A logged event as the logger keeps it.
struct LoggedEvent {
    std::string category;
    std::string name;
    std::vector<std::pair<std::string, std::string>> values;  // in the order they were first set
    std::string Value(const std::string& key) const;          // "" when not set
    bool Has(const std::string& key) const;
};

// The logger is present unless switched off with SetPresent(false); Get() then returns an
// empty pointer and nothing is logged. Logged events are kept in memory (Events, Clear), where
// the host reads them.
class UsageLogger : public boost::enable_shared_from_this<UsageLogger> {
public:
    static boost::shared_ptr<UsageLogger> Get();
    static void SetPresent(bool present);

    // An empty pointer when the category or the name is empty.
    boost::shared_ptr<UsageEvent> CreateUsageEvent(const std::string& category,
                                                   const std::string& eventName);

    std::vector<LoggedEvent> Events() const;
    void Clear();
    UsageLogger(const UsageLogger&) = delete;
    UsageLogger& operator=(const UsageLogger&) = delete;
    ~UsageLogger();

private:
    friend class UsageEvent;
    UsageLogger();
    void Log(LoggedEvent event);

    mutable std::mutex mutex;
    std::vector<LoggedEvent> events;
};

}  // namespace config
}  // namespace hostcore
