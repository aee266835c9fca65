// pemo-test-recorder: a stand-in service for fan-out tests. It listens on
// 127.0.0.1:PORT, registers NAME (repeatable) at the registry, signals its
// start-up event, and stores every request it receives, byte for byte, as
// DIR/request-N.http. With --silent it reads requests but never answers.
// Runs until SIGINT or SIGTERM.

#include <pemo/StartupEvent.h>
#include <pemo/ServiceRecord.h>
#include <pemo/ServiceRegistryClient.h>

#include <Poco/File.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Process.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

volatile std::sig_atomic_t stopRequested = 0;

void onSignal(int)
{
    stopRequested = 1;
}

struct Options
{
    int port = 0;
    int registryPort = 8079;
    std::string dir;
    std::vector<std::string> names;
    bool silent = false;
};

bool parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--silent")
            options.silent = true;
        else if (arg == "--port" && hasValue)
            options.port = std::atoi(argv[++i]);
        else if (arg == "--registry-port" && hasValue)
            options.registryPort = std::atoi(argv[++i]);
        else if (arg == "--dir" && hasValue)
            options.dir = argv[++i];
        else if (arg == "--name" && hasValue)
            options.names.push_back(argv[++i]);
        else
            return false;
    }
    return options.port > 0 && !options.dir.empty();
}

// The whole request: headers up to the blank line, then Content-Length bytes.
std::string readRequest(Poco::Net::StreamSocket& socket)
{
    std::string data;
    char buffer[4096];
    std::size_t expected = std::string::npos;
    while (expected == std::string::npos || data.size() < expected)
    {
        const int n = socket.receiveBytes(buffer, sizeof(buffer));
        if (n <= 0)
            break;
        data.append(buffer, static_cast<std::size_t>(n));
        const auto end = data.find("\r\n\r\n");
        if (end == std::string::npos || expected != std::string::npos)
            continue;
        std::size_t length = 0;
        const auto header = data.find("Content-Length: ");
        if (header != std::string::npos && header < end)
            length = std::strtoul(data.c_str() + header + 16, nullptr, 10);
        expected = end + 4 + length;
    }
    return data;
}

void registerNames(const Options& options)
{
    pemo::ServiceRegistryClient registry("127.0.0.1", static_cast<std::uint16_t>(options.registryPort));
    for (const auto& name : options.names)
    {
        pemo::ServiceRecord record;
        record.name = name;
        record.host = "127.0.0.1";
        record.port = static_cast<std::uint32_t>(options.port);
        record.path = "/";
        registry.registerService(record);
    }
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parse(argc, argv, options))
    {
        std::cerr << "usage: pemo-test-recorder --port N --dir DIR [--name NAME]... [--silent] [--registry-port N]"
                  << std::endl;
        return 2;
    }
    Poco::File(options.dir).createDirectories();
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    Poco::Net::ServerSocket server(Poco::Net::SocketAddress("127.0.0.1", static_cast<Poco::UInt16>(options.port)));
    registerNames(options);
    pemo::StartupEvent::signal(static_cast<int>(Poco::Process::id()));

    std::vector<Poco::Net::StreamSocket> held;
    int count = 0;
    while (!stopRequested)
    {
        if (!server.poll(Poco::Timespan(0, 100000), Poco::Net::Socket::SELECT_READ))
            continue;
        Poco::Net::StreamSocket client = server.acceptConnection();
        client.setReceiveTimeout(Poco::Timespan(2, 0));
        const std::string request = readRequest(client);
        std::ofstream(options.dir + "/request-" + std::to_string(++count) + ".http", std::ios::binary) << request;
        if (options.silent)
        {
            held.push_back(client);
            continue;
        }
        const std::string answer = "HTTP/1.1 204 No Content\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
        client.sendBytes(answer.data(), static_cast<int>(answer.size()));
        client.shutdown();
    }
    return 0;
}
