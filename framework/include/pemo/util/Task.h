#pragma once

#include <Poco/Runnable.h>

#include <atomic>
#include <string>

namespace pemo {
namespace util {

/// A named Runnable with a cancel flag that its run() polls.
class Task : public Poco::Runnable
{
public:
    explicit Task(const std::string& name);
    ~Task() override;

    const std::string& name() const;
    void cancel();
    bool isCancelled() const;

private:
    std::string _name;
    std::atomic<bool> _cancelled;
};

} // namespace util
} // namespace pemo
