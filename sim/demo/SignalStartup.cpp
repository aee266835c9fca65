#include <pemo/StartupEvent.h>

#include <Poco/Exception.h>
#include <Poco/NumberParser.h>

#include <iostream>

// A script launched by the supervisor runs "pemo-signal-startup $$" once it
// is ready; the supervisor waits for exactly this event.
int main(int argc, char** argv)
{
    int pid = 0;
    if (argc != 2 || !Poco::NumberParser::tryParse(argv[1], pid) || pid < 1)
    {
        std::cerr << "usage: pemo-signal-startup PID" << std::endl;
        return 2;
    }
    try
    {
        pemo::StartupEvent::signal(pid);
    }
    catch (const Poco::Exception& e)
    {
        std::cerr << "pemo-signal-startup: cannot signal the start-up event of " << pid << ": " << e.displayText()
                  << std::endl;
        return 1;
    }
    return 0;
}
