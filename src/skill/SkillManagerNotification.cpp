#include "skill/SkillManagerNotification.h"

namespace pemo {
namespace system {

SkillManagerNotification::SkillManagerNotification(Type type, const std::string& skill, int code)
    : _type(type), _skill(skill), _code(code)
{
}

SkillManagerNotification::~SkillManagerNotification() = default;

SkillManagerNotification::Type SkillManagerNotification::type() const
{
    return _type;
}

const std::string& SkillManagerNotification::skill() const
{
    return _skill;
}

int SkillManagerNotification::code() const
{
    return _code;
}

} // namespace system
} // namespace pemo
