#pragma once

// The device shared by the device-policy tests (firewall, log rotation):
// the real iptables, ip6tables and logrotate in the device's own network
// and mount namespaces, and the firewall modes those tests need.

#include "SharedDevice.h"

namespace pemo::test {

SimDevice& policyDevice();
ApiClient policyApi();

} // namespace pemo::test
