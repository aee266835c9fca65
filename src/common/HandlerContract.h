#pragma once

#include "common/JSON.h"

#include <pemo/BodyReader.h>
#include <pemo/BoundedInputStream.h>

#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPServerResponse.h>

#include <exception>
#include <istream>
#include <sstream>
#include <string>
#include <utility>

namespace pemo {
namespace system {

/// How every handler of the system reads request bodies and answers: errors
/// as a status with the text in the reason phrase and no body, results as
/// one pretty-printed JSON object sent in one buffer.
class HandlerContract
{
public:
    using Status = Poco::Net::HTTPResponse::HTTPStatus;

    /// The reason phrase for a body that is not JSON or lacks a member the
    /// endpoint needs, or holds it with the wrong type.
    static const std::string MALFORMED_ARGUMENTS;

    /// Answers status with reason as the reason phrase and an empty body
    /// (content length 0).
    static void sendError(Poco::Net::HTTPServerResponse& response, Status status, const std::string& reason);

    /// sendError() with the status's standard reason phrase.
    static void sendError(Poco::Net::HTTPServerResponse& response, Status status);

    /// Answers 204 No Content with content length 0.
    static void sendNoContent(Poco::Net::HTTPServerResponse& response);

    /// Answers 200 OK, content type "application/json", with body as the
    /// whole body sent in one buffer.
    static void sendJSON(Poco::Net::HTTPServerResponse& response, const std::string& body);

    /// The whole of in, read in blocks of 8192 bytes. A request body past
    /// the framework's bound throws pemo::BodyTooLargeException, which the
    /// framework answers with 413.
    static std::string readBody(std::istream& in);

    /// The text of one JSON object holding members (cereal::make_nvp), in
    /// order, written by cereal with its default options (pretty-printed,
    /// four-space indentation). Throws cereal::Exception (or whatever a
    /// member's serialisation throws) when a member cannot be written.
    template <class... Members> static std::string toJSON(Members&&... members)
    {
        std::ostringstream out;
        {
            cereal::JSONOutputArchive archive(out);
            archive(std::forward<Members>(members)...);
        }
        return out.str();
    }

    /// Answers 200 with the object holding members (see toJSON). When they
    /// cannot be written, logs why on logger and answers 500 with
    /// failureReason instead.
    template <class... Members>
    static void sendResult(Poco::Net::HTTPServerResponse& response, Poco::Logger& logger,
                           const std::string& failureReason, Members&&... members)
    {
        std::string body;
        try
        {
            body = toJSON(std::forward<Members>(members)...);
        }
        catch (const std::exception& e)
        {
            logger.error(failureReason + ": " + e.what());
            sendError(response, Poco::Net::HTTPResponse::HTTP_INTERNAL_SERVER_ERROR, failureReason);
            return;
        }
        sendJSON(response, body);
    }

    /// Reads the named members (cereal::make_nvp) from the JSON object on
    /// in. Throws cereal::Exception when in does not hold a JSON object, a
    /// member is missing, or a member has the wrong type, and
    /// Poco::DataFormatException when in nests too deep for the parser or
    /// is larger than its bound (see pemo::BodyReader).
    template <class... Members> static void fromJSON(std::istream& in, Members&&... members)
    {
        std::istringstream text(pemo::BodyReader::readJSON(in));
        cereal::JSONInputArchive archive(text);
        archive(std::forward<Members>(members)...);
    }

    /// fromJSON() that reports failure instead of throwing: false when the
    /// body cannot be read, with the parser's text in error. A body past the
    /// framework's bound still throws pemo::BodyTooLargeException: that is
    /// the framework's to answer (413), not a malformed body.
    template <class... Members> static bool readJSON(std::istream& in, std::string& error, Members&&... members)
    {
        try
        {
            fromJSON(in, std::forward<Members>(members)...);
            return true;
        }
        catch (const pemo::BodyTooLargeException&)
        {
            throw;
        }
        catch (const Poco::Exception& e)
        {
            error = e.displayText();
            return false;
        }
        catch (const std::exception& e)
        {
            error = e.what();
            return false;
        }
    }
};

} // namespace system
} // namespace pemo
