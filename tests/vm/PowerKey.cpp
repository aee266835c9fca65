// pemo-vm-power-key FIFO: the virtual robot's power button. Creates a uinput
// keyboard with the one key KEY_POWER, named "pemo-power-button" (udev links
// it to /dev/input/pemo-power-button), then for each number of milliseconds
// written to FIFO holds the key down that long, as a person would.
#include <linux/uinput.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>

namespace {

[[noreturn]] void fail(const std::string& what)
{
    std::cerr << "pemo-vm-power-key: " << what << ": " << std::strerror(errno) << std::endl;
    std::exit(1);
}

void emit(int fd, unsigned short type, unsigned short code, int value)
{
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    if (::write(fd, &event, sizeof(event)) != static_cast<ssize_t>(sizeof(event)))
        fail("writing an input event");
}

int createDevice()
{
    const int fd = ::open("/dev/uinput", O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        fail("opening /dev/uinput");
    if (::ioctl(fd, UI_SET_EVBIT, EV_KEY) < 0 || ::ioctl(fd, UI_SET_KEYBIT, KEY_POWER) < 0)
        fail("declaring KEY_POWER");
    uinput_setup setup{};
    setup.id.bustype = BUS_VIRTUAL;
    std::strncpy(setup.name, "pemo-power-button", UINPUT_MAX_NAME_SIZE - 1);
    if (::ioctl(fd, UI_DEV_SETUP, &setup) < 0 || ::ioctl(fd, UI_DEV_CREATE) < 0)
        fail("creating the device");
    return fd;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::cerr << "usage: pemo-vm-power-key FIFO" << std::endl;
        return 2;
    }
    const int device = createDevice();
    ::unlink(argv[1]);
    if (::mkfifo(argv[1], 0600) < 0)
        fail(std::string("making ") + argv[1]);
    std::cout << "pemo-power-button ready; write milliseconds to " << argv[1] << std::endl;
    for (;;)
    {
        std::ifstream commands(argv[1]);
        for (long hold = 0; commands >> hold;)
        {
            std::cout << "holding KEY_POWER " << hold << " ms" << std::endl;
            emit(device, EV_KEY, KEY_POWER, 1);
            emit(device, EV_SYN, SYN_REPORT, 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(hold));
            emit(device, EV_KEY, KEY_POWER, 0);
            emit(device, EV_SYN, SYN_REPORT, 0);
        }
    }
}
