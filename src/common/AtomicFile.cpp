#include "common/AtomicFile.h"

#include <Poco/Exception.h>
#include <Poco/Path.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace pemo {
namespace system {

namespace {

[[noreturn]] void fail(const std::string& step, const std::string& path, int error)
{
    throw Poco::FileException(step + " " + path + ": " + std::strerror(error));
}

/// Closes the descriptor on every way out of the scope.
class Descriptor
{
public:
    explicit Descriptor(int fd) : _fd(fd) {}
    ~Descriptor()
    {
        if (_fd >= 0)
            ::close(_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return _fd; }
    /// Closes now, reporting the error that a deferred write may surface.
    int close()
    {
        const int result = ::close(_fd);
        _fd = -1;
        return result;
    }

private:
    int _fd;
};

void writeAll(int fd, const std::string& content, const std::string& path)
{
    const char* data = content.data();
    std::size_t left = content.size();
    while (left > 0)
    {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            fail("Could not write", path, errno);
        data += written;
        left -= static_cast<std::size_t>(written);
    }
}

void writeSynced(const std::string& path, const std::string& content, mode_t mode)
{
    // A leftover of an interrupted write keeps its mode through O_TRUNC.
    ::unlink(path.c_str());
    Descriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (fd.get() < 0)
        fail("Could not create", path, errno);
    writeAll(fd.get(), content, path);
    if (::fsync(fd.get()) != 0)
        fail("Could not sync", path, errno);
    if (fd.close() != 0)
        fail("Could not close", path, errno);
}

void syncDirectory(const std::string& path)
{
    const std::string directory = Poco::Path(path).makeParent().toString();
    Descriptor fd(::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() < 0 || ::fsync(fd.get()) != 0)
        fail("Could not sync directory of", path, errno);
}

} // namespace

void writeFileAtomically(const std::string& path, const std::string& content, mode_t mode)
{
    const std::string temporary = path + ".new";
    try
    {
        writeSynced(temporary, content, mode);
        if (::rename(temporary.c_str(), path.c_str()) != 0)
            fail("Could not rename " + temporary + " over", path, errno);
    }
    catch (...)
    {
        ::unlink(temporary.c_str());
        throw;
    }
    // The new content is in place; only its durability across a power loss
    // is in question if this fails, and the caller hears of it.
    syncDirectory(path);
}

void replaceLinkAtomically(const std::string& path, const std::string& target)
{
    const std::string temporary = path + ".new";
    // A link left by an interrupted change would make symlink() fail.
    if (::unlink(temporary.c_str()) != 0 && errno != ENOENT)
        fail("Could not remove", temporary, errno);
    if (::symlink(target.c_str(), temporary.c_str()) != 0)
        fail("Could not link " + target + " as", temporary, errno);
    if (::rename(temporary.c_str(), path.c_str()) != 0)
    {
        const int error = errno;
        ::unlink(temporary.c_str());
        fail("Could not rename " + temporary + " over", path, error);
    }
    syncDirectory(path);
}

} // namespace system
} // namespace pemo
