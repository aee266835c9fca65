#pragma once

#include <pemo/util/Worker.h>

#include <Poco/Logger.h>

#include <linux/input.h>

#include <functional>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// Reads whole native input_event records from a device and hands each
/// batch, cut at its synchronisation event (EV_SYN), to a callback. Runs on
/// a thread of its own; the descriptor is opened and closed on that thread.
class SelectTask : public pemo::util::Worker
{
public:
    using Batch = std::vector<input_event>;
    using Callback = std::function<void(const Batch&)>;

    /// How long one wait for input lasts: a cancel takes at most this long
    /// to be noticed.
    static constexpr long SELECT_TIMEOUT_MS = 2000;

    SelectTask(std::string path, Callback callback);
    ~SelectTask() override;

    /// Opens the device read-only. Throws InputDeviceException "Could not
    /// open " + path when it cannot.
    void onStart() override;
    /// One wait of at most SELECT_TIMEOUT_MS and, when the device became
    /// readable, one read; a time-out just ends the pass. A failing wait or
    /// read (a device unplugged reads ENODEV) closes the device, logged
    /// once, and each later pass tries to open it again after
    /// SELECT_TIMEOUT_MS, so a device that comes back is read again.
    void work() override;
    /// Closes the device.
    void onExit() override;

private:
    void reopen();
    void read();
    void fail(const std::string& step, int error);
    void closeDevice();
    void consume(const char* data, std::size_t size);

    Poco::Logger& _logger;
    std::string _path;
    Callback _callback;
    int _fd;
    /// A failure was logged and nothing has been read since.
    bool _failing;
    Batch _eventsSinceLastSyn;
};

} // namespace system
} // namespace pemo
