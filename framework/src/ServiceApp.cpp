#include "pemo/ServiceApp.h"

#include "pemo/HealthSelfCheck.h"
#include "pemo/HealthWatchdog.h"
#include "pemo/ServiceCore.h"
#include "pemo/StartupEvent.h"
#include "pemo/SystemdNotifier.h"

#include <Poco/ClassLoader.h>
#include <Poco/Exception.h>
#include <Poco/Format.h>
#include <Poco/Process.h>
#include <Poco/Util/HelpFormatter.h>
#include <Poco/Util/IntValidator.h>
#include <Poco/Util/Option.h>
#include <Poco/Util/OptionCallback.h>

#include <algorithm>
#include <csignal>
#include <pthread.h>
#include <signal.h>
#include <iostream>

namespace pemo {

using Poco::Util::Option;
using Poco::Util::OptionCallback;

namespace {

// The module stays loaded for the life of the process: the application
// releases its subsystems only in its own destructor, after members of
// ServiceApp are gone, and the service's code must still be mapped then.
Poco::ClassLoader<ServiceCore>& classLoader()
{
    static auto* loader = new Poco::ClassLoader<ServiceCore>;
    return *loader;
}

extern "C" void ignoreSignal(int)
{
}

sigset_t terminationSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGQUIT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

ServiceApp::ServiceApp() : _helpRequested(false)
{
    setUnixOptions(true);
}

std::string ServiceApp::getStartupEventName(int pid)
{
    return Poco::format("pemo-startup-%d", pid);
}

void ServiceApp::defineOptions(Poco::Util::OptionSet& options)
{
    ServerApplication::defineOptions(options);
    options.addOption(Option("help", "h", "Print this help and exit.")
                          .required(false).repeatable(false)
                          .callback(OptionCallback<ServiceApp>(this, &ServiceApp::handleHelp)));
    options.addOption(Option("module", "m", "Shared library that exports the service (required).")
                          .required(false).repeatable(false).argument("PATH")
                          .binding("pemo.host.module"));
    options.addOption(Option("class", "k", "Name under which the module exports the service (required).")
                          .required(false).repeatable(false).argument("NAME")
                          .binding("pemo.host.class"));
    options.addOption(Option("config", "c", "Load the service configuration from FILE (.json, .properties, .ini or .xml). "
                                            "Repeatable; for a key that several files set, the last file wins.")
                          .required(false).repeatable(true).argument("FILE")
                          .callback(OptionCallback<ServiceApp>(this, &ServiceApp::handleConfig)));
    options.addOption(Option("port", "p", "Serve HTTP on this TCP port (overrides pemo.http.port; 0 picks a free one).")
                          .required(false).repeatable(false).argument("N")
                          .validator(new Poco::Util::IntValidator(0, 65535))
                          .binding("pemo.http.port"));
    options.addOption(Option("define", "D", "Set a configuration property: -Dkey=value.")
                          .required(false).repeatable(true).argument("key=value")
                          .callback(OptionCallback<ServiceApp>(this, &ServiceApp::handleDefine)));
}

void ServiceApp::handleHelp(const std::string&, const std::string&)
{
    _helpRequested = true;
    stopOptionsProcessing();
    Poco::Util::HelpFormatter help(options());
    help.setCommand(commandName());
    help.setUsage("--module=PATH --class=NAME [--config=FILE] [--port=N] [-Dkey=value]...");
    help.setHeader("Hosts one service of the robot platform: loads it from a module, serves its HTTP routes and "
                   "WebSocket ports on pemo.http.host:pemo.http.port, registers nothing itself, and stops cleanly on "
                   "SIGTERM or SIGINT. Callers authenticate with the Pemo-Authenticate header; the tokens in "
                   "pemo.auth.tokens hold every permission.");
    help.setFooter("Configuration keys: pemo.http.host (127.0.0.1), pemo.http.port, pemo.http.threads (8), "
                   "pemo.http.max_body (largest request body, 1048576 bytes), pemo.http.max_connections (a quarter "
                   "of the open-file limit, at most 1024), pemo.http.header_timeout (5 s), pemo.http.body_timeout "
                   "(10 s), pemo.registry.host (127.0.0.1), "
                   "pemo.registry.port (8079), pemo.auth.tokens[i], pemo.auth.token (sent to peers; defaults to the "
                   "first of pemo.auth.tokens), and Poco's logging.* keys.");
    help.format(std::cout);
}

void ServiceApp::handleConfig(const std::string&, const std::string& value)
{
    loadConfiguration(value, PRIO_DEFAULT - 1);
}

void ServiceApp::handleDefine(const std::string&, const std::string& value)
{
    const auto pos = value.find('=');
    if (pos == std::string::npos)
        config().setString(value, "");
    else
        config().setString(value.substr(0, pos), value.substr(pos + 1));
}

// The service must be a subsystem before the application initialises its
// subsystems, so it is loaded here rather than in main().
//
// Termination signals are blocked before then: initialising the service
// starts threads (its HTTP workers), which inherit the mask. A thread made
// before the mask would take a signal sent while the service runs with the
// default action and kill the host; the signal is waited for in main().
void ServiceApp::initialize(Poco::Util::Application& self)
{
    const sigset_t termination = terminationSignals();
    pthread_sigmask(SIG_BLOCK, &termination, nullptr);
    if (!_helpRequested)
        loadService();
    ServerApplication::initialize(self);
}

void ServiceApp::loadService()
{
    const std::string module = config().getString("pemo.host.module", "");
    const std::string name = config().getString("pemo.host.class", "");
    if (module.empty() || name.empty())
        throw Poco::InvalidArgumentException("both --module and --class are required (see --help)");
    auto& loader = classLoader();
    loader.loadLibrary(module);
    addSubsystem(loader.create(name));
}

// The supervisor removes the event once it stops waiting, so a service that
// starts late may find it gone; that is no reason to stop serving.
void ServiceApp::signalStartup()
{
    try
    {
        StartupEvent::signal(static_cast<int>(Poco::Process::id()));
    }
    catch (const Poco::Exception& e)
    {
        logger().warning("Cannot signal the start-up event: " + e.displayText() +
                         "; a supervisor counts this start as failed, the service runs on");
    }
}

// systemd restarts the service when WATCHDOG=1 stops coming for its
// WatchdogSec. Pinging at half of it leaves a whole interval of slack; a
// self-check may take a quarter of the timeout (at most 5 s), so a slow but
// working service is not taken for a hung one.
std::unique_ptr<HealthWatchdog> ServiceApp::startWatchdog(const ServiceCore& core)
{
    const Poco::Timespan timeout = SystemdNotifier::watchdogTimeout();
    if (timeout == 0)
        return nullptr;
    const Poco::Timespan limit = std::min(Poco::Timespan(timeout.totalMicroseconds() / 4), Poco::Timespan(5, 0));
    HealthSelfCheck check(config().getString("pemo.http.host", "127.0.0.1"), core.port(), limit);
    auto watchdog = std::make_unique<HealthWatchdog>(check, [] { SystemdNotifier::watchdog(); },
                                                     Poco::Timespan(timeout.totalMicroseconds() / 2));
    watchdog->start();
    logger().information(Poco::format("Feeding the systemd watchdog (timeout %d ms) after each passed self-check",
                                      static_cast<int>(timeout.totalMilliseconds())));
    return watchdog;
}

int ServiceApp::main(const std::vector<std::string>&)
{
    if (_helpRequested)
        return EXIT_OK;
    ServiceCore* core = nullptr;
    const std::string name = config().getString("pemo.host.class");
    for (auto& subsystem : subsystems())
        if (auto* candidate = dynamic_cast<ServiceCore*>(subsystem.get()))
            core = candidate;
    if (!core)
    {
        logger().fatal("Module does not provide a service named " + name + "; exiting");
        return EXIT_SOFTWARE;
    }
    // Blocked since initialize(), in every thread of the service: a
    // termination signal is waited for here, never taken with the default
    // action by whichever thread the kernel picks, even one sent the moment
    // the supervisor hears of the start-up. Children get a clean mask from
    // the launcher.
    const sigset_t termination = terminationSignals();
    core->start();
    signalStartup();
    SystemdNotifier::ready();
    auto watchdog = startWatchdog(*core);
    int received = 0;
    sigwait(&termination, &received);
    // A second signal while the service shuts down must not kill the host
    // half way and leave its children behind; stopping is bounded, and
    // SIGKILL remains for a stop that hangs. A handler, unlike SIG_IGN, is
    // not inherited by children launched meanwhile.
    std::signal(SIGINT, ignoreSignal);
    std::signal(SIGTERM, ignoreSignal);
    logger().information("Termination requested; stopping " + name);
    watchdog.reset();
    SystemdNotifier::stopping();
    core->stop();
    return EXIT_OK;
}

} // namespace pemo
