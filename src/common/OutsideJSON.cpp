#include "common/OutsideJSON.h"

#include <pemo/BodyReader.h>

#include <Poco/Exception.h>

#include <fstream>
#include <sstream>

namespace pemo {
namespace system {

std::string OutsideJSON::read(std::istream& in)
{
    return pemo::BodyReader::readJSON(in, MAX_SIZE);
}

std::string OutsideJSON::readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw Poco::OpenFileException(path);
    return read(in);
}

std::string OutsideJSON::check(const std::string& text)
{
    std::istringstream in(text);
    return read(in);
}

} // namespace system
} // namespace pemo
