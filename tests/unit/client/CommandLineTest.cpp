// The command line itself: help at every level, completion, the token's
// sources and usage errors that no device sees.
#include "ClientError.h"
#include "CommandLine.h"
#include "Settings.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <unistd.h>

namespace pemo::client {
namespace {

int run(const std::vector<std::string>& args, std::string& out)
{
    std::istringstream in;
    std::ostringstream output, errors;
    CommandLine commandLine(in, output, errors);
    const int code = commandLine.run(args);
    out = output.str() + errors.str();
    return code;
}

TEST(CommandLineTest, EverySubcommandHasHelp)
{
    std::vector<std::vector<std::string>> paths{{}};
    CommandLine commandLine;
    std::size_t seen = 0;
    while (!paths.empty())
    {
        auto path = paths.back();
        paths.pop_back();
        std::vector<std::string> words = path;
        words.push_back("");
        for (const auto& word : commandLine.complete(words))
            if (word[0] != '-')
            {
                auto deeper = path;
                deeper.push_back(word);
                paths.push_back(deeper);
            }
        auto args = path;
        args.push_back("--help");
        std::string out;
        EXPECT_EQ(run(args, out), 0) << out;
        EXPECT_NE(out.find("Usage: pemoctl"), std::string::npos) << out;
        ++seen;
    }
    EXPECT_GE(seen, 45u) << "the walk missed subcommands";
}

TEST(CommandLineTest, CompletionOffersSubcommandsAndTheirOptions)
{
    CommandLine commandLine;
    EXPECT_EQ(commandLine.complete({"s"}), (std::vector<std::string>{"service", "session", "skill", "status", "storage", "system"}));
    const auto options = commandLine.complete({"wifi", "interface", "set", "--d"});
    EXPECT_EQ(options, (std::vector<std::string>{"--dhcp", "--dns"}));
    EXPECT_EQ(commandLine.complete({"--json", "pow"}), std::vector<std::string>{"power"});
    EXPECT_EQ(commandLine.complete({"power", "--y"}), std::vector<std::string>{"--yes"});
}

TEST(CommandLineTest, UsageErrorsExitTwo)
{
    std::string out;
    EXPECT_EQ(run({}, out), EXIT_USAGE);
    EXPECT_EQ(run({"--port", "65536", "mode"}, out), EXIT_USAGE);
    EXPECT_EQ(run({"service", "start"}, out), EXIT_USAGE);
    EXPECT_EQ(run({"credentials", "set", "--access-key-id", "a", "--region", "r"}, out), EXIT_USAGE);
    EXPECT_NE(out.find("--secret-access-key is required"), std::string::npos) << out;
    EXPECT_EQ(ClientError::forStatus(404), EXIT_BAD_REQUEST);
    EXPECT_EQ(ClientError::forStatus(503), EXIT_SERVER_ERROR);
}

TEST(SettingsTest, TheFirstReadableTokenFileCounts)
{
    char dir[] = "/tmp/pemoctl-token-XXXXXX";
    ASSERT_TRUE(mkdtemp(dir));
    const std::string first = std::string(dir) + "/first", second = std::string(dir) + "/second";
    std::ofstream(second) << "  second-token \n";
    EXPECT_EQ(Settings::readToken({first, second}), "second-token");
    std::ofstream(first) << "\n";
    EXPECT_EQ(Settings::readToken({first, second}), std::nullopt) << "a blank first file is no token";
    EXPECT_EQ(Settings::tokenFiles("/home/u"), (std::vector<std::string>{"/home/u/.config/pemo/token", "/etc/pemo/token"}));
    EXPECT_EQ(Settings::tokenFiles(nullptr), std::vector<std::string>{"/etc/pemo/token"});
    std::remove(first.c_str());
    std::remove(second.c_str());
    rmdir(dir);
}

} // namespace
} // namespace pemo::client
