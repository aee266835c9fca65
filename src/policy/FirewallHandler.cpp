#include "policy/FirewallHandler.h"

#include "common/HandlerContract.h"
#include "common/SystemUtil.h"

#include <sstream>

namespace pemo {
namespace system {

namespace {

const std::vector<std::string> ipt_cmds{"/usr/sbin/iptables", "/usr/sbin/ip6tables"};
const std::string ipt_chain("DYNAMIC_ACCESS");
const std::string mode_commands("mode_commands");
const std::string mode_off("off");

std::vector<std::string> readRules(const Poco::Util::AbstractConfiguration& config, const std::string& mode)
{
    std::vector<std::string> rules;
    for (std::size_t i = 0;; ++i)
    {
        const std::string key = mode_commands + "." + mode + "[" + std::to_string(i) + "]";
        if (!config.has(key))
            break;
        rules.push_back(config.getString(key));
    }
    return rules;
}

} // namespace

FirewallHandler::FirewallHandler(const std::string& loggerName,
                                 const Poco::AutoPtr<Poco::Util::AbstractConfiguration>& config)
    : SystemHandler(loggerName), _command(_commands.end())
{
    // The mode is not remembered across restarts: start from an empty chain
    // so what the chain holds always matches what GET reports.
    flushRules();

    Poco::Util::AbstractConfiguration::Keys modes;
    config->keys(mode_commands, modes);
    for (const auto& mode : modes)
    {
        std::vector<std::string> rules = readRules(*config, mode);
        if (rules.empty())
            logger().warning("No commands for mode " + mode);
        _commands[mode] = std::move(rules);
    }
}

FirewallHandler::~FirewallHandler() = default;

bool FirewallHandler::runFilter(const std::string& program, const std::vector<std::string>& args,
                                const std::string& what)
{
    const ProgramResult result = runProgram(program, args, ProgramOutput::STDOUT_STDERR);
    if (result.succeeded())
        return true;
    logger().error("error in " + program + " " + what + ": " + result.output);
    return false;
}

bool FirewallHandler::flushRules()
{
    for (const auto& program : ipt_cmds)
    {
        if (!runFilter(program, {"-t", "filter", "-F", ipt_chain}, "flush"))
            return false;
    }
    return true;
}

bool FirewallHandler::appendRule(const std::string& rule)
{
    // Words are split on white space only: rules are written without quoting.
    std::vector<std::string> args{"-t", "filter", "-A", ipt_chain};
    std::istringstream words(rule);
    std::string word;
    while (words >> word)
        args.push_back(word);

    for (const auto& program : ipt_cmds)
    {
        if (!runFilter(program, args, "append"))
            return false;
    }
    return true;
}

bool FirewallHandler::setMode(CommandMap::const_iterator mode)
{
    if (!flushRules())
        return false;
    if (mode != _commands.end())
    {
        for (const auto& rule : mode->second)
        {
            if (!appendRule(rule))
                return false;
        }
    }
    _command = mode;
    return true;
}

std::string FirewallHandler::activeName() const
{
    return _command == _commands.end() ? mode_off : _command->first;
}

void FirewallHandler::get(Request&, Response& response, const Captures&, SessionPtr)
{
    logger().trace("FirewallHandler::get");
    std::string name;
    {
        Poco::FastMutex::ScopedLock lock(_mutex);
        name = activeName();
    }
    HandlerContract::sendResult(response, logger(), "Could not serialize mode", cereal::make_nvp("mode", name));
}

void FirewallHandler::post(Request& request, Response& response, const Captures&, SessionPtr)
{
    logger().trace("FirewallHandler::post");
    std::string name;
    std::string error;
    if (!HandlerContract::readJSON(request.stream(), error, cereal::make_nvp("mode", name)))
    {
        logger().warning("FirewallHandler::post " + error);
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, "Invalid JSON");
        return;
    }

    Poco::FastMutex::ScopedLock lock(_mutex);
    const CommandMap::const_iterator requested = name == mode_off ? _commands.cend() : _commands.find(name);
    if (requested == _commands.cend() && name != mode_off)
    {
        HandlerContract::sendError(response, Response::HTTP_BAD_REQUEST, "Invalid Mode Request");
        return;
    }

    const CommandMap::const_iterator previous = _command;
    if (!setMode(requested))
    {
        // Best effort: a chain left half-filled is worse than the old mode.
        setMode(previous);
        HandlerContract::sendError(response, Response::HTTP_INTERNAL_SERVER_ERROR);
        return;
    }
    HandlerContract::sendResult(response, logger(), "Could not serialize mode", cereal::make_nvp("mode", name));
}

} // namespace system
} // namespace pemo
