#include "ServiceFixtures.h"

#include <Poco/File.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <Poco/Path.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <thread>

namespace pemo::test {

std::string scriptService(const std::string& name, int order, const std::string& extra)
{
    return R"({"name": ")" + name + R"(", "order": )" + std::to_string(order) +
           R"(, "executable": "/usr/lib/pemo-test/)" + name + R"(", "modes": {"default": {"enabled": true}})" + extra +
           "}";
}

std::string recorderService(const std::string& name, int order, int port, const std::vector<std::string>& names,
                            bool silent)
{
    std::string args = R"("--port", ")" + std::to_string(port) + R"(", "--dir", "/run/pemo-sim/recorded/)" + name + "\"";
    for (const auto& n : names)
        args += R"(, "--name", ")" + n + "\"";
    if (silent)
        args += R"(, "--silent")";
    return R"({"name": ")" + name + R"(", "order": )" + std::to_string(order) + R"(, "executable": ")" + DEVICE_BIN +
           R"(pemo-test-recorder", "modes": {"default": {"arguments": [)" + args + R"(], "enabled": true}}})";
}

std::unique_ptr<SimDevice> startDevice(const std::vector<std::string>& services,
                                       const std::vector<std::pair<std::string, std::string>>& scripts,
                                       TempDir& overlay, TempDir& configDir, int connectionTimeoutMs)
{
    for (const auto& script : scripts)
        overlay.write("usr/lib/pemo-test/" + script.first, "#!/bin/sh\n" + script.second + "\n", 0755);
    std::ifstream in(sourceDir() + "/config/device.json");
    auto config = Poco::JSON::Parser().parse(in).extract<Poco::JSON::Object::Ptr>();
    std::string list = "[";
    for (const auto& service : services)
        list += (list.size() > 1 ? "," : "") + service;
    list += "]";
    auto service = config->getObject("SystemManager")->getObject("service");
    service->set("services", Poco::JSON::Parser().parse(list));
    service->set("connection_timeout", connectionTimeoutMs);
    const std::string path = configDir.path() + "/device.json";
    {
        std::ofstream out(path);
        config->stringify(out, 2);
    }
    SimOptions options;
    options.config = path;
    options.overlays = {overlay.path()};
    auto device = std::make_unique<SimDevice>(options);
    device->start();
    return device;
}

std::vector<std::string> recordedRequests(const SimDevice& device, const std::string& recorder)
{
    std::vector<std::string> requests;
    for (int i = 1;; ++i)
    {
        const std::string path = device.statePath("recorded/" + recorder + "/request-" + std::to_string(i) + ".http");
        if (!Poco::File(path).exists())
            break;
        requests.push_back(device.readStateFile("recorded/" + recorder + "/request-" + std::to_string(i) + ".http"));
    }
    return requests;
}

std::string bodyOf(const std::string& request)
{
    const auto end = request.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : request.substr(end + 4);
}

std::string systemLog(const SimDevice& device)
{
    return device.readStateFile("log/system-manager.log");
}

int occurrences(const std::string& text, const std::string& what)
{
    int count = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++count;
    return count;
}

bool eventually(const std::function<bool()>& done, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return done();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

SimDevice* SharedServiceDeviceTest::device = nullptr;
TempDir* SharedServiceDeviceTest::overlay = nullptr;
TempDir* SharedServiceDeviceTest::configDir = nullptr;

void SharedServiceDeviceTest::startShared(const std::vector<std::string>& services,
                                          const std::vector<std::pair<std::string, std::string>>& scripts,
                                          int connectionTimeoutMs)
{
    overlay = new TempDir;
    configDir = new TempDir;
    device = startDevice(services, scripts, *overlay, *configDir, connectionTimeoutMs).release();
}

void SharedServiceDeviceTest::TearDownTestSuite()
{
    EXPECT_EQ(device->stop(), 0);
    delete device;
    delete overlay;
    delete configDir;
    device = nullptr;
    overlay = configDir = nullptr;
}

ApiClient SharedServiceDeviceTest::api()
{
    return ApiClient(device->port(), device->token());
}

} // namespace pemo::test
