#pragma once

#include "pemo/BoundedInputStream.h"

#include <Poco/Exception.h>

#include <cstddef>
#include <istream>
#include <limits>
#include <string>

namespace pemo {

/// JSON text that nests arrays and objects deeper than a parser may recurse.
POCO_DECLARE_EXCEPTION(, JSONTooDeepException, Poco::DataFormatException)

/// Reads bodies that other processes send, so that whatever they hold can
/// be handed to a recursive JSON parser (cereal's rapidjson) safely: the
/// body is bounded in size, and its nesting is checked before any parser
/// sees it. Every JSON read of outside data goes through here.
class BodyReader
{
public:
    /// Deeper than anything the platform sends, far shallower than what
    /// would exhaust a server thread's stack.
    static const std::size_t MAX_DEPTH = 64;

    static const std::size_t UNBOUNDED = std::numeric_limits<std::size_t>::max();

    /// The whole of in. Throws BodyTooLargeException when in holds more than
    /// maxSize bytes (or is a BoundedInputStream past its own bound), and
    /// Poco::IOException when in fails before its end. Request bodies are
    /// already bounded by the framework, so handlers leave maxSize out.
    static std::string read(std::istream& in, std::size_t maxSize = UNBOUNDED);

    /// Throws JSONTooDeepException when text opens more than MAX_DEPTH
    /// arrays and objects without closing them; brackets inside strings do
    /// not count. Nothing else is checked: text that is not JSON passes and
    /// is left to the parser to refuse.
    static void checkDepth(const std::string& text);

    /// read(), then checkDepth() on what was read; throws what they throw.
    static std::string readJSON(std::istream& in, std::size_t maxSize = UNBOUNDED);
};

} // namespace pemo
