#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class SkillManager;

/// POST /skill/refresh: rescans the installed skills.
class SkillRefreshHandler : public SystemHandler
{
public:
    /// skillManager may be null: every request is then answered 500 "No SkillManager running".
    explicit SkillRefreshHandler(std::shared_ptr<SkillManager> skillManager);
    ~SkillRefreshHandler() override;

    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<SkillManager> _skillManager;
};

} // namespace system
} // namespace pemo
