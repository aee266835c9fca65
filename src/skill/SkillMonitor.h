#pragma once

#include "skill/SkillManager.h"
#include "skill/SkillNotification.h"

#include <pemo/SystemNotificationClient.h>
#include <pemo/util/Worker.h>

#include <Poco/Logger.h>
#include <Poco/Mutex.h>
#include <Poco/NotificationCenter.h>

#include <memory>
#include <string>

namespace pemo {
namespace system {

/// Watches the running skills once a second, reaps the ones that ended,
/// deletes their sessions and announces their exits; at shutdown it
/// terminates every running skill and waits for it.
///
/// Works on the skill manager's catalogue under the manager's mutex, which
/// it holds for each whole pass.
class SkillManager::Monitor : public pemo::util::Worker
{
public:
    Monitor(const SkillManager::Params& params, std::shared_ptr<SessionManager> sessionManager,
            pemo::SystemNotificationClient& notificationClient, SkillManager::Buckets& buckets,
            Poco::Mutex& mutex);
    ~Monitor() override;

    /// Terminates every running skill and waits for each, announcing its
    /// exit; a skill that does not end keeps the shutdown waiting.
    void onCancel() override;
    /// One pass: sleeps a second, then reaps every running skill that has
    /// ended.
    void work() override;

    /// Posts the "SkillNotification" for skill; failures are only logged,
    /// with what naming the event ("start" or "exit").
    void announce(const std::string& skill, SkillNotificationData::Reason reason, int code);

    /// Where the SkillManagerNotifications go.
    Poco::NotificationCenter notifier;

private:
    void peek(SkillManager::Bucket& bucket);
    void notifyExit(SkillManager::Bucket& bucket, int code);

    Poco::Logger& _logger;
    SkillManager::Params _params;
    std::shared_ptr<SessionManager> _sm;
    pemo::SystemNotificationClient& _snc;
    SkillManager::Buckets& _buckets;
    Poco::Mutex& _mutex;
};

} // namespace system
} // namespace pemo
