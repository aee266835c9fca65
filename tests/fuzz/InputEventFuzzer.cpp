// A batch of native input_event records as the power button's device hands
// them out, read by the reader and decoded into key events.
#include "power/InputDevice.h"
#include "power/SelectTask.h"

#include <Poco/Logger.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    static const bool quiet = (Poco::Logger::root().setLevel(Poco::Message::PRIO_FATAL), true);
    (void)quiet;
    // A pipe holds 64 KiB; longer inputs would block the write.
    if (size > 65536)
        return 0;
    int fds[2];
    if (::pipe(fds) != 0 || ::write(fds[1], data, size) != static_cast<ssize_t>(size))
        std::abort();
    unsigned events = 0;
    pemo::system::SelectTask task("/proc/self/fd/" + std::to_string(fds[0]),
                                  [&events](const pemo::system::SelectTask::Batch& batch) {
                                      if (pemo::system::InputDevice::keyEventOf(batch))
                                          ++events;
                                  });
    task.onStart();
    // The writer stays open, so the reader never sees the end (which it
    // would wait out); it runs while records are pending.
    int pending = static_cast<int>(size);
    while (pending > 0)
    {
        task.work();
        if (::ioctl(fds[0], FIONREAD, &pending) != 0)
            std::abort();
    }
    task.onExit();
    ::close(fds[0]);
    ::close(fds[1]);
    if (events > size / sizeof(input_event))
        std::abort();
    return 0;
}
