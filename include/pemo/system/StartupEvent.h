#pragma once

#include <Poco/NamedEvent.h>

#include <memory>
#include <string>

namespace pemo {
namespace system {

/// The start-up event of one launched child: the named event the child
/// opens with its own pid and signals once it has started. Adds what
/// Poco::NamedEvent lacks for a supervisor that launches children for
/// years: a timed wait, and removal from the system once the wait is over.
class StartupEvent
{
public:
    /// Opens the event of pid, after discarding whatever an earlier
    /// process with the same pid left under its name (a signal that was
    /// never waited for must not count for the new child).
    /// Throws Poco::SystemException when the event cannot be created.
    explicit StartupEvent(int pid);

    /// Discards the event. A child signalling later creates a new one,
    /// which the next launch under the same pid discards in turn.
    ~StartupEvent();

    StartupEvent(const StartupEvent&) = delete;
    StartupEvent& operator=(const StartupEvent&) = delete;

    const std::string& name() const { return _name; }
    std::shared_ptr<Poco::NamedEvent> event() const { return _event; }

    /// True when the child signalled within milliseconds.
    bool wait(long milliseconds);

    /// Removes the event called name from the system, if it exists. Never
    /// throws.
    static void discard(const std::string& name);

private:
    std::string _name;
    std::shared_ptr<Poco::NamedEvent> _event;
};

} // namespace system
} // namespace pemo
