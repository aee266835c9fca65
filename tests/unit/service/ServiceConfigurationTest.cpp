#include "FakeServices.h"
#include "ScratchDir.h"

#include "service/ServiceManager.h"
#include "service/ServiceManagerServiceImpl.h"

#include <Poco/Exception.h>
#include <Poco/Util/MapConfiguration.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace pemo {
namespace system {
namespace {

using pemo::test::jsonConfig;
using ServiceImpl = ServiceManager::ServiceImpl;

std::vector<std::string> namesOf(const ServiceManager::Service::Vector& services)
{
    std::vector<std::string> names;
    for (const auto& service : services)
        names.push_back(service.name);
    return names;
}

ServiceImpl serviceFrom(const std::string& json)
{
    return ServiceImpl(jsonConfig(json).get());
}

TEST(ServiceConfigurationTest, ServicesStartInAscendingOrderUnorderedLastAndTheListEndsAtTheFirstGap)
{
    pemo::ServiceRegistryClient registry;
    // A flat (properties) configuration, where what follows a gap in the
    // numbering can exist but is not a service.
    Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
    const std::vector<std::pair<std::string, std::string>> entries{
        {"late", "9"}, {"unordered", ""}, {"early", "1"}, {"", ""}, {"beyond-gap", "0"}};
    for (std::size_t i = 0; i < entries.size(); ++i)
    {
        const std::string prefix = "services[" + std::to_string(i) + "].";
        if (entries[i].first.empty())
            continue;
        config->setString(prefix + "name", entries[i].first);
        config->setString(prefix + "executable", "/bin/true");
        if (!entries[i].second.empty())
            config->setString(prefix + "order", entries[i].second);
    }
    ServiceManager manager(config, registry);

    const auto services = manager.getServices();
    EXPECT_EQ(namesOf(services), (std::vector<std::string>{"early", "late", "unordered"}));
    for (const auto& service : services)
    {
        EXPECT_TRUE(service.enabled) << service.name;
        EXPECT_FALSE(service.running) << service.name;
    }
}

// Sorting with a comparator that is not a strict weak ordering is undefined
// once more than 16 services share an order, and libstdc++ then runs past
// the end of the list.
TEST(ServiceConfigurationTest, FortyServicesWithoutOrderAreAllKept)
{
    pemo::ServiceRegistryClient registry;
    Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
    std::vector<std::string> configured;
    for (int i = 0; i < 40; ++i)
    {
        configured.push_back("svc" + std::to_string(i));
        config->setString("services[" + std::to_string(i) + "].name", configured.back());
        config->setString("services[" + std::to_string(i) + "].executable", "/bin/true");
    }
    ServiceManager manager(config, registry);

    std::vector<std::string> names = namesOf(manager.getServices());
    std::sort(names.begin(), names.end());
    std::sort(configured.begin(), configured.end());
    EXPECT_EQ(names, configured);
}

TEST(ServiceConfigurationTest, RequiredKeysAndMalformedNumbersFailConstructionButNoServicesIsFine)
{
    pemo::ServiceRegistryClient registry;
    EXPECT_TRUE(ServiceManager(jsonConfig("{}"), registry).getServices().empty());
    EXPECT_THROW(ServiceManager(jsonConfig(R"({"services": [{"executable": "/bin/true"}]})"), registry),
                 Poco::NotFoundException);
    EXPECT_THROW(ServiceManager(jsonConfig(R"({"services": [{"name": "x"}]})"), registry), Poco::NotFoundException);
    EXPECT_THROW(ServiceManager(jsonConfig(R"({"services": [{"name": "x", "executable": "/bin/true",
                                             "order": "soon"}]})"), registry),
                 Poco::SyntaxException);
}

TEST(ServiceConfigurationTest, ModeReadsArgumentsUpToTheGapEnvironmentAndDirectory)
{
    auto config = jsonConfig(R"({"name": "svc", "executable": "/bin/true", "modes": {"default": {
        "arguments": ["--one", "--two"], "environment": {"A": "1", "B": "two"},
        "directory": "/tmp", "enabled": true}}})");
    config->setString("modes.default.arguments[3]", "--after-gap");
    const ServiceImpl service(config.get());

    const ServiceImpl::Mode mode = service.getMode();
    EXPECT_EQ(mode.arguments, (ServiceImpl::Mode::Args{"--one", "--two"}));
    EXPECT_EQ(mode.env, (ServiceImpl::Mode::Env{{"A", "1"}, {"B", "two"}}));
    EXPECT_EQ(mode.directory, "/tmp");
    EXPECT_TRUE(mode.enabled);
}

// A mode that does not say "enabled" is disabled; the device's mode comes
// from the mode program on PATH, and its entry wins over "default"; without
// either there is nothing to launch.
TEST(ServiceConfigurationTest, ModeEntryIsTheDevicesThenDefaultThenNoneAndEnabledOnlyWhenSaid)
{
    test::ScratchDir dir;
    dir.script("pemo-getmode", "echo developer");
    test::PathPrefix prefix(dir.path());

    EXPECT_EQ(serviceFrom(R"({"name": "svc", "executable": "/bin/true", "modes": {
        "default": {"arguments": ["normal"], "enabled": true},
        "developer": {"arguments": ["dev"], "enabled": true}}})").getMode().arguments,
              (ServiceImpl::Mode::Args{"dev"}));
    EXPECT_FALSE(serviceFrom(R"({"name": "svc", "executable": "/bin/true",
        "modes": {"default": {"arguments": ["x"]}}})").getMode().enabled);

    const ServiceImpl service = serviceFrom(R"({"name": "svc", "executable": "/bin/true",
        "modes": {"factory": {"enabled": true}}})");
    try
    {
        service.getMode();
        FAIL() << "expected ServiceManagerException";
    }
    catch (const ServiceManagerException& e)
    {
        EXPECT_STREQ(e.what(), "Invalid launch configuration for svc");
    }
}

} // namespace
} // namespace system
} // namespace pemo
