#pragma once

#include <Poco/Util/OptionSet.h>
#include <Poco/Util/ServerApplication.h>

#include <memory>
#include <string>
#include <vector>

namespace pemo {

class HealthWatchdog;
class ServiceCore;

/// The host process of a service: loads the module named on the command
/// line with Poco::ClassLoader, creates the service core it exports, and
/// drives it through initialize, start, stop and uninitialize. Once the
/// service has started it signals the named event getStartupEventName(pid)
/// so a supervisor knows it is up, and tells systemd (see SystemdNotifier
/// and HealthWatchdog) when a unit started it.
class ServiceApp : public Poco::Util::ServerApplication
{
public:
    ServiceApp();

    /// "pemo-startup-<pid>": the start-up event of the process pid.
    static std::string getStartupEventName(int pid);

protected:
    void initialize(Poco::Util::Application& self) override;
    void defineOptions(Poco::Util::OptionSet& options) override;
    int main(const std::vector<std::string>& args) override;

private:
    void handleHelp(const std::string& name, const std::string& value);
    void handleConfig(const std::string& name, const std::string& value);
    void handleDefine(const std::string& name, const std::string& value);
    void loadService();
    void signalStartup();
    /// Under a systemd unit with WatchdogSec: the running watchdog; else null.
    std::unique_ptr<HealthWatchdog> startWatchdog(const ServiceCore& core);

    bool _helpRequested;
};

} // namespace pemo
