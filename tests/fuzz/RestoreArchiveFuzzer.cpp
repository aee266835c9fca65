// A restore archive, whatever it holds (absolute paths, "..", symbolic and
// hard links, devices, huge sizes), extracted into a staging directory:
// nothing may land outside it.
//
// Each extraction runs chrooted into a jail directory (made in the working
// directory), so even an absolute path or a link out of the staging
// directory can only reach the jail, where the check finds it, never this
// machine; the real root is kept open to leave the jail afterwards. Needs
// root for chroot.
#include "service/Archive.h"

#include <Poco/Exception.h>
#include <Poco/File.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

const std::string ARCHIVE = "archive.tar";
// Deep, so that a few ".." from the staging directory still land in the jail.
const std::string STAGING = "d1/d2/d3/staging";

[[noreturn]] void fail(const std::string& what)
{
    std::fprintf(stderr, "restore fuzzer: %s (%s)\n", what.c_str(), std::strerror(errno));
    std::abort();
}

struct Jail
{
    std::string root;
    int realRoot = -1;
    int workDir = -1;
};

Jail& jail()
{
    static Jail* const j = [] {
        if (::geteuid() != 0)
        {
            std::fprintf(stderr, "restore fuzzer: extracts chrooted, so it runs only as root\n");
            std::exit(1);
        }
        auto* made = new Jail;
        char name[] = "restore-jail.XXXXXX";
        char resolved[PATH_MAX];
        if (!::mkdtemp(name) || !::realpath(name, resolved))
            fail("cannot make the jail");
        made->root = resolved;
        made->realRoot = ::open("/", O_DIRECTORY | O_CLOEXEC);
        made->workDir = ::open(".", O_DIRECTORY | O_CLOEXEC);
        if (made->realRoot < 0 || made->workDir < 0)
            fail("cannot keep the real root open");
        // libFuzzer ends with exit(); a crash keeps the jail for a look.
        std::atexit([] { Poco::File(jail().root).remove(true); });
        return made;
    }();
    return *j;
}

void reset(const Jail& j, const char* data, std::size_t size)
{
    std::vector<std::string> names;
    Poco::File(j.root).list(names);
    for (const auto& name : names)
        Poco::File(j.root + "/" + name).remove(true);
    Poco::File(j.root + "/" + STAGING).createDirectories();
    std::ofstream(j.root + "/" + ARCHIVE, std::ios::binary).write(data, static_cast<std::streamsize>(size));
}

void extractJailed(const Jail& j)
{
    // The working directory stays outside the jail, so that libFuzzer can
    // still write a crash's input there; the extraction uses absolute paths.
    if (::chdir(j.root.c_str()) != 0 || ::chroot(".") != 0 || ::fchdir(j.workDir) != 0)
        fail("cannot enter the jail");
    try
    {
        pemo::system::Archive::unpack("/" + ARCHIVE, "/" + STAGING);
    }
    catch (const Poco::Exception&)
    {
        // Refused or broken archives are expected; only escapes count.
    }
    if (::fchdir(j.realRoot) != 0 || ::chroot(".") != 0 || ::fchdir(j.workDir) != 0)
        fail("cannot leave the jail");
}

// Everything in the jail but the archive, the staging directory's parents
// and what lies below it was written outside the staging directory.
void checkNothingOutside(const Jail& j, const std::string& relative)
{
    std::vector<std::string> names;
    Poco::File(j.root + (relative.empty() ? "" : "/" + relative)).list(names);
    for (const auto& name : names)
    {
        const std::string path = relative.empty() ? name : relative + "/" + name;
        if (path == STAGING || path == ARCHIVE)
            continue;
        struct stat info;
        const bool parent = STAGING.compare(0, path.size() + 1, path + "/") == 0;
        if (!parent || ::lstat((j.root + "/" + path).c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            fail("written outside the staging directory: /" + path);
        checkNothingOutside(j, path);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size)
{
    const Jail& j = jail();
    reset(j, data, size);
    extractJailed(j);
    checkNothingOutside(j, "");
    std::ifstream archive(j.root + "/" + ARCHIVE, std::ios::binary);
    if (std::string(std::istreambuf_iterator<char>(archive), {}) != std::string(data, size))
        fail("the archive itself was overwritten");
    return 0;
}
