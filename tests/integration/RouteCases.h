#pragma once

// The system manager's route table as a client sees it: for every route
// and method the handler serves, a request and the answers that only that
// handler gives. Requests are chosen to be harmless in the simulator: a body
// that is not JSON makes body-taking handlers refuse before they act.

#include "Http.h"

#include <string>
#include <vector>

namespace pemo::test {

struct Answer
{
    int status;
    // Exact reason phrase; a trailing '*' makes it a prefix; empty: any.
    std::string reason;
};

// A member a handler reads from its JSON body: a string or a string array.
struct Member
{
    std::string name;
    bool list;
};

struct RouteCase
{
    std::string method;
    std::string path;     // without a trailing slash
    bool optionalSlash;   // the expression ends in "/?$"
    std::string body;
    // The reason the handler gives while its manager is not running; empty
    // where the device runs it, so that a missing manager fails the case.
    std::string missingManager;
    // What the handler answers once its manager runs.
    std::vector<Answer> answers;
    // The members of its JSON body (none: the body is not read as JSON).
    std::vector<Member> members{};
    // What it may answer to a body of the right shape whose strings are
    // odd (control characters, bytes that are not UTF-8): those reach the
    // manager, which refuses names it does not know.
    std::vector<Answer> oddStrings{};

    std::vector<std::string> paths() const
    {
        if (optionalSlash)
            return {path, path + "/"};
        return {path};
    }

    static bool matches(const Answer& a, const HttpResponse& r)
    {
        if (a.status != r.status)
            return false;
        if (a.reason.empty())
            return true;
        if (a.reason.back() == '*')
            return r.reason.compare(0, a.reason.size() - 1, a.reason, 0, a.reason.size() - 1) == 0;
        return a.reason == r.reason;
    }

    bool acceptsAny(const std::vector<Answer>& expected, const HttpResponse& r) const
    {
        if (!missingManager.empty() && r.status == 500 && r.reason == missingManager)
            return true;
        for (const auto& a : expected)
            if (matches(a, r))
                return true;
        return false;
    }

