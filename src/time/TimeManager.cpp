#include "time/TimeManager.h"

#include "common/AtomicFile.h"
#include "common/SystemUtil.h"
#include "time/TimeManagerException.h"

#include <Poco/Exception.h>
#include <Poco/File.h>

#include <chrono>
#include <fstream>
#include <sys/stat.h>

namespace pemo {
namespace system {

namespace {

std::vector<std::string> readList(const Poco::Util::AbstractConfiguration& config, const std::string& prefix)
{
    std::vector<std::string> list;
    for (unsigned index = 0;; ++index)
    {
        const std::string key = prefix + "[" + std::to_string(index) + "]";
        if (!config.has(key))
            break;
        list.push_back(config.getString(key));
    }
    return list;
}

TimeManager::Program readProgram(const Poco::Util::AbstractConfiguration& config, const std::string& name)
{
    TimeManager::Program program;
    program.command = config.getString(name + ".command", "");
    program.arguments = readList(config, name + ".arguments");
    return program;
}

TimeManager::Params readParams(const Poco::Util::AbstractConfiguration& config)
{
    TimeManager::Params params;
    params.timezone_path = config.getString("timezone_path", params.timezone_path);
    params.localtime_path = config.getString("localtime_path", params.localtime_path);
    params.zoneinfo_path = config.getString("zoneinfo_path", params.zoneinfo_path);
    params.ntpd_init = config.getString("ntpd_init", params.ntpd_init);
    params.ntpdate = readProgram(config, "ntpdate");
    params.hwclock = readProgram(config, "hwclock");
    return params;
}

// A zone is a compiled rules file inside the tree: "Europe" (a directory)
// or a name climbing out with ".." is no zone.
bool isZoneFile(const std::string& zone, const std::string& zoneFile)
{
    if (zone.empty() || zone == ".." || zone.compare(0, 3, "../") == 0 ||
        zone.find("/../") != std::string::npos ||
        (zone.size() >= 3 && zone.compare(zone.size() - 3, 3, "/..") == 0))
        return false;
    struct stat status;
    return ::stat(zoneFile.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

TimeManager::TimeManager(Poco::AutoPtr<Poco::Util::AbstractConfiguration> config)
    : _logger(Poco::Logger::get("SystemManager.TimeManager")), _params(readParams(*config))
{
}

TimeManager::~TimeManager() = default;

void TimeManager::start()
{
    _logger.trace("TimeManager::start");
}

void TimeManager::stop()
{
    _logger.trace("TimeManager::stop");
}

void TimeManager::run(const std::string& command, const std::vector<std::string>& arguments,
                      const std::string& failure)
{
    // No pipe: the NTP init script's "start" leaves the daemon running, and it
    // would hold a pipe open, and this call with it, for as long as it lives.
    const ProgramResult result = runProgram(command, arguments, ProgramOutput::DISCARD);
    if (result.succeeded())
        return;
    _logger.error("TimeManager::synchronize " + command + (result.started ? " exited with status " +
                  std::to_string(result.exitCode) : std::string(" could not be started")) +
                  "; synchronisation stops here");
    throw TimeManagerException(failure);
}

void TimeManager::synchronize()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _logger.trace("TimeManager::synchronize");
    run(_params.ntpd_init, {"stop"}, "Failed to stop NTP daemon");
    // On a failure from here on the daemon is deliberately left stopped:
    // the next good synchronisation starts it again.
    run(_params.ntpdate.command, _params.ntpdate.arguments, "Failed to get NTP date");
    run(_params.hwclock.command, _params.hwclock.arguments, "Failed to set hardware clock");
    run(_params.ntpd_init, {"start"}, "Failed to start NTP daemon");
    _logger.information("TimeManager::synchronize clock synchronised");
}

void TimeManager::setTimezone(const std::string& zone)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _logger.trace("TimeManager::setTimezone");
    const std::string zoneFile = _params.zoneinfo_path + "/" + zone;
    if (!isZoneFile(zone, zoneFile))
        throw TimeManagerException("Unknown Time Zone: " + zone);
    // Both are replaced by a rename, so that a crash at any moment leaves
    // each the old zone or the new one, never no link or an empty file.
    try
    {
        replaceLinkAtomically(_params.localtime_path, zoneFile);
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("TimeManager::setTimezone " + e.displayText() + "; the zone stays as it was");
        throw TimeManagerException("Failed to symlink localtime: " + e.message());
    }
    try
    {
        writeFileAtomically(_params.timezone_path, zone, 0644);
    }
    catch (const Poco::Exception& e)
    {
        _logger.error("TimeManager::setTimezone " + e.displayText() + "; localtime already names " + zone);
        throw TimeManagerException("Failed to write timezone file");
    }
    _logger.information("TimeManager::setTimezone time zone is now " + zone);
}

std::string TimeManager::getTimezone()
{
    std::lock_guard<std::mutex> lock(_mutex);
    _logger.trace("TimeManager::getTimezone");
    try
    {
        if (!Poco::File(_params.timezone_path).exists())
            return "Etc/UTC";
    }
    catch (const Poco::Exception& e)
    {
        throw TimeManagerException("Can't read timezone file: " + e.displayText());
    }
    std::ifstream in(_params.timezone_path);
    std::string zone;
    if (!in || (!std::getline(in, zone) && !in.eof()))
        throw TimeManagerException("Failed to read timezone file");
    return zone;
}

std::int64_t TimeManager::getCurrentTime()
{
    std::lock_guard<std::mutex> lock(_mutex);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace system
} // namespace pemo
