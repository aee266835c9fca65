#include "SharedDevice.h"

#include <gtest/gtest.h>

#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace pemo::test {

namespace {

std::unique_ptr<SimDevice> device;
std::string startError;

class SharedDeviceEnvironment : public ::testing::Environment
{
public:
    void TearDown() override
    {
        if (!device || !device->running())
            return;
        const int status = device->stop();
        EXPECT_EQ(status, 0) << "the shared device did not stop cleanly";
    }
};

// Registered before main() runs the tests, as gtest requires.
[[maybe_unused]] const auto* const environment = ::testing::AddGlobalTestEnvironment(new SharedDeviceEnvironment);

// The device's supervised services are launched in the first seconds after
// its API answers, and each launch reads the operating mode; tests that count
// platform-program calls must start only once every service is running.
void waitForSupervisedServices(const SimDevice& device)
{
    const ApiClient api(device.port(), device.token());
    const auto allRunning = [&] {
        const HttpResponse list = api.get("/service/list");
        bool running = list.status == 200;
        if (running)
        {
            const auto services = parseObject(list.body)->getArray("services");
            for (std::size_t i = 0; i < services->size(); ++i)
                running = running && services->getObject(static_cast<unsigned>(i))->getValue<bool>("running");
        }
        return running;
    };
    if (!eventually(allRunning, std::chrono::seconds(30)))
        throw std::runtime_error("the shared device's supervised services did not all start within 30 s");
}

} // namespace

SimDevice& sharedDevice(const SimOptions& options)
{
    if (!startError.empty())
        throw std::runtime_error("the shared device could not be started (see the first failure): " +
                                 startError.substr(0, 200));
    if (!device)
    {
        device = std::make_unique<SimDevice>(options);
        try
        {
            device->start();
            waitForSupervisedServices(*device);
        }
        catch (const std::exception& e)
        {
            startError = e.what();
            throw;
        }
    }
    return *device;
}

ApiClient sharedApi() { return ApiClient(sharedDevice().port(), sharedDevice().token()); }

std::unique_ptr<WebSocketSubscriber> subscribe(const SimDevice& device, const std::string& path)
{
    int status = 0;
    auto subscriber = WebSocketSubscriber::connect(device.port(), path, device.token(), status);
    EXPECT_TRUE(subscriber) << path << ": the handshake answered " << status;
    return subscriber;
}

Poco::JSON::Object::Ptr parseObject(const std::string& text)
{
    return Poco::JSON::Parser().parse(text).extract<Poco::JSON::Object::Ptr>();
}

std::size_t occurrences(const std::string& text, const std::string& what)
{
    std::size_t n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

std::vector<std::string> logLines(const SimDevice& device, const std::string& text)
{
    std::istringstream log(device.readStateFile("log/system-manager.log"));
    std::vector<std::string> found;
    for (std::string line; std::getline(log, line);)
        if (line.find(text) != std::string::npos)
            found.push_back(line);
    return found;
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

} // namespace pemo::test
