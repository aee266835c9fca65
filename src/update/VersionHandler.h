#pragma once

#include "common/SystemHandler.h"

namespace pemo {
namespace system {

/// GET /version: the device's software version, as "pemo-version" prints it.
class VersionHandler : public SystemHandler
{
public:
    VersionHandler();
    ~VersionHandler() override;

    /// 200 {"version": ...}; 500 "Could not read version" when the program
    /// fails or prints nothing.
    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
};

} // namespace system
} // namespace pemo
