#pragma once

#include <Poco/NamedEvent.h>
#include <Poco/Timestamp.h>

#include <memory>
#include <string>

namespace pemo {

/// The start-up event of a supervised child: the named event that the child
/// opens with its own pid and signals once it has started (ServiceApp does
/// so for every service), and that its supervisor waits on. Adds what
/// Poco::NamedEvent lacks for a supervisor that launches children for
/// years: a timed wait, and removal from the system once the wait is over.
class StartupEvent
{
public:
    /// The child's side: signals the event of pid.
    /// Throws Poco::SystemException when it cannot be opened or signalled.
    static void signal(int pid);

    /// The supervisor's side, for the child pid launched at launched. What
    /// an earlier process with the same pid left under the name is
    /// discarded first: a signal nobody waited for must not count for the
    /// new child.
    /// Throws Poco::SystemException when the event cannot be created.
    StartupEvent(int pid, const Poco::Timestamp& launched);

    /// Discards the event. A child that signals later creates a new one,
    /// which the next launch under the same pid discards in turn.
    ~StartupEvent();

    StartupEvent(const StartupEvent&) = delete;
    StartupEvent& operator=(const StartupEvent&) = delete;

    const std::string& name() const { return _name; }
    std::shared_ptr<Poco::NamedEvent> event() const { return _event; }

    /// True when the child signalled within milliseconds.
    bool wait(long milliseconds);

    /// Removes the event of pid from the system, if it exists. Never throws.
    static void discard(int pid);

private:
    int _pid;
    std::string _name;
    std::shared_ptr<Poco::NamedEvent> _event;
};

} // namespace pemo
