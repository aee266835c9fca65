#pragma once

#include "common/SystemHandler.h"

#include <memory>

namespace pemo {
namespace system {

class CredentialsManager;

/// GET /credentials answers the cloud credentials as the member
/// "credentials" of the result object; POST takes the bare object and
/// replaces them.
class CredentialsHandler : public SystemHandler
{
public:
    /// credentialsManager may be null: every request is then answered 500 "No CredentialsManager Running".
    explicit CredentialsHandler(std::shared_ptr<CredentialsManager> credentialsManager);
    ~CredentialsHandler() override;

    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    std::shared_ptr<CredentialsManager> _credentialsManager;
};

} // namespace system
} // namespace pemo
