#pragma once

#include <chrono>
#include <map>
#include <set>
#include <cstddef>
#include <optional>
#include <unordered_map>
#include <vector>

namespace pemo {

/// The rules that keep an HTTP server's connections from costing more than
/// they may: by when each must have sent its request, how many there may
/// be, and which one gives way to a new one. It holds no sockets; the
/// server tells it what each connection does and asks what to close.
///
/// A connection's head must be in within Limits::header of its opening or
/// of the previous answer, its body within Limits::body of its head. A
/// connection on its way out (an answer sent, the caller's last bytes being
/// drained) gets Limits::linger. One whose request is being served has no
/// deadline: the worker owns it then.
class ConnectionTable
{
public:
    using Clock = std::chrono::steady_clock;
    /// The connection's socket descriptor.
    using Id = int;

    struct Limits
    {
        std::size_t maxConnections = 256;
        Clock::duration header = std::chrono::seconds(5);
        Clock::duration body = std::chrono::seconds(10);
        Clock::duration linger = std::chrono::seconds(2);
    };

    enum class Phase
    {
        Idle,    ///< no byte of a request yet
        Head,    ///< part of a head
        Body,    ///< the head, part of the body
        Serving, ///< at a worker
        Closing  ///< answered for the last time, draining
    };

    /// A connection past its deadline: with answer, a 408 goes out before
    /// it is closed; without, it is closed as it is (one draining, or a
    /// kept-alive one that sent nothing more: a keep-alive time-out, which
    /// HTTP clients expect; a 408 there could be read as the answer to a
    /// request sent just then).
    struct Expired
    {
        Id id;
        bool answer;
    };

    explicit ConnectionTable(const Limits& limits);

    /// The default connection limit for an open-file soft limit: a quarter
    /// of it, so the service keeps descriptors for its own work, at most
    /// 1,024 and at least one.
    static std::size_t defaultMaxConnections(std::size_t openFileLimit);

    void opened(Id id, Clock::time_point now);
    void headStarted(Id id);
    void bodyStarted(Id id, Clock::time_point now);
    void serving(Id id);
    void answered(Id id, Clock::time_point now);
    void closing(Id id, Clock::time_point now);
    void closed(Id id);

    Phase phase(Id id) const;
    std::size_t size() const;
    bool full() const;

    /// The connection to close to make room for a new one: one draining if
    /// any, else the one idle longest with no request under way; none when
    /// every connection has a request under way.
    std::optional<Id> victim() const;

    /// Every connection whose deadline has passed at now.
    std::vector<Expired> expired(Clock::time_point now) const;

    /// The earliest deadline, none when no connection has one.
    std::optional<Clock::time_point> nextDeadline() const;

private:
    // Indexes by time, so that the waiting thread's questions cost a
    // logarithm of the connections however many an abuser holds open.
    using TimeIndex = std::multimap<Clock::time_point, Id>;

    struct Entry
    {
        Phase phase;
        bool fresh;
        TimeIndex::iterator deadline; ///< in _deadlines, or end() while serving
        TimeIndex::iterator idle;     ///< in _idle, or end() unless idle
    };

    Entry& at(Id id);
    /// Files the entry under phase, its deadline (none while serving) and,
    /// when idle, since.
    void file(Entry& entry, Id id, Phase phase, std::optional<Clock::time_point> deadline,
              Clock::time_point since);
    void unfile(Entry& entry);

    const Limits _limits;
    std::unordered_map<Id, Entry> _entries;
    TimeIndex _deadlines;
    TimeIndex _idle;
    std::set<Id> _closing;
};

} // namespace pemo
