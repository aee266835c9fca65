#include "WifiCommand.h"

#include "ClientError.h"
#include "Json.h"
#include "PortListener.h"

#include <Poco/Net/IPAddress.h>

#include <CLI/CLI.hpp>

#include <algorithm>

namespace pemo {
namespace client {

namespace {

// An IPv4 address in dotted form, or a usage error naming the option.
std::string ipv4(const std::string& option, const std::string& text)
{
    Poco::Net::IPAddress address;
    if (!Poco::Net::IPAddress::tryParse(text, address) || address.family() != Poco::Net::IPAddress::IPv4 ||
        std::count(text.begin(), text.end(), '.') != 3)
        throw UsageError(option + ": not an IPv4 address: " + text);
    return address.toString();
}

// The netmask of a prefix length, "255.255.255.0" for 24.
std::string netmaskOf(const std::string& prefix)
{
    if (prefix.empty() || prefix.size() > 2 || prefix.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(prefix) > 32)
        throw UsageError("--static: not a prefix length: /" + prefix);
    return Poco::Net::IPAddress(static_cast<unsigned>(std::stoi(prefix)), Poco::Net::IPAddress::IPv4).toString();
}

} // namespace

void WifiCommand::define(CLI::App& app)
{
    CLI::App* wifi = app.add_subcommand("wifi", "The wireless interface, wpa_supplicant and its events");
    wifi->require_subcommand(1);

    CLI::App* interface = wifi->add_subcommand("interface", "Show the wireless interface's addressing, or set it");
    interface->require_subcommand(0, 1);
    CLI::App* set = interface->add_subcommand("set", "Switch to DHCP or to a static address, then restart the interface");
    CLI::Option* dhcp = set->add_flag("--dhcp", _dhcp, "get the address by DHCP");
    CLI::Option* address =
        set->add_option("--static", _address, "a static address, with its prefix length or with --netmask")
            ->type_name("ADDRESS[/PREFIX]");
    dhcp->excludes(address);
    set->add_option("--netmask", _netmask, "the static address's netmask")->needs(address)->type_name("NETMASK");
    set->add_option("--gateway", _gateway, "the default gateway")->needs(address)->type_name("ADDRESS");
    set->add_option("--dns", _dns, "a name server (repeat for more)")->needs(address)->type_name("ADDRESS");
    set->add_option("--network", _network, "the network address")->needs(address)->type_name("ADDRESS");
    set->add_option("--broadcast", _broadcast, "the broadcast address")->needs(address)->type_name("ADDRESS");
    set->callback([this] { setInterface(); });
    interface->callback([this, set] {
        if (!set->parsed())
            showInterface();
    });

    CLI::App* wpa = wifi->add_subcommand("wpa", "Send one control command to wpa_supplicant and print its reply");
    wpa->add_option("COMMAND", _command, "the command and its arguments, such as STATUS or SCAN_RESULTS")->required();
    wpa->callback([this] { this->wpa(); });

    CLI::App* messages = wifi->add_subcommand("messages", "Print wpa_supplicant's next event (all with --follow)");
    messages->add_flag("--follow,-f", _follow, "keep printing events as they come, until interrupted");
    messages->add_option("--wait", _wait, "without --follow: give up after SECONDS (exit 1)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1u, 86400u));
    messages->callback([this] { this->messages(); });
}

void WifiCommand::showInterface()
{
    const Answer answer = _context.client().expect("GET", "/wifi/interface");
    _context.present(answer, "GET /wifi/interface", [this](const Poco::JSON::Object::Ptr& object) {
        const auto interface = object->getObject("interface");
        _context.out() << "   Method: " << Json::text(interface, "method") << '\n';
        for (const auto& [label, name] : {std::pair{"  Address", "address"}, std::pair{"  Netmask", "netmask"},
                                          std::pair{"  Network", "network"}, std::pair{"Broadcast", "broadcast"},
                                          std::pair{"  Gateway", "gateway"}, std::pair{"      DNS", "dns"}})
        {
            const std::string value = Json::text(interface, name);
            if (!value.empty())
                _context.out() << label << ": " << value << '\n';
        }
    });
}

void WifiCommand::setInterface()
{
    if (!_dhcp && _address.empty())
        throw UsageError("wifi interface set: give --dhcp or --static ADDRESS");
    std::string address;
    std::string netmask;
    std::string dns;
    if (!_dhcp)
    {
        const auto slash = _address.find('/');
        address = ipv4("--static", _address.substr(0, slash));
        if (slash != std::string::npos)
            netmask = netmaskOf(_address.substr(slash + 1));
        if (!_netmask.empty())
            netmask = ipv4("--netmask", _netmask);
        if (netmask.empty())
            throw UsageError("--static needs a netmask: ADDRESS/PREFIX or --netmask");
        for (const auto& server : _dns)
            dns += (dns.empty() ? "" : " ") + ipv4("--dns", server);
    }
    Poco::JSON::Object::Ptr interface = new Poco::JSON::Object(Poco::JSON_PRESERVE_KEY_ORDER);
    interface->set("method", _dhcp ? "dhcp" : "static");
    interface->set("address", address);
    interface->set("network", _network.empty() ? "" : ipv4("--network", _network));
    interface->set("netmask", netmask);
    interface->set("broadcast", _broadcast.empty() ? "" : ipv4("--broadcast", _broadcast));
    interface->set("gateway", _gateway.empty() ? "" : ipv4("--gateway", _gateway));
    interface->set("dns", dns);
    const std::string body = Json::build({{"interface", interface}});
    const Answer answer = _context.longCall("POST", "/wifi/interface", body, "Restarting the wireless interface");
    if (_context.json)
        _context.printBody(answer);
}

void WifiCommand::wpa()
{
    std::string command;
    for (const auto& word : _command)
        command += (command.empty() ? "" : " ") + word;
    const Answer answer = _context.client().expect("POST", "/wifi/wpa", Json::build({{"command", command}}));
    _context.present(answer, "POST /wifi/wpa", [this](const Poco::JSON::Object::Ptr& object) {
        const std::string reply = Json::text(object, "response");
        _context.out() << reply << (reply.empty() || reply.back() != '\n' ? "\n" : "");
    });
}

void WifiCommand::messages()
{
    PortListener listener(_context.resolved(), "/wifi/messages");
    listener.listen(_follow, _follow ? std::nullopt : _wait, [this](const std::string& frame) {
        const auto object = Json::tryObject(frame);
        if (_context.json || !object)
            _context.out() << Json::oneLine(frame) << std::endl;
        else
            _context.out() << Json::text(object, "message") << std::endl;
    });
}

} // namespace client
} // namespace pemo
