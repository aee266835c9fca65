#pragma once

// The device shared by the device-policy tests (firewall, log rotation):
// its filter and logrotate programs are fakes that fail on request, and its
// firewall configuration has the modes those tests need.

#include "SharedDevice.h"

namespace pemo::test {

SimDevice& policyDevice();
ApiClient policyApi();

} // namespace pemo::test
