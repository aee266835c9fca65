#pragma once

#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <Poco/File.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace pemo {
namespace system {
namespace test {

/// A fresh directory under /tmp, removed with everything in it on
/// destruction. Tests put the stand-in programs they run there.
class ScratchDir
{
public:
    ScratchDir()
    {
        char pattern[] = "/tmp/pemo-unit-XXXXXX";
        if (!mkdtemp(pattern))
            throw Poco::IOException("mkdtemp failed");
        _path = pattern;
    }
    ~ScratchDir()
    {
        try
        {
            Poco::File(_path).remove(true);
        }
        catch (const Poco::Exception&)
        {
        }
    }

    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return _path; }
    std::string file(const std::string& name) const { return _path + "/" + name; }

    /// Writes a file with content; returns its path.
    std::string write(const std::string& name, const std::string& content) const
    {
        std::ofstream(file(name), std::ios::binary | std::ios::trunc) << content;
        return file(name);
    }
    /// Writes an executable shell script with body after the "#!/bin/sh"
    /// line; returns its path.
    std::string script(const std::string& name, const std::string& body) const
    {
        Poco::File(write(name, "#!/bin/sh\n" + body + "\n")).setExecutable(true);
        return file(name);
    }
    /// The content of a file in the directory; empty when it is missing.
    std::string read(const std::string& name) const
    {
        std::ostringstream content;
        content << std::ifstream(file(name), std::ios::binary).rdbuf();
        return content.str();
    }
    /// The target of a symbolic link in the directory; empty when it is none.
    std::string linkTarget(const std::string& name) const
    {
        char target[4096];
        const ssize_t n = ::readlink(file(name).c_str(), target, sizeof(target));
        return n < 0 ? std::string() : std::string(target, static_cast<std::size_t>(n));
    }

private:
    std::string _path;
};

/// Puts a directory first on PATH for its lifetime, so programs looked up
/// by name are found there before anywhere else.
class PathPrefix
{
public:
    explicit PathPrefix(const std::string& directory) : _saved(Poco::Environment::get("PATH", ""))
    {
        Poco::Environment::set("PATH", directory + ":" + _saved);
    }
    ~PathPrefix() { Poco::Environment::set("PATH", _saved); }

    PathPrefix(const PathPrefix&) = delete;
    PathPrefix& operator=(const PathPrefix&) = delete;

private:
    std::string _saved;
};

} // namespace test
} // namespace system
} // namespace pemo
