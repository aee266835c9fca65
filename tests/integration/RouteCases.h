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

    bool accepts(const HttpResponse& r) const
    {
        if (!missingManager.empty() && r.status == 500 && r.reason == missingManager)
            return true;
        for (const auto& a : answers)
            if (matches(a, r))
                return true;
        return false;
    }

    std::string expectation() const
    {
        std::string text;
        if (!missingManager.empty())
            text += "500 \"" + missingManager + "\"";
        for (const auto& a : answers)
            text += (text.empty() ? "" : " or ") + std::to_string(a.status) +
                    (a.reason.empty() ? "" : " \"" + a.reason + "\"");
        return text;
    }
};

inline const std::vector<RouteCase>& routeCases()
{
    static const std::string notJson = "{";
    static const std::string malformed = "Malformed arguments";
    static const std::vector<RouteCase> cases = {
        {"GET", "/service/list", true, "", "", {{200, "OK"}}},
        {"POST", "/service/start", true, notJson, "", {{400, malformed}}},
        {"POST", "/service/stop", true, notJson, "", {{400, malformed}}},
        {"POST", "/service/restart", true, notJson, "", {{400, malformed}}},
        {"GET", "/session/request", true, "", "", {{200, "OK"}}},
        {"POST", "/session/delete", true, notJson, "", {{400, malformed}}},
        {"GET", "/session/current", true, "", "", {{200, "OK"}, {400, "No current session"}}},
        {"POST", "/session/current", true, notJson, "", {{400, malformed}}},
        {"GET", "/session/list", true, "", "", {{200, "OK"}}},
        {"POST", "/skill/refresh", true, "", "", {{204, ""}}},
        {"GET", "/skill/list", true, "", "", {{200, "OK"}}},
        {"POST", "/skill/launch", true, notJson, "", {{400, malformed}}},
        {"POST", "/skill/terminate", true, notJson, "", {{400, malformed}}},
        {"POST", "/wifi/wpa", true, notJson, "", {{400, malformed}}},
        {"GET", "/wifi/interface", true, "", "", {{200, "OK"}}},
        {"POST", "/wifi/interface", true, notJson, "", {{400, malformed}}},
        {"GET", "/version", true, "", "", {{200, "OK"}}},
        {"GET", "/identity", true, "", "", {{200, "OK"}}},
        {"GET", "/time/current", true, "", "", {{200, "OK"}}},
        {"POST", "/time/synchronize", true, "", "", {{204, ""}, {500, "Failed to synchronize time: *"}}},
        {"GET", "/time/zone", false, "", "", {{200, "OK"}}},
        {"GET", "/time/zon", false, "", "", {{200, "OK"}}},
        {"POST", "/time/zone", false, notJson, "", {{400, ""}}},
        {"GET", "/credentials", true, "", "",
         {{200, "OK"}, {500, "Error getting credentials: No credentials"}}},
        {"POST", "/credentials", true, notJson, "", {{400, malformed}}},
        {"GET", "/mode", true, "", "", {{200, "OK"}}},
        {"POST", "/mode", true, notJson, "", {{400, malformed}}},
        {"POST", "/system_notify", true, "{}", "", {{204, ""}, {503, ""}}},
        {"GET", "/update", true, "", "", {{200, "OK"}}},
        {"PUT", "/update", true, notJson, "", {{400, ""}}},
        {"POST", "/update", true, notJson, "", {{400, ""}}},
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
        {"POST", "/dynamic_firewall", true, notJson, "", {{400, "Invalid JSON"}}},
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
