#include "PolicyDevice.h"

#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

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

const char* const VERSION = R"SH(#!/bin/bash
. /usr/lib/pemo-sim/fake.sh
cat "$PEMO_SIM/platform/os-version" 2>/dev/null || echo "Pemo Release Version: Release-1.0.0-sim"
exit "$(cat "$PEMO_SIM/platform/version-status" 2>/dev/null || echo 0)"
)SH";

Poco::JSON::Array::Ptr rules(std::initializer_list<const char*> items)
{
    Poco::JSON::Array::Ptr array = new Poco::JSON::Array;
    for (const char* item : items)
        array->add(std::string(item));
    return array;
}

// The default device configuration with the firewall modes of the tests:
// "developer" (two rules), "ping" (its second rule is IPv4-only) and
// "quiet" (no rules at all).
void writeConfig(const std::string& path)
{
    std::ifstream in(sourceDir() + "/config/device.json");
    Poco::JSON::Parser parser;
    auto root = parser.parse(in).extract<Poco::JSON::Object::Ptr>();
    Poco::JSON::Object::Ptr modes = new Poco::JSON::Object;
    modes->set("developer", rules({"-p tcp --dport 22 -j ACCEPT", "-p tcp --dport 8080 -j ACCEPT"}));
    modes->set("ping", rules({"-p tcp --dport 22 -j ACCEPT", "-p icmp -j ACCEPT"}));
    modes->set("quiet", rules({}));
    Poco::JSON::Object::Ptr firewall = new Poco::JSON::Object;
    firewall->set("mode_commands", modes);
    root->getObject("SystemManager")->set("firewall", firewall);
    std::ofstream out(path);
    root->stringify(out, 4);
}

struct PolicyDevice
{
    PolicyDevice()
    {
        overlay.write("usr/sbin/iptables", IPTABLES, 0755);
        overlay.write("usr/sbin/ip6tables", IP6TABLES, 0755);
        overlay.write("usr/sbin/logrotate", LOGROTATE, 0755);
        overlay.write("usr/bin/pemo-version", VERSION, 0755);
        writeConfig(files.path() + "/device.json");
        device = std::make_unique<SimDevice>(SimOptions{{overlay.path()}, files.path() + "/device.json", {}});
        try
        {
            device->start();
        }
        catch (const std::exception& e)
        {
            error = e.what();
        }
    }

    TempDir overlay;
    TempDir files;
    std::unique_ptr<SimDevice> device;
    std::string error;
};

std::unique_ptr<PolicyDevice> instance;

class StopPolicyDevice : public ::testing::Environment
{
public:
    void TearDown() override
    {
        if (instance && instance->device->running())
        {
            EXPECT_EQ(instance->device->stop(), 0);
        }
        instance.reset();
    }
};

[[maybe_unused]] const auto* const stopper = ::testing::AddGlobalTestEnvironment(new StopPolicyDevice);

} // namespace

SimDevice& policyDevice()
{
    if (!instance)
        instance = std::make_unique<PolicyDevice>();
    if (!instance->error.empty())
        throw std::runtime_error("the policy device did not start: " + instance->error);
    return *instance->device;
}

ApiClient policyApi()
{
    return ApiClient(policyDevice().port(), policyDevice().token());
}

std::string systemManagerLog()
{
    std::ifstream in(policyDevice().statePath("log/system-manager.log"));
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace pemo::test
