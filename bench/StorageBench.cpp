// Storage benchmarks. Each prints its measurements as ratios against a
// reference measured in the same run (never asserted):
//  - the semantic usage of a generated tree of 100,000 files in 1,000
//    directories against `du -s` of the same tree, both with a warm cache,
//    and the byte totals of both (they must be equal);
//  - GET /storage/mounts over HTTP on this machine's mount table against
//    running `df`.
#include "BenchStats.h"
#include "FrameworkTestSupport.h"

#include "common/SystemUtil.h"
#include "storage/StorageHandler.h"
#include "storage/StorageManager.h"

#include <Poco/File.h>
#include <Poco/TemporaryFile.h>
#include <Poco/Util/MapConfiguration.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

using namespace pemo;
using Clock = std::chrono::steady_clock;

namespace {

using pemo::bench::median;
using pemo::bench::millisecondsSince;

const int DIRECTORIES = 1000;
const int FILES_PER_DIRECTORY = 100;
const int TREE_ROUNDS = 7;
const int MOUNT_ROUNDS = 100;

// File sizes vary from empty to a few blocks, so allocated and apparent
// sizes differ as they do on the device.
void generateTree(const std::string& root)
{
    for (int d = 0; d < DIRECTORIES; ++d)
    {
        const std::string directory = root + "/d" + std::to_string(d / 100) + "/" + std::to_string(d);
        Poco::File(directory).createDirectories();
        for (int f = 0; f < FILES_PER_DIRECTORY; ++f)
            std::ofstream(directory + "/f" + std::to_string(f)) << std::string((d * 37 + f * 101) % 9000, 'x');
    }
}

std::uint64_t duBytes(const std::string& root)
{
    return std::stoull(system::runProgram("du", {"-s", "-B1", root}).output);
}

double duOnce(const std::string& root)
{
    const auto start = Clock::now();
    system::runProgram("du", {"-s", root});
    return millisecondsSince(start);
}

void semanticTree()
{
    const std::string root = Poco::TemporaryFile::tempName();
    generateTree(root);
    Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
    config->setString("semantic.tree", root);
    system::StorageManager storage(config);

    std::uint64_t bytes = storage.getSemanticStorage().at(0).size;
    duOnce(root);
    std::vector<double> ours;
    std::vector<double> du;
    for (int round = 0; round < TREE_ROUNDS; ++round)
    {
        const auto start = Clock::now();
        bytes = storage.getSemanticStorage().at(0).size;
        ours.push_back(millisecondsSince(start));
        du.push_back(duOnce(root));
    }
    const std::uint64_t reference = duBytes(root);
    std::printf("semantic usage of %d files in %d directories: median %.1f ms; du -s median %.1f ms; ratio %.2f x "
                "(target <= 1.2)\n  bytes %llu, du -s -B1 %llu: %s\n",
                DIRECTORIES * FILES_PER_DIRECTORY, DIRECTORIES, median(ours), median(du), median(ours) / median(du),
                static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(reference),
                bytes == reference ? "equal" : "DIFFERENT");
    Poco::File(root).remove(true);
}

double timedRequest(unsigned port)
{
    const auto start = Clock::now();
    const test::Reply reply = test::request(port, "GET", "/storage/mounts", "trusted");
    if (reply.status != 200)
        std::printf("  /storage/mounts answered %d %s\n", reply.status, reply.reason.c_str());
    return millisecondsSince(start);
}

double dfOnce()
{
    const auto start = Clock::now();
    system::runProgram("df", {});
    return millisecondsSince(start);
}

void mounts()
{
    Poco::AutoPtr<Poco::Util::MapConfiguration> config(new Poco::Util::MapConfiguration);
    auto storage = std::make_shared<system::StorageManager>(config);
    std::unique_ptr<system::StorageHandler> handler;
    test::TestService service([&](test::TestService& s) {
        handler = std::make_unique<system::StorageHandler>(storage);
        s.registerHandler("^/storage/mounts/?$", handler.get());
    });
    service.startAll();

    timedRequest(service.port());
    dfOnce();
    std::vector<double> ours;
    std::vector<double> df;
    for (int round = 0; round < MOUNT_ROUNDS; ++round)
    {
        ours.push_back(timedRequest(service.port()));
        df.push_back(dfOnce());
    }
    std::printf("/storage/mounts (%zu mounts): median %.3f ms; df median %.3f ms; ratio %.2f x (target <= 3)\n",
                storage->getMounts().size(), median(ours), median(df), median(ours) / median(df));
}

} // namespace

int main()
{
    test::application();
    semanticTree();
    mounts();
    return 0;
}