    std::string describeAll(const std::vector<Answer>& expected) const
    {
        std::string text;
        if (!missingManager.empty())
            text += "500 \"" + missingManager + "\"";
        for (const auto& a : expected)
            text += (text.empty() ? "" : " or ") + std::to_string(a.status) +
                    (a.reason.empty() ? "" : " \"" + a.reason + "\"");
        return text;
    }
};

inline const std::vector<RouteCase>& routeCases()
{
    static const std::string notJson = "{";
    static const std::string malformed = "Malformed arguments";
    static const std::vector<Member> services{{"services", true}};
    static const std::vector<Member> session{{"session", false}};
    static const std::vector<Member> name{{"name", false}};
    static const std::vector<Member> ids{{"ids", true}};
    static const std::vector<RouteCase> cases = {
        {"GET", "/service/list", true, "", "", {{200, "OK"}}},
        {"POST", "/service/start", true, notJson, "", {{400, malformed}}, services, {{400, "Failed to start services: *"}}},
        {"POST", "/service/stop", true, notJson, "", {{400, malformed}}, services, {{400, "Failed to stop services: *"}}},
        {"POST", "/service/restart", true, notJson, "", {{400, malformed}}, services,
         {{400, "Failed to stop services: *"}, {400, "Failed to start services: *"}}},
        {"GET", "/session/request", true, "", "", {{200, "OK"}}},
        {"POST", "/session/delete", true, notJson, "", {{400, malformed}}, session, {{404, "Not Found"}}},
        {"GET", "/session/current", true, "", "", {{200, "OK"}, {400, "No current session"}}},
        {"POST", "/session/current", true, notJson, "", {{400, malformed}}, session, {{400, "No current session"}}},
        {"GET", "/session/list", true, "", "", {{200, "OK"}}},
        {"POST", "/skill/refresh", true, "", "", {{204, ""}}},
        {"GET", "/skill/list", true, "", "", {{200, "OK"}}},
        {"POST", "/skill/launch", true, notJson, "", {{400, malformed}}, {{"name", false}, {"context", false}},
         {{500, "Unknown skill: *"}}},
        {"POST", "/skill/terminate", true, notJson, "", {{400, malformed}}, name, {{500, "Unknown skill: *"}}},
        {"POST", "/wifi/wpa", true, notJson, "", {{400, malformed}}, {{"command", false}},
         {{200, "OK"}}},
        {"GET", "/wifi/interface", true, "", "", {{200, "OK"}}},
        {"POST", "/wifi/interface", true, notJson, "", {{400, malformed}}, {{"interface", false}}},
        {"GET", "/version", true, "", "", {{200, "OK"}}},
        {"GET", "/identity", true, "", "", {{200, "OK"}}},
        {"GET", "/time/current", true, "", "", {{200, "OK"}}},
        {"POST", "/time/synchronize", true, "", "", {{204, ""}, {500, "Failed to synchronize time: *"}}},
        {"GET", "/time/zone", false, "", "", {{200, "OK"}}},
        {"GET", "/time/zon", false, "", "", {{200, "OK"}}},
        {"POST", "/time/zon", false, notJson, "", {{400, ""}}, {{"timezone", false}},
         {{500, "Failed to set timezone: *"}}},
        {"POST", "/time/zone", false, notJson, "", {{400, ""}}, {{"timezone", false}},
         {{500, "Failed to set timezone: *"}}},
        {"GET", "/credentials", true, "", "",
         {{200, "OK"}, {500, "Error getting credentials: No credentials"}}},
        {"POST", "/credentials", true, notJson, "", {{400, malformed}},
         {{"accessKeyId", false}, {"secretAccessKey", false}, {"region", false}}, {{204, ""}}},
        {"GET", "/mode", true, "", "", {{200, "OK"}}},
        {"POST", "/mode", true, notJson, "", {{400, malformed}}, {{"mode", false}},
         {{204, ""}, {400, "Could not set mode to *"}}},
        {"POST", "/system_notify", true, "{}", "", {{204, ""}, {503, ""}}},
        {"GET", "/update", true, "", "", {{200, "OK"}}},
        {"PUT", "/update", true, notJson, "", {{400, ""}}, ids, {{200, "OK"}}},
        {"POST", "/update", true, notJson, "", {{400, ""}}, ids, {{200, "OK"}}},
        {"POST", "/power/off", true, "", "", {{204, ""}, {500, "PowerOff already requested"}}},
        {"POST", "/power/reboot", true, "", "", {{204, ""}, {500, "PowerOff already requested"}}},
        {"GET", "/storage/mounts", true, "", "", {{200, "OK"}}},
        {"GET", "/storage/semantic", true, "", "", {{200, "OK"}}},
        {"POST", "/system/wipe", true, "", "", {{204, ""}, {500, "Failed to do system wipe"}}},
        {"POST", "/system/backup", true, "", "", {{204, ""}, {500, "Failed to do system backup"}}},
        {"POST", "/system/restore", true, "", "",
         {{204, ""}, {500, "Failed to do system restore"}}},
        {"POST", "/logs/upload", true, "", "", {{200, "OK"}}},
        {"GET", "/dynamic_firewall", true, "", "", {{200, "OK"}}},
        {"POST", "/dynamic_firewall", true, notJson, "", {{400, "Invalid JSON"}}, {{"mode", false}},
         {{400, "Invalid Mode Request"}}},
    };
    return cases;
}

// The update handler's GET answers 200 whatever the outcome (the outcome is
// in the body); no other route answers /update paths.
inline bool updateGetAccepts(const HttpResponse& r)
{
    return r.status == 200 && r.header("Content-Type").find("application/json") == 0;
}

} // namespace pemo::test
