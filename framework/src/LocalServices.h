#pragma once

#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/SocketAddress.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace pemo {

class ServiceCore;

/// The services this process serves, by address, so that a request to one
/// of them is answered in-process. A service then never needs one of its
/// own HTTP worker threads to talk to itself: they may all be taken by
/// requests that wait for that very answer.
class LocalServices
{
public:
    /// The one directory of the process.
    static LocalServices& instance();

    /// From now on requests to address are served by core in-process. A
    /// wildcard host stands for the loopback address too.
    void add(const Poco::Net::SocketAddress& address, ServiceCore& core);
    /// Stops serving address in-process and waits for the requests still
    /// being served there. Does nothing for an address not added.
    void remove(const Poco::Net::SocketAddress& address);

    /// Serves request on the calling thread, through the service's own
    /// request handler as its HTTP server would: 404 for a path that cannot
    /// be parsed, 500 when the handler throws before answering. False, with
    /// request and response untouched, when no service of this process is
    /// at address.
    bool serve(const Poco::Net::SocketAddress& address, Poco::Net::HTTPServerRequest& request,
               Poco::Net::HTTPServerResponse& response);

private:
    struct Entry
    {
        Poco::Net::SocketAddress address;
        ServiceCore* core;
        int active;
    };

    std::shared_ptr<Entry> find(const Poco::Net::SocketAddress& address) const;
    void leave(Entry& entry);

    mutable std::mutex _mutex;
    std::condition_variable _idle;
    std::vector<std::shared_ptr<Entry>> _entries;
};

} // namespace pemo
