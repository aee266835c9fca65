#include "skill/SkillMonitor.h"

#include "session/SessionManager.h"
#include "skill/SkillImpl.h"
#include "skill/SkillManagerException.h"
#include "skill/SkillManagerNotification.h"

#include <Poco/NumberFormatter.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <sys/wait.h>
#include <utility>

namespace pemo {
namespace system {

namespace {

const long PASS_MILLISECONDS = 1000;
const std::string PREFIX = "SkillManager.Monitor::work ";

std::string codeText(int code)
{
    return Poco::NumberFormatter::format(code);
}

} // namespace

SkillManager::Monitor::Monitor(const SkillManager::Params& params, std::shared_ptr<SessionManager> sessionManager,
                               pemo::SystemNotificationClient& notificationClient, SkillManager::Buckets& buckets,
                               Poco::Mutex& mutex)
    : _logger(Poco::Logger::get("SystemManager.SkillManager.Monitor")), _params(params),
      _sm(std::move(sessionManager)), _snc(notificationClient), _buckets(buckets), _mutex(mutex)
{
}

SkillManager::Monitor::~Monitor() = default;

void SkillManager::Monitor::work()
{
    sleep(PASS_MILLISECONDS);
    Poco::Mutex::ScopedLock lock(_mutex);
    if (isCancelled())
        return;
    for (auto& entry : _buckets)
    {
        if (entry.second.skill && entry.second.skill->isRunning())
            peek(entry.second);
    }
}

// Looks without reaping, so that the pass never blocks under the lock and
// never collects a child that is not a skill's.
void SkillManager::Monitor::peek(SkillManager::Bucket& bucket)
{
    SkillImpl& skill = *bucket.skill;
    siginfo_t info;
    std::memset(&info, 0, sizeof info);
    if (waitid(P_PID, static_cast<id_t>(skill.pid()), &info, WEXITED | WNOHANG | WNOWAIT) == 0)
    {
        if (info.si_pid != skill.pid())
            return;
        try
        {
            const int code = skill.wait();
            _logger.information("Skill " + skill.name() + " exited with code " + codeText(code));
            notifyExit(bucket, code);
        }
        catch (const SkillManagerException& e)
        {
            _logger.error(PREFIX + "could not reap " + skill.name() + ": " + e.what() + "; will try again");
        }
        return;
    }
    // The status record's si_errno is read, not errno: a failing waitid
    // leaves the zeroed record alone, so every failure lands in the last
    // branch with 0. Kept deliberately, as the device has always logged it.
    switch (info.si_errno)
    {
    case ECHILD:
        _logger.trace(PREFIX + "no child processes to wait for");
        break;
    case EINVAL:
        break;
    case EINTR:
        _logger.error(PREFIX + "wait interrupted");
        break;
    default:
        _logger.critical(PREFIX + "wait unhandled returned error: " + codeText(info.si_errno));
        break;
    }
}

void SkillManager::Monitor::notifyExit(SkillManager::Bucket& bucket, int code)
{
    SkillImpl& skill = *bucket.skill;
    try
    {
        if (_sm)
            _sm->deleteSession(skill.session());
    }
    catch (const std::exception&)
    {
        _logger.error(PREFIX + "Failed to delete session for " + skill.name());
    }
    if (!isCancelled())
        notifier.postNotification(new SkillManagerNotification(SkillManagerNotification::EXITED, skill.name(), code));
    announce(skill.name(), SkillNotificationData::EXITED, code);
}

void SkillManager::Monitor::announce(const std::string& skill, SkillNotificationData::Reason reason, int code)
{
    const bool started = reason == SkillNotificationData::STARTED;
    SkillNotificationData data;
    data.skill = skill;
    data.reason = reason;
    data.code = code;
    bool posted = false;
    try
    {
        posted = _snc.postNotification(SkillNotification(pemo::NotificationChannel::SKILL, data));
    }
    catch (const std::exception&)
    {
        _logger.error(PREFIX + "Failed serialize " + (started ? "start" : "exit") + " notification for " + skill);
        return;
    }
    if (!posted)
        _logger.critical(PREFIX + "Failed to post skill " + (started ? "start" : "exited") + " notification");
}

void SkillManager::Monitor::onCancel()
{
    Poco::Mutex::ScopedLock lock(_mutex);
    for (auto& entry : _buckets)
    {
        if (!entry.second.skill || !entry.second.skill->isRunning())
            continue;
        SkillImpl& skill = *entry.second.skill;
        try
        {
            _logger.information("Waiting for " + skill.name() + " to terminate");
            skill.terminate();
            const int code = skill.wait();
            _logger.information("Skill " + skill.name() + " exited with code " + codeText(code));
            notifyExit(entry.second, code);
        }
        catch (const SkillManagerException& e)
        {
            _logger.error(std::string("error waiting for skill process to terminate: ") + e.what());
        }
    }
}

} // namespace system
} // namespace pemo
