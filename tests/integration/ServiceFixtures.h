#pragma once

// Devices whose system manager supervises small test programs: shell
// scripts placed in the device by an overlay, and recording services that
// register themselves and store each request they receive.

#include "Http.h"
#include "SimDevice.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pemo::test {

// Where the build directory appears inside the device.
inline const std::string DEVICE_BIN = "/run/pemo-sim-build/bin/";

// One "services[i]" entry as JSON text.
std::string scriptService(const std::string& name, int order, const std::string& extra = "");
std::string recorderService(const std::string& name, int order, int port, const std::vector<std::string>& names,
                            bool silent = false);

// Starts a device whose service list is services and whose overlay holds
// scripts (name to shell body, installed as /usr/lib/pemo-test/NAME).
std::unique_ptr<SimDevice> startDevice(const std::vector<std::string>& services,
                                       const std::vector<std::pair<std::string, std::string>>& scripts,
                                       TempDir& overlay, TempDir& configDir, int connectionTimeoutMs = 5000);

// The requests a recorder stored, oldest first, as raw HTTP text.
std::vector<std::string> recordedRequests(const SimDevice& device, const std::string& recorder);

// The body of a raw HTTP request.
std::string bodyOf(const std::string& request);

std::string systemLog(const SimDevice& device);
int occurrences(const std::string& text, const std::string& what);

// Polls until done() or the time is up; returns done()'s last answer.
bool eventually(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(10));

// A test suite whose tests share one device supervising test programs: the
// suite's SetUpTestSuite calls startShared(), the base stops the device.
class SharedServiceDeviceTest : public ::testing::Test
{
protected:
    static void startShared(const std::vector<std::string>& services,
                            const std::vector<std::pair<std::string, std::string>>& scripts = {},
                            int connectionTimeoutMs = 5000);
    static void TearDownTestSuite();
    static ApiClient api();

    static SimDevice* device;
    static TempDir* overlay;
    static TempDir* configDir;
};

} // namespace pemo::test
