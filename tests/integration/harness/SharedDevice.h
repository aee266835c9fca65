#pragma once

#include "Http.h"
#include "SimDevice.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pemo::test {

// The device shared by every test of one test program, started on first use
// with the options of that first call (the default device unless a program
// says otherwise) and stopped when the program's tests are done. It is handed
// out once its supervised services all run. A failed start is remembered and
// reported to every later caller instead of being retried.
SimDevice& sharedDevice(const SimOptions& options = {});

// A client of the shared device with its token.
ApiClient sharedApi();

// A subscriber of device's WebSocket port at path; fails the test (and is
// null) when the handshake is refused.
std::unique_ptr<WebSocketSubscriber> subscribe(const SimDevice& device,
                                               const std::string& path = "/system_notifications");

// text parsed as a JSON object; throws Poco::Exception when it is none.
Poco::JSON::Object::Ptr parseObject(const std::string& text);

// The elements of a JSON array as T; throws Poco::Exception when one is no T.
template <class T>
std::vector<T> elements(const Poco::JSON::Array::Ptr& array)
{
    std::vector<T> out;
    for (unsigned i = 0; i < array->size(); ++i)
        out.push_back(array->getElement<T>(i));
    return out;
}

// How often what occurs in text.
std::size_t occurrences(const std::string& text, const std::string& what);

// The lines of the system manager's log on device that contain text.
std::vector<std::string> logLines(const SimDevice& device, const std::string& text);

// Polls every 100 ms until done() or the time is up; done()'s last answer.
bool eventually(const std::function<bool()>& done, std::chrono::milliseconds limit = std::chrono::seconds(10));

} // namespace pemo::test
