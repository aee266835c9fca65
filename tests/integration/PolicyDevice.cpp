#include "PolicyDevice.h"

#include <Poco/JSON/Array.h>

namespace pemo::test {
namespace {

Poco::JSON::Array::Ptr rules(std::initializer_list<const char*> items)
{
    Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
    for (const char* item : items)
        array->add(std::string(item));
    return array;
}

// The firewall modes of the tests: "developer" (two rules), "lan" (its
// second rule names an IPv4 network, which ip6tables refuses) and "quiet"
// (no rules at all).
void firewallModes(Poco::JSON::Object& config)
{
    Poco::JSON::Object::Ptr modes = new Poco::JSON::Object;
    modes->set("developer", rules({"-p tcp --dport 22 -j ACCEPT", "-p tcp --dport 8080 -j ACCEPT"}));
    modes->set("lan", rules({"-p tcp --dport 22 -j ACCEPT", "-s 192.168.0.0/16 -j ACCEPT"}));
    modes->set("quiet", rules({}));
    Poco::JSON::Object::Ptr firewall = new Poco::JSON::Object;
    firewall->set("mode_commands", modes);
    config.getObject("SystemManager")->set("firewall", firewall);
}

} // namespace

SimDevice& policyDevice()
{
    SimOptions options;
    options.config = firewallModes;
    return sharedDevice(options);
}

ApiClient policyApi() { return ApiClient(policyDevice().port(), policyDevice().token()); }

} // namespace pemo::test
