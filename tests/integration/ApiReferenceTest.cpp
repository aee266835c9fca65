// docs/openapi.yaml held against the server: its paths and methods are the
// route table's, and every answer of a simulated device (status, reason
// phrase, body) and every frame of its ports is what the document says.
// The comparison itself is check_api_reference.py (JSON Schema 2020-12).
#include "Http.h"
#include "RouteCases.h"
#include "SharedDevice.h"
#include "SimDevice.h"

#include "app/Routes.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/RegularExpression.h>
#include <Poco/StreamCopier.h>
#include <Poco/TemporaryFile.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

namespace pemo::test {
namespace {

using pemo::system::Routes;

struct Check
{
    int status;
    std::string output;
};

// Runs the checker over the document and what was observed.
Check runChecker(const Poco::JSON::Object& observed)
{
    Poco::TemporaryFile file;
    {
        std::ofstream out(file.path());
        observed.stringify(out);
    }
    Poco::Pipe out;
    Poco::ProcessHandle process =
        Poco::Process::launch("/usr/bin/python3",
                              {sourceDir() + "/tests/integration/check_api_reference.py",
                               sourceDir() + "/docs/openapi.yaml", file.path()},
                              nullptr, &out, &out);
    Check check;
    Poco::PipeInputStream stream(out);
    Poco::StreamCopier::copyToString(stream, check.output);
    check.status = process.wait();
    return check;
}

Poco::JSON::Object::Ptr exchange(const std::string& method, const std::string& path, const HttpResponse& r)
{
    Poco::JSON::Object::Ptr e = new Poco::JSON::Object;
    e->set("method", method);
    e->set("path", path);
    e->set("status", r.status);
    e->set("reason", r.reason);
    e->set("body", r.body);
    return e;
}

// The route table as a client sees it: each expression with the methods
// that the route cases send to its paths, and the two ports.
Poco::JSON::Array::Ptr routeTable()
{
    std::map<std::string, std::set<std::string>> methods;
    for (int route = 0; route < Routes::ROUTE_COUNT; ++route)
    {
        const std::string& expression = Routes::expression(static_cast<Routes::Route>(route));
        Poco::RegularExpression matcher(expression);
        for (const auto& c : routeCases())
            if (matcher.match(c.path))
                methods[expression].insert(c.method);
    }
    methods[Routes::SYSTEM_NOTIFICATIONS_PORT] = {"GET"};
    methods[Routes::WIFI_MESSAGES_PORT] = {"GET"};
    Poco::JSON::Array::Ptr routes = new Poco::JSON::Array;
    for (const auto& [expression, served] : methods)
    {
        Poco::JSON::Object::Ptr route = new Poco::JSON::Object;
        route->set("expression", expression);
        Poco::JSON::Array::Ptr list = new Poco::JSON::Array;
        for (const auto& m : served)
            list->add(m);
        route->set("methods", list);
        routes->add(route);
    }
    return routes;
}

// Well-formed requests for the routes whose ordinary case sends a body
// that is not JSON, so that their results are checked too.
const std::vector<std::tuple<std::string, std::string, std::string>> WELL_FORMED{
    {"POST", "/credentials", R"({"accessKeyId":"id","secretAccessKey":"secret","region":"eu-west-1"})"},
    {"GET", "/credentials", ""},
    {"POST", "/mode", R"({"mode":"normal"})"},
    {"POST", "/mode", R"({"mode":""})"},
    {"POST", "/service/start", R"({"services":[]})"},
    {"POST", "/service/stop", R"({"services":["nope"]})"},
    {"POST", "/skill/launch", R"({"name":"countdown","context":"1"})"},
    {"POST", "/skill/terminate", R"({"name":"hello"})"},
    {"POST", "/wifi/wpa", R"({"command":"STATUS"})"},
    {"POST", "/wifi/interface",
     R"({"interface":{"method":"dhcp","address":"","network":"","netmask":"","broadcast":"","gateway":"","dns":""}})"},
    {"POST", "/time/zone", R"({"timezone":"Europe/Paris"})"},
    {"POST", "/time/zone", R"({"timezone":"Mars/Olympus"})"},
    {"POST", "/system_notify", R"({"type":"Doc","channel":"GENERAL","ts":[1,2],"data":{"x":1}})"},
    {"GET", "/update/hello", ""},
    {"PUT", "/update", R"({"ids":[]})"},
    {"PUT", "/update", R"({"ids":["nope"]})"},
    {"POST", "/update", R"({"ids":[]})"},
    {"POST", "/update", R"({"ids":["nope"]})"},
    {"POST", "/dynamic_firewall", R"({"mode":"off"})"},
    {"POST", "/dynamic_firewall", R"({"mode":"nope"})"},
    {"POST", "/session/delete", R"({"session":"nope"})"},
};

TEST(ApiReferenceTest, TheServerAnswersAsTheDocumentSays)
{
    SimDevice& device = sharedDevice();
    const ApiClient api = sharedApi();
    auto notifications = subscribe(device);
    auto wifi = subscribe(device, "/wifi/messages");
    ASSERT_TRUE(notifications && wifi);

    Poco::JSON::Array::Ptr exchanges = new Poco::JSON::Array;
    auto record = [&](const std::string& method, const std::string& path, const std::string& body) {
        exchanges->add(exchange(method, path, api.request(method, path, body)));
    };
    for (const auto& [method, path, body] : WELL_FORMED)
        record(method, path, body);
    const std::string token = parseObject(api.get("/session/request").body)->getObject("session")->getValue<std::string>("token");
    record("POST", "/session/current", R"({"session":")" + token + R"("})");
    for (const auto& c : routeCases())
        if (c.path != "/time/zon")
            record(c.method, c.path, c.body);
    exchanges->add(exchange("GET", "/mode", ApiClient(device.port(), std::nullopt).get("/mode")));

    Poco::JSON::Array::Ptr frames = new Poco::JSON::Array;
    std::set<std::string> ports;
    for (const auto& [port, subscriber] :
         {std::pair{"/system_notifications", notifications.get()}, std::pair{"/wifi/messages", wifi.get()}})
        while (const auto frame = subscriber->receive(Poco::Timespan(2, 0)))
        {
            // The route case's own "{}", relayed as posted, is no notification.
            if (*frame == "{}")
                continue;
            Poco::JSON::Object::Ptr f = new Poco::JSON::Object;
            f->set("port", std::string(port));
            f->set("body", *frame);
            frames->add(f);
            ports.insert(port);
        }
    EXPECT_EQ(ports.size(), 2u) << "a frame from each port: the skill's start, the interface's restart";

    Poco::JSON::Object observed;
    observed.set("routes", routeTable());
    observed.set("exchanges", exchanges);
    observed.set("frames", frames);
    observed.set("health", api.get("/_M_/health").body);
    const Check check = runChecker(observed);
    EXPECT_EQ(check.status, 0) << check.output;
}

// The checker fails on what the document does not describe: a route it
// lacks, a member of the wrong type, an undocumented reason phrase.
TEST(ApiReferenceTest, TheCheckerRejectsWhatTheDocumentDoesNotDescribe)
{
    Poco::JSON::Array::Ptr routes = routeTable();
    Poco::JSON::Object::Ptr extra = new Poco::JSON::Object;
    extra->set("expression", "^/nowhere/?$");
    extra->set("methods", Poco::JSON::Array());
    routes->add(extra);
    Poco::JSON::Array::Ptr exchanges = new Poco::JSON::Array;
    exchanges->add(exchange("GET", "/mode", {200, "OK", R"({"mode": 3})", {}}));
    exchanges->add(exchange("POST", "/mode", {400, "Mode is wrong", "", {}}));
    Poco::JSON::Object observed;
    observed.set("routes", routes);
    observed.set("exchanges", exchanges);
    observed.set("frames", Poco::JSON::Array());
    observed.set("health", "{}");
    const Check check = runChecker(observed);
    EXPECT_EQ(check.status, 1) << check.output;
    for (const char* fault : {"route ^/nowhere/?$ is not documented", "3 is not of type 'string'",
                              "POST /mode -> 400 Mode is wrong: reason phrase not documented",
                              "GET /_M_/health: 'timezone' is a required property"})
        EXPECT_NE(check.output.find(fault), std::string::npos) << fault << " missing from\n" << check.output;
}

} // namespace
} // namespace pemo::test
