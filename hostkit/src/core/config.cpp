#include "hostcore/config.h"

#include <boost/make_shared.hpp>

#include <atomic>

namespace hostcore {
namespace config {

namespace {

std::atomic<bool> present{true};

}  // namespace

std::string LoggedEvent::Value(const std::string& key) const {
    for (const auto& kv : values) {
        if (kv.first == key) {
            return kv.second;
        }
    }
    return std::string();
}

bool LoggedEvent::Has(const std::string& key) const {
    for (const auto& kv : values) {
        if (kv.first == key) {
            return true;
        }
    }
    return false;
}

UsageEvent::UsageEvent(boost::shared_ptr<UsageLogger> logger, std::string category,
                       std::string name)
    : logger(std::move(logger)), category(std::move(category)), name(std::move(name)) {}

UsageEvent::~UsageEvent() {
    try {
        logger->Log(LoggedEvent{category, name, std::move(values)});
    } catch (...) {
        // Out of memory while logging a statistic: the event is lost, nothing else.
    }
}

void UsageEvent::SetValue(const std::string& key, const std::string& value) {
    for (auto& kv : values) {
        if (kv.first == key) {
            kv.second = value;
            return;
        }
    }
    values.emplace_back(key, value);
}

UsageLogger::UsageLogger() = default;

UsageLogger::~UsageLogger() = default;

boost::shared_ptr<UsageLogger> UsageLogger::Get() {
    // Never destroyed: events may be logged from threads that outlive static destruction.
    static boost::shared_ptr<UsageLogger>* instance =
        new boost::shared_ptr<UsageLogger>(new UsageLogger());
    if (!present.load(std::memory_order_acquire)) {
        return boost::shared_ptr<UsageLogger>();
    }
    return *instance;
}

void UsageLogger::SetPresent(bool isPresent) {
    present.store(isPresent, std::memory_order_release);
}

boost::shared_ptr<UsageEvent> UsageLogger::CreateUsageEvent(const std::string& category,
                                                            const std::string& eventName) {
    if (category.empty() || eventName.empty()) {
        return boost::shared_ptr<UsageEvent>();
    }
    return boost::shared_ptr<UsageEvent>(new UsageEvent(shared_from_this(), category, eventName));
}

std::vector<LoggedEvent> UsageLogger::Events() const {
    std::lock_guard<std::mutex> lock(mutex);
    return events;
}

void UsageLogger::Clear() {
    std::lock_guard<std::mutex> lock(mutex);
    events.clear();
}

void UsageLogger::Log(LoggedEvent event) {
    std::lock_guard<std::mutex> lock(mutex);
    events.push_back(std::move(event));
}

}  // namespace config
}  // namespace hostcore
