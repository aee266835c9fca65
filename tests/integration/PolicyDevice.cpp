#include "PolicyDevice.h"

#include <Poco/JSON/Array.h>

namespace pemo::test {
namespace {

// A fault switch is a file under the state directory's platform/ that the
// fake reads on every call, so a test flips it without restarting the device.
const char* const IPTABLES = R"SH(#!/bin/bash
. /usr/lib/pemo-sim/fake.sh
if [ "$(cat "$PEMO_SIM/platform/iptables-fault" 2>/dev/null)" = flush ] && [ "$3" = -F ]; then
  echo "iptables: No chain/target/match by that name."
  exit 1
fi
)SH";

// Like the real one, the IPv6 filter knows no protocol "icmp".
const char* const IP6TABLES = R"SH(#!/bin/bash
. /usr/lib/pemo-sim/fake.sh
for a in "$@"; do
  if [ "$a" = icmp ]; then
    echo "ip6tables v1.8.9 (legacy): unknown protocol \"icmp\" specified" >&2
    exit 2
  fi
done
)SH";

const char* const LOGROTATE = R"SH(#!/bin/bash
. /usr/lib/pemo-sim/fake.sh
exit "$(cat "$PEMO_SIM/platform/logrotate-status" 2>/dev/null || echo 0)"
)SH";

Poco::JSON::Array::Ptr rules(std::initializer_list<const char*> items)
{
    Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
    for (const char* item : items)
        array->add(std::string(item));
    return array;
}

// The firewall modes of the tests: "developer" (two rules), "ping" (its
// second rule is IPv4-only) and "quiet" (no rules at all).
void firewallModes(Poco::JSON::Object& config)
{
    Poco::JSON::Object::Ptr modes = new Poco::JSON::Object;
    modes->set("developer", rules({"-p tcp --dport 22 -j ACCEPT", "-p tcp --dport 8080 -j ACCEPT"}));
    modes->set("ping", rules({"-p tcp --dport 22 -j ACCEPT", "-p icmp -j ACCEPT"}));
    modes->set("quiet", rules({}));
    Poco::JSON::Object::Ptr firewall = new Poco::JSON::Object;
    firewall->set("mode_commands", modes);
    config.getObject("SystemManager")->set("firewall", firewall);
}

} // namespace

SimDevice& policyDevice()
{
    SimOptions options;
    options.overlays = {
        {{"usr/sbin/iptables", IPTABLES}, {"usr/sbin/ip6tables", IP6TABLES}, {"usr/sbin/logrotate", LOGROTATE}}};
    options.config = firewallModes;
    return sharedDevice(options);
}

ApiClient policyApi() { return ApiClient(policyDevice().port(), policyDevice().token()); }

} // namespace pemo::test
