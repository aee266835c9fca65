#include "SanitizingResponse.h"

#include <algorithm>

namespace pemo {

SanitizingResponse::SanitizingResponse(Poco::Net::HTTPServerResponse& response) : _response(response)
{
    Poco::Net::HTTPResponse::operator=(response);
}

SanitizingResponse::~SanitizingResponse() = default;

std::string SanitizingResponse::clean(const std::string& text)
{
    std::string result(text);
    std::replace_if(
        result.begin(), result.end(),
        [](char c) {
            const auto u = static_cast<unsigned char>(c);
            return (u < 0x20 && u != '\t') || u == 0x7f;
        },
        ' ');
    return result;
}

void SanitizingResponse::commit()
{
    Poco::Net::HTTPResponse& target = _response;
    target = *this;
    target.setReason(clean(getReason()));
    target.clear();
    for (const auto& [name, value] : *this)
        target.add(clean(name), clean(value));
}

void SanitizingResponse::sendContinue()
{
    _response.sendContinue();
}

std::ostream& SanitizingResponse::send()
{
    commit();
    return _response.send();
}

void SanitizingResponse::sendFile(const std::string& path, const std::string& mediaType)
{
    commit();
    _response.sendFile(path, clean(mediaType));
}

void SanitizingResponse::sendBuffer(const void* buffer, std::size_t length)
{
    commit();
    _response.sendBuffer(buffer, length);
}

void SanitizingResponse::redirect(const std::string& uri, HTTPStatus status)
{
    commit();
    _response.redirect(clean(uri), status);
}

void SanitizingResponse::requireAuthentication(const std::string& realm)
{
    commit();
    _response.requireAuthentication(clean(realm));
}

bool SanitizingResponse::sent() const
{
    return _response.sent();
}

} // namespace pemo
