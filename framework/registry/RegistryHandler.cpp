#include "RegistryHandler.h"

#include "pemo/BodyReader.h"

#include <cereal/archives/json.hpp>
#include <cereal/types/vector.hpp>

#include <sstream>

namespace pemo {

using Poco::Net::HTTPResponse;

namespace {

void reply(HTTPRequestHandler::Response& response, HTTPResponse::HTTPStatus status, const std::string& reason = "")
{
    response.setStatus(status);
    response.setReason(reason.empty() ? HTTPResponse::getReasonForStatus(status) : reason);
    response.setContentLength(0);
    response.send();
}

template <class Write>
void replyJson(HTTPRequestHandler::Response& response, Write write)
{
    std::ostringstream out;
    {
        cereal::JSONOutputArchive archive(out);
        write(archive);
    }
    const std::string body = out.str();
    response.setStatus(HTTPResponse::HTTP_OK);
    response.setContentType("application/json");
    response.setContentLength(static_cast<std::streamsize>(body.size()));
    response.sendBuffer(body.data(), body.size());
}

const std::string& nameOf(const HTTPRequestHandler::Captures& captures)
{
    static const std::string none;
    return captures.empty() ? none : captures.front();
}

} // namespace

RegistryHandler::RegistryHandler(RegistryStore& store) : _store(store), _logger(Poco::Logger::get("ServiceRegistry"))
{
}

bool RegistryHandler::allows(const Permissions&) const
{
    return true;
}

void RegistryHandler::get(Request&, Response& response, const Captures& captures, SessionPtr)
{
    const std::string& name = nameOf(captures);
    if (name.empty())
    {
        auto records = _store.all();
        return replyJson(response, [&](cereal::JSONOutputArchive& ar) { ar(cereal::make_nvp("services", records)); });
    }
    auto record = _store.find(name);
    if (!record)
        return reply(response, HTTPResponse::HTTP_NOT_FOUND);
    replyJson(response, [&](cereal::JSONOutputArchive& ar) { record->serialize(ar); });
}

void RegistryHandler::post(Request& request, Response& response, const Captures& captures, SessionPtr)
{
    if (!nameOf(captures).empty())
        return reply(response, HTTPResponse::HTTP_METHOD_NOT_ALLOWED);
    ServiceRecord record;
    try
    {
        std::istringstream text(BodyReader::readJSON(request.stream()));
        cereal::JSONInputArchive archive(text);
        record.serialize(archive);
    }
    catch (const cereal::Exception& e)
    {
        _logger.warning("RegistryHandler::post malformed record: " + std::string(e.what()) + "; answering 400");
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST, "Malformed arguments");
    }
    catch (const Poco::DataFormatException& e)
    {
        _logger.warning("RegistryHandler::post refused record: " + e.displayText() + "; answering 400");
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST, "Malformed arguments");
    }
    if (record.name.empty())
        return reply(response, HTTPResponse::HTTP_BAD_REQUEST, "Malformed arguments");
    _store.put(record);
    _logger.debug("RegistryHandler::post " + record.name + " at " + record.host + ":" + std::to_string(record.port));
    reply(response, HTTPResponse::HTTP_NO_CONTENT);
}

void RegistryHandler::del(Request&, Response& response, const Captures& captures, SessionPtr)
{
    const std::string& name = nameOf(captures);
    if (name.empty())
        return reply(response, HTTPResponse::HTTP_METHOD_NOT_ALLOWED);
    if (!_store.remove(name))
        return reply(response, HTTPResponse::HTTP_NOT_FOUND);
    _logger.information("RegistryHandler::del " + name);
    reply(response, HTTPResponse::HTTP_NO_CONTENT);
}

} // namespace pemo
