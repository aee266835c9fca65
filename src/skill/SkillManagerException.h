#pragma once

#include <stdexcept>
#include <string>

namespace pemo {
namespace system {

/// Raised by the skill manager and its skills; the text is what the skill
/// endpoints put in the reason phrase.
class SkillManagerException : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace system
} // namespace pemo
