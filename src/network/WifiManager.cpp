#include "network/WifiManager.h"

#include "network/Udhcpc.h"

#include "common/SystemUtil.h"

#include <Poco/Exception.h>
#include <Poco/Thread.h>

#include <exception>
#include <utility>
#include <vector>

namespace pemo {
namespace system {

namespace {

const std::string INTERFACES("/files/etc/network/interfaces");
const std::string DHCP_OPTIONS("-R -b -t 3 -T 5 -A 5");
// The stanza's commands name wlan0 whatever the interface: the device's
// wpa_supplicant configuration is written for it.
const std::string POST_UP("wpa_supplicant -B -i wlan0 -c /var/etc/wpa_supplicant.conf");
const std::string PRE_DOWN("wpa_cli -i wlan0 terminate");
// How long a DHCP client started at a connection event gets to settle.
const long UDHCPC_SETTLE_MS = 5000;

} // namespace

WifiManager::Params::Params(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
{
    if (config.isNull())
        return;
    interface = config->getString("wpa.interface", interface);
    ifdown = config->getString("ifdown", ifdown);
    ifup = config->getString("ifup", ifup);
}

WifiManager::WifiManager(const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
    : _logger(Poco::Logger::get("SystemManager.WifiManager")), _params(config),
      _augeasParams(config.isNull() ? Poco::AutoPtr<Poco::Util::AbstractConfiguration>()
                                    : config->createView("augeas")),
      _wpa(std::make_shared<WPAControlInterface>(config.isNull() ? Poco::AutoPtr<Poco::Util::AbstractConfiguration>()
                                                                 : config->createView("wpa"))),
      _udhcpc(std::make_shared<Udhcpc>(config.isNull() ? Poco::AutoPtr<Poco::Util::AbstractConfiguration>()
                                                       : config->createView("udhcpc"))),
      _monitor(std::make_shared<ConnectionMonitor>(_udhcpc))
{
    // Only the interfaces file is parsed, with its own lens.
    _augeasParams.no_load = true;
    _augeasParams.no_modl_autoload = true;
    _wpa->registerMonitor(_monitor);
    _monitor->setMethod(getNetworkInterface().method);
}

WifiManager::~WifiManager()
{
    _wpa->unregisterMonitor(_monitor);
}

void WifiManager::start()
{
    _wpa->start();
}

void WifiManager::stop()
{
    _wpa->stop();
}

bool WifiManager::request(const std::string& command, std::string& reply)
{
    return _wpa->request(command, reply);
}

void WifiManager::registerMonitor(std::shared_ptr<WPAControlInterface::Monitor> monitor)
{
    _wpa->registerMonitor(std::move(monitor));
}

void WifiManager::unregisterMonitor(std::shared_ptr<WPAControlInterface::Monitor> monitor)
{
    _wpa->unregisterMonitor(std::move(monitor));
}

std::unique_ptr<Augeas> WifiManager::openInterfaces()
{
    auto augeas = std::make_unique<Augeas>(_augeasParams);
    augeas->set("/augeas/load/Interfaces/lens", "Interfaces.lns");
    augeas->set("/augeas/load/Interfaces/incl", "/etc/network/interfaces");
    augeas->load();
    return augeas;
}

unsigned WifiManager::findEntry(Augeas& augeas)
{
    std::vector<std::string> entries;
    augeas.match(INTERFACES + "/iface", entries);
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        std::string name;
        augeas.get(entries[i], name);
        if (name == _params.interface)
            return static_cast<unsigned>(i + 1);
    }
    return static_cast<unsigned>(entries.size() + 1);
}

NetworkInterface WifiManager::getNetworkInterface()
{
    std::lock_guard<std::mutex> lock(_mutex);
    auto augeas = openInterfaces();
    const std::string entry = INTERFACES + "/iface[" + std::to_string(findEntry(*augeas)) + "]";
    NetworkInterface result;
    augeas->get(entry + "/method", result.method);
    augeas->get(entry + "/address", result.address);
    augeas->get(entry + "/network", result.network);
    augeas->get(entry + "/netmask", result.netmask);
    augeas->get(entry + "/broadcast", result.broadcast);
    augeas->get(entry + "/gateway", result.gateway);
    augeas->get(entry + "/dns-nameservers", result.dns);
    return result;
}

bool WifiManager::setNetworkInterface(const NetworkInterface& networkInterface)
{
    std::lock_guard<std::mutex> lock(_mutex);
    auto augeas = openInterfaces();
    std::vector<std::string> entries;
    const unsigned absent = static_cast<unsigned>(augeas->match(INTERFACES + "/iface", entries) + 1);
    const unsigned index = findEntry(*augeas);
    const std::string entry = INTERFACES + "/iface[" + std::to_string(index) + "]";
    if (index == absent)
        createEntry(*augeas, entry, index, networkInterface.method);

    if (networkInterface.method == "dhcp")
        augeas->set(entry + "/udhcpc_opts", DHCP_OPTIONS);
    else
        augeas->rm(entry + "/udhcpc_opts");
    augeas->set(entry + "/method", networkInterface.method);
    _monitor->setMethod(networkInterface.method);
    writeFields(*augeas, entry, networkInterface);

    if (augeas->save() != 0)
    {
        _logger.error("Could not save settings: Error(" + std::to_string(augeas->error()) + ") " +
                      augeas->error_message() + ": " + augeas->error_minor_message() + ": " +
                      augeas->error_details() + "; the network is left as it was");
        return false;
    }
    restartNetwork(networkInterface.method);
    return true;
}

void WifiManager::createEntry(Augeas& augeas, const std::string& entry, unsigned index, const std::string& method)
{
    const std::string& name = _params.interface;
    _logger.information("WifiManager::setNetworkInterface Creating a new network interface entry for " + name);
    augeas.set(INTERFACES + "/auto[" + std::to_string(index) + "]/1", name);
    augeas.set(entry, name);
    augeas.set(entry + "/family", "inet");
    augeas.set(entry + "/method", method);
    augeas.set(entry + "/post-up", POST_UP);
    augeas.set(entry + "/pre-down", PRE_DOWN);
}

void WifiManager::writeFields(Augeas& augeas, const std::string& entry, const NetworkInterface& networkInterface)
{
    // An empty field removes the line: a switch to dhcp clears the old
    // static settings.
    const std::pair<const char*, const std::string*> fields[] = {
        {"/address", &networkInterface.address},     {"/network", &networkInterface.network},
        {"/netmask", &networkInterface.netmask},     {"/broadcast", &networkInterface.broadcast},
        {"/gateway", &networkInterface.gateway},     {"/dns-nameservers", &networkInterface.dns}};
    for (const auto& field : fields)
    {
        if (field.second->empty())
            augeas.rm(entry + field.first);
        else
            augeas.set(entry + field.first, *field.second);
    }
}

void WifiManager::restartNetwork(const std::string& method)
{
    const std::string prefix("WifiManager::setNetworkInterface ");
    const std::string& name = _params.interface;
    _logger.information(prefix + "Stopping wpa supplicant connection");
    try
    {
        _wpa->stop();
    }
    catch (const std::exception& e)
    {
        _logger.error("Failed to stop wpa supplicant: " + describe(e) + "; restarting the interface all the same");
    }
    _logger.information(prefix + "Bringing down network interface " + name);
    runStep(_params.ifdown, {"-f", name}, "bring down", "bringing down");
    // ifdown read the new stanza, whose method stops no DHCP client: the one
    // the old dhcp stanza started would renew its lease over the new address.
    if (method != "dhcp")
    {
        _logger.information(prefix + "Stopping the DHCP client of " + name + ", which its " + method +
                            " method does not use");
        _udhcpc->stop();
    }
    _logger.information(prefix + "Bringing up network interface " + name);
    runStep(_params.ifup, {name}, "bring up", "bringing up");
    _logger.information(prefix + "Starting wpa supplicant connection");
    try
    {
        _wpa->start();
    }
    catch (const std::exception& e)
    {
        _logger.error("Failed to start wpa supplicant: " + describe(e));
    }
}

void WifiManager::runStep(const std::string& program, const std::vector<std::string>& args, const std::string& verb,
                          const std::string& doing)
{
    const std::string& name = _params.interface;
    try
    {
        const ProgramResult result = runProgram(program, args, ProgramOutput::STDOUT_STDERR);
        if (!result.succeeded())
            _logger.error("Failed to " + verb + " network interface " + name + " (" + program + " exit status " +
                          std::to_string(result.exitCode) + "): " + result.output + "; going on");
    }
    catch (const std::exception& e)
    {
        _logger.error("Error while " + doing + " network interface " + name + ": " + describe(e) + "; going on");
    }
}

WifiManager::ConnectionMonitor::ConnectionMonitor(std::shared_ptr<Udhcpc> udhcpc)
    : _logger(Poco::Logger::get("SystemManager.WifiManager.ConnectionMonitor")), _udhcpc(std::move(udhcpc)),
      _regex("^<(\\d)>(\\S+\\s)(.*)$")
{
}

void WifiManager::ConnectionMonitor::setMethod(const std::string& method)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _method = method;
}

void WifiManager::ConnectionMonitor::onMessage(const std::string& message)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _logger.trace("ConnectionMonitor::onMessage: " + message);
    try
    {
        std::vector<std::string> groups;
        if (_regex.split(message, groups) == 0)
            return;
        poco_assert(groups.size() == 4);
        _logger.debug("ConnectionMonitor::onMessage level(" + groups[1] + ") event(" + groups[2] + ") content: " +
                      groups[3]);
        if (groups[2] == "CTRL-EVENT-CONNECTED ")
            onConnected();
    }
    catch (const Poco::RegularExpressionException& e)
    {
        _logger.debug("ConnectionMonitor::onMessage regex exception: " + e.displayText());
    }
    catch (const std::exception& e)
    {
        // The DHCP client could not be started or looked up; the next
        // connection event tries again.
        _logger.error("ConnectionMonitor::onMessage " + describe(e) + "; waiting for the next connection event");
    }
}

void WifiManager::ConnectionMonitor::onConnected()
{
    if (_method == "static")
    {
        _logger.trace("connection event with static IP");
        return;
    }
    if (_method != "dhcp")
        return;
    _logger.trace("connection event with dynamic IP, kicking udhcpc");
    if (!_udhcpc->isRunning())
    {
        _udhcpc->start();
        // Deliberately on the event thread: the client settles before it is
        // asked to renew.
        Poco::Thread::sleep(UDHCPC_SETTLE_MS);
    }
    if (!_udhcpc->isRunning())
        return;
    if (_udhcpc->renew())
        _logger.trace("signaled udhcpc");
    else
        _logger.error("failed to signal udhcpc");
}

} // namespace system
} // namespace pemo
