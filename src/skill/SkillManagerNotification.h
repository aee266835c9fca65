#pragma once

#include <Poco/Notification.h>

#include <string>

namespace pemo {
namespace system {

/// Tells in-process observers of the skill manager that a skill started or
/// exited.
class SkillManagerNotification : public Poco::Notification
{
public:
    enum Type
    {
        UNKNOWN = 0,
        STARTED = 1,
        EXITED = 2
    };

    /// code is the exit code; 0 for a start.
    SkillManagerNotification(Type type, const std::string& skill, int code = 0);

    Type type() const;
    const std::string& skill() const;
    int code() const;

protected:
    ~SkillManagerNotification() override;

private:
    Type _type;
    std::string _skill;
    int _code;
};

} // namespace system
} // namespace pemo
