// A wpa_supplicant event line as the control interface hands it to its
// monitors: the connection monitor, which parses it, and the relay to the
// /wifi/messages subscribers, which wraps it in JSON.
#include "app/SystemManager.h"
#include "network/Udhcpc.h"
#include "network/WifiManager.h"

#include <pemo/Port.h>

#include <Poco/Logger.h>
#include <Poco/Net/SocketReactor.h>

#include <memory>
#include <string>

namespace {

struct Monitors
{
    Monitors()
    {
        Poco::Logger::root().setLevel(Poco::Message::PRIO_FATAL);
        // "static": a connection event only logs. With "dhcp" every one would
        // start the DHCP client and wait 5 s for it.
        pemo::system::Udhcpc::Params params;
        params.executable = "/bin/true";
        connection = std::make_shared<pemo::system::WifiManager::ConnectionMonitor>(
            std::make_shared<pemo::system::Udhcpc>(params));
        connection->setMethod("static");
    }

    Poco::Net::SocketReactor reactor;
    pemo::Port port{reactor, 65536};
    pemo::system::SystemManager::WifiMessageMonitor relay{port};
    std::shared_ptr<pemo::system::WifiManager::ConnectionMonitor> connection;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    // Never destroyed: libFuzzer ends the process with exit().
    static Monitors* const monitors = new Monitors;
    const std::string line(data, size);
    monitors->connection->onMessage(line);
    monitors->relay.onMessage(line);
    return 0;
}
