#include "LocalServices.h"

#include "RequestHandlerFactory.h"

#include <Poco/Net/HTTPRequestHandler.h>

#include <algorithm>
#include <exception>

namespace pemo {

namespace {

bool reaches(const Poco::Net::SocketAddress& served, const Poco::Net::SocketAddress& target)
{
    if (served.port() != target.port())
        return false;
    return served.host() == target.host() || (served.host().isWildcard() && target.host().isLoopback());
}

void answer(Poco::Net::HTTPServerResponse& response, Poco::Net::HTTPResponse::HTTPStatus status)
{
    response.setStatusAndReason(status);
    response.setContentLength(0);
    response.send();
}

} // namespace

LocalServices& LocalServices::instance()
{
    static LocalServices services;
    return services;
}

void LocalServices::add(const Poco::Net::SocketAddress& address, ServiceCore& core)
{
    std::lock_guard<std::mutex> lock(_mutex);
    _entries.push_back(std::make_shared<Entry>(Entry{address, &core, 0}));
}

void LocalServices::remove(const Poco::Net::SocketAddress& address)
{
    std::unique_lock<std::mutex> lock(_mutex);
    const auto found = std::find_if(_entries.begin(), _entries.end(),
                                    [&](const std::shared_ptr<Entry>& e) { return e->address == address; });
    if (found == _entries.end())
        return;
    const std::shared_ptr<Entry> entry = *found;
    _entries.erase(found);
    _idle.wait(lock, [&] { return entry->active == 0; });
}

std::shared_ptr<LocalServices::Entry> LocalServices::find(const Poco::Net::SocketAddress& address) const
{
    for (const auto& entry : _entries)
        if (reaches(entry->address, address))
            return entry;
    return nullptr;
}

void LocalServices::leave(Entry& entry)
{
    std::lock_guard<std::mutex> lock(_mutex);
    --entry.active;
    _idle.notify_all();
}

bool LocalServices::serve(const Poco::Net::SocketAddress& address, Poco::Net::HTTPServerRequest& request,
                          Poco::Net::HTTPServerResponse& response)
{
    std::shared_ptr<Entry> entry;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        entry = find(address);
        if (!entry)
            return false;
        ++entry->active;
    }
    // The request may be the service's own, made while it stops; remove()
    // waits for it rather than let the service go from under it.
    struct Leave
    {
        LocalServices& services;
        Entry& entry;
        ~Leave() { services.leave(entry); }
    } leave{*this, *entry};
    std::unique_ptr<Poco::Net::HTTPRequestHandler> handler(
        RequestHandlerFactory(*entry->core).createRequestHandler(request));
    if (!handler)
    {
        answer(response, Poco::Net::HTTPResponse::HTTP_NOT_FOUND);
        return true;
    }
    try
    {
        handler->handleRequest(request, response);
    }
    catch (const std::exception&)
    {
        // What was sent already stands, as it would on a connection.
        if (!response.sent())
            answer(response, Poco::Net::HTTPResponse::HTTP_INTERNAL_SERVER_ERROR);
    }
    return true;
}

} // namespace pemo
