#pragma once

#include "pemo/Permissions.h"
#include "pemo/Session.h"

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <memory>
#include <string>
#include <vector>

namespace pemo {

/// Base of every route handler. The framework calls allows() with the
/// caller's permissions, then the operation for the request method with the
/// path's capture groups and the caller's session. An operation a handler
/// does not override answers 405 Method Not Allowed with an Allow-less body.
class HTTPRequestHandler
{
public:
    using Request = Poco::Net::HTTPServerRequest;
    using Response = Poco::Net::HTTPServerResponse;
    using Captures = std::vector<std::string>;
    using SessionPtr = std::shared_ptr<Session>;

    virtual ~HTTPRequestHandler();

    /// True when a caller holding these permissions may use the handler.
    /// The default refuses everyone, so a handler must opt in.
    virtual bool allows(const Permissions& held) const;

    virtual void get(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void head(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void post(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void put(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void del(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void trace(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void options(Request& request, Response& response, const Captures& captures, SessionPtr session);
    virtual void connect(Request& request, Response& response, const Captures& captures, SessionPtr session);

    /// Answers 405 with an empty body; the default of every operation.
    static void methodNotAllowed(Response& response);
};

} // namespace pemo
