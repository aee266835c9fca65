#include "pemo/util/Task.h"

namespace pemo {
namespace util {

Task::Task(const std::string& name) : _name(name), _cancelled(false)
{
}

Task::~Task() = default;

const std::string& Task::name() const
{
    return _name;
}

void Task::cancel()
{
    _cancelled = true;
}

bool Task::isCancelled() const
{
    return _cancelled;
}

} // namespace util
} // namespace pemo
