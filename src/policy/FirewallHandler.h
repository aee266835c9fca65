#pragma once

#include "common/SystemHandler.h"

#include <Poco/AutoPtr.h>
#include <Poco/Mutex.h>
#include <Poco/Util/AbstractConfiguration.h>

#include <map>
#include <string>
#include <vector>

namespace pemo {
namespace system {

/// Owns the daemon's firewall chain and serves GET and POST /dynamic_firewall.
///
/// The firewall is a set of named modes, each a list of packet-filter rules
/// taken from the configuration ("mode_commands.<mode>[<n>]"). Switching to
/// a mode empties the chain DYNAMIC_ACCESS for IPv4 and IPv6 and appends the
/// mode's rules to it; the mode "off" leaves it empty. The chain and the
/// jumps into it must already exist: they are never created here.
class FirewallHandler : public SystemHandler
{
public:
    /// Mode name to that mode's rules, each in the filter program's own
    /// syntax without table and chain.
    using CommandMap = std::map<std::string, std::vector<std::string>>;

    /// Reads the modes from config and empties the chain, so the daemon
    /// always starts in "off" whatever the chain held before. A mode with no
    /// rules is kept and logged as a warning. Runs the filter programs.
    FirewallHandler(const std::string& loggerName, const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config);
    ~FirewallHandler() override;

    /// Empties the chain with each filter program in turn; false (and the
    /// program's output logged) at the first one that fails, leaving the
    /// rest untouched.
    bool flushRules();

    /// Empties the chain and appends the rules of mode (end() for "off");
    /// on success mode becomes the active one. False when a filter program
    /// fails; the chain may then hold part of the mode.
    bool setMode(CommandMap::const_iterator mode);

    /// 200 {"mode": the active mode, or "off"}.
    void get(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

    /// Body {"mode": name}. 200 with the new mode; 400 "Invalid JSON" for an
    /// unreadable body; 400 "Invalid Mode Request" for an unknown mode; 500
    /// when the switch fails, after restoring the previous mode.
    void post(Request& request, Response& response, const Captures& captures, SessionPtr session) override;

private:
    bool runFilter(const std::string& program, const std::vector<std::string>& args, const std::string& what);
    bool appendRule(const std::string& rule);
    std::string activeName() const;

    Poco::FastMutex _mutex;
    CommandMap _commands;
    CommandMap::const_iterator _command;
};

} // namespace system
} // namespace pemo
