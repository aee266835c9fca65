#include "pemo/BodyReader.h"

#include <Poco/StreamCopier.h>

#include <typeinfo>

namespace pemo {

POCO_IMPLEMENT_EXCEPTION(JSONTooDeepException, Poco::DataFormatException, "JSON nested too deep")

std::string BodyReader::read(std::istream& in, std::size_t maxSize)
{
    BoundedInputStream bounded(in, maxSize);
    std::string text;
    Poco::StreamCopier::copyToString(bounded, text, 8192);
    return text;
}

// The parser's depth at any point of a valid prefix equals the count kept
// here; where the prefix stops being valid the parser stops too, so the
// count bounds its recursion without parsing anything.
void BodyReader::checkDepth(const std::string& text)
{
    std::size_t depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text)
    {
        if (inString)
        {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
        }
        else if (c == '"')
            inString = true;
        else if ((c == '[' || c == '{') && ++depth > MAX_DEPTH)
            throw JSONTooDeepException("more than " + std::to_string(MAX_DEPTH) + " levels");
        else if ((c == ']' || c == '}') && depth > 0)
            --depth;
    }
}

std::string BodyReader::readJSON(std::istream& in, std::size_t maxSize)
{
    std::string text = read(in, maxSize);
    checkDepth(text);
    return text;
}

} // namespace pemo
