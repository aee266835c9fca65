#include "ScratchDir.h"

#include <Poco/Environment.h>
#include <Poco/Exception.h>
#include <Poco/File.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

namespace pemo {
namespace system {
namespace test {

ScratchDir::ScratchDir()
{
    std::string pattern = "/tmp/pemo-unit-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data()))
        throw Poco::IOException("mkdtemp failed");
    _path = buffer.data();
}

ScratchDir::~ScratchDir()
{
    try
    {
        Poco::File(_path).remove(true);
    }
    catch (const Poco::Exception&)
    {
    }
}

std::string ScratchDir::write(const std::string& name, const std::string& content) const
{
    const std::string path = file(name);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    return path;
}

std::string ScratchDir::script(const std::string& name, const std::string& body) const
{
    const std::string path = write(name, "#!/bin/sh\n" + body + "\n");
    Poco::File(path).setExecutable(true);
    return path;
}

std::string ScratchDir::read(const std::string& name) const
{
    std::ifstream in(file(name), std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

PathPrefix::PathPrefix(const std::string& directory) : _saved(Poco::Environment::get("PATH", ""))
{
    Poco::Environment::set("PATH", directory + ":" + _saved);
}

PathPrefix::~PathPrefix()
{
    Poco::Environment::set("PATH", _saved);
}

} // namespace test
} // namespace system
} // namespace pemo
