#pragma once

// One simulated device shared by the device-policy tests (firewall, log
// rotation, version, identity). Its filter, logrotate and version programs
// are fakes that fail on request, and its firewall configuration has the
// modes those tests need.

#include "Http.h"
#include "SimDevice.h"

#include <string>

namespace pemo::test {

// Started on first use, stopped when the test program ends. Throws (and
// keeps throwing) when it cannot be started.
SimDevice& policyDevice();
ApiClient policyApi();

// The system manager's log so far.
std::string systemManagerLog();

} // namespace pemo::test
