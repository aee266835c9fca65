#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace pemo {
namespace system {

/// JSON that the daemon reads from outside a request: other programs' output
/// (update lists, error objects) and the files they keep (credentials,
/// identity, a skill's package.json). Such text is read as a request body is,
/// through pemo::BodyReader, so that no parser sees more than MAX_SIZE bytes
/// or recurses past pemo::BodyReader::MAX_DEPTH levels: a program or a file
/// is no more trusted than a caller.
class OutsideJSON
{
public:
    /// The most bytes read; the request bodies' default bound.
    static const std::size_t MAX_SIZE = 1024 * 1024;

    /// The whole of in, checked. Throws pemo::BodyTooLargeException past
    /// MAX_SIZE, pemo::JSONTooDeepException when it nests too deep and
    /// Poco::IOException when in fails: all of them Poco::Exceptions.
    static std::string read(std::istream& in);

    /// The text of the file at path, checked as read() does. Throws
    /// Poco::OpenFileException when the file cannot be opened.
    static std::string readFile(const std::string& path);

    /// text, checked as read() does (a program's captured output).
    static std::string check(const std::string& text);
};

} // namespace system
} // namespace pemo
