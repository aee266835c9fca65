#pragma once

#include "network/Augeas.h"
#include "network/NetworkInterface.h"
#include "network/WPAControlInterface.h"

#include <Poco/AutoPtr.h>
#include <Poco/Logger.h>
#include <Poco/RegularExpression.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace pemo {
namespace system {

class Udhcpc;

/// The wireless side of the device: owns the wpa_supplicant control client
/// and the DHCP client's control, keeps the interface's entry in
/// /etc/network/interfaces, and renews the DHCP lease after every
/// (re)association when the interface uses DHCP.
class WifiManager
{
public:
    /// Watches wpa_supplicant's events: on a connection, with the method
    /// "dhcp", makes the DHCP client renew (starting one first, and giving it
    /// 5 s, when none runs); with "static" it only logs. Never throws.
    class ConnectionMonitor : public WPAControlInterface::Monitor
    {
    public:
        explicit ConnectionMonitor(std::shared_ptr<Udhcpc> udhcpc);
        void setMethod(const std::string& method);
        void onMessage(const std::string& message) override;

    private:
        void onConnected();

        std::mutex _mutex;
        Poco::Logger& _logger;
        std::shared_ptr<Udhcpc> _udhcpc;
        Poco::RegularExpression _regex;
        std::string _method;
    };

    struct Params
    {
        /// The managed interface ("wpa.interface").
        std::string interface = "wlan0";
        /// The programs that take the interface down and up ("ifdown",
        /// "ifup"), looked up on PATH.
        std::string ifdown = "ifdown";
        std::string ifup = "ifup";

        Params() = default;
        explicit Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    };

    /// Builds the control client from the view "wpa", the DHCP client from
    /// "udhcpc", and reads the interface's method from the file (libaugeas
    /// configured from the view "augeas": its "root" is where /etc lies).
    /// Throws AugeasException when libaugeas cannot start.
    explicit WifiManager(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    virtual ~WifiManager();

    WifiManager(const WifiManager&) = delete;
    WifiManager& operator=(const WifiManager&) = delete;

    void start();
    void stop();
    /// WPAControlInterface::request.
    bool request(const std::string& command, std::string& reply);
    void registerMonitor(std::shared_ptr<WPAControlInterface::Monitor> monitor);
    void unregisterMonitor(std::shared_ptr<WPAControlInterface::Monitor> monitor);

    /// The interface's entry; all fields empty when the file has none.
    /// Throws AugeasException when libaugeas cannot start.
    NetworkInterface getNetworkInterface();
    /// Writes the entry (creating it, brought up at boot, when absent), then
    /// restarts the network: the control client stopped, ifdown -f, every
    /// running DHCP client stopped when the method is not dhcp, ifup, the
    /// control client started; each failure there is logged and passed
    /// over. False, with the network untouched, when the file cannot be
    /// saved; true once the restart has run. Throws AugeasException when
    /// libaugeas cannot start.
    bool setNetworkInterface(const NetworkInterface& networkInterface);

private:
    std::unique_ptr<Augeas> openInterfaces();
    /// The entry's 1-based index among the iface nodes; their count + 1
    /// when the file has none for the interface.
    unsigned findEntry(Augeas& augeas);
    void createEntry(Augeas& augeas, const std::string& entry, unsigned index, const std::string& method);
    void writeFields(Augeas& augeas, const std::string& entry, const NetworkInterface& networkInterface);
    /// Restarts the network on the interface's new method; a DHCP client
    /// still running is stopped unless the method is dhcp.
    void restartNetwork(const std::string& method);
    void runStep(const std::string& program, const std::vector<std::string>& args, const std::string& verb,
                 const std::string& doing);

    Poco::Logger& _logger;
    Params _params;
    Augeas::Params _augeasParams;
    std::shared_ptr<WPAControlInterface> _wpa;
    std::shared_ptr<Udhcpc> _udhcpc;
    std::shared_ptr<ConnectionMonitor> _monitor;
    std::mutex _mutex;
};

} // namespace system
} // namespace pemo
