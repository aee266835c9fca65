#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class SkillManager;

/// GET /skill/list: the skill catalogue.
class SkillListHandler : public SystemHandler
{
public:
    /// skillManager may be null: every request is then answered 500 "No SkillManager running".
    explicit SkillListHandler(std::shared_ptr<SkillManager> skillManager);
    ~SkillListHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<SkillManager> _skillManager;
};

} // namespace system
} // namespace pemo
