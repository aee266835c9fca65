#include "FakeHTTP.h"

#include "common/HandlerContract.h"

#include <Poco/Logger.h>

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

using namespace pemo::system;

using Poco::Net::HTTPResponse;

namespace {

// A value whose serialisation fails, as a result that cannot be written does.
struct Unwritable
{
    template <class Archive> void save(Archive&) const { throw cereal::Exception("cannot write"); }
};

} // namespace

// Pretty-printed with four spaces, the values as members of one object.
TEST(HandlerContractTest, SendResultSendsTheBodyOnceWithItsLength)
{
    pemo::InProcessResponse response;

    HandlerContract::sendResult(response, Poco::Logger::get("test"), "unused",
                                cereal::make_nvp("names", std::vector<std::string>{"a", "b"}),
                                cereal::make_nvp("count", 2));

    const std::string expected = "{\n    \"names\": [\n        \"a\",\n        \"b\"\n    ],\n    \"count\": 2\n}";
    EXPECT_EQ(HTTPResponse::HTTP_OK, response.getStatus());
    EXPECT_EQ("OK", response.getReason());
    EXPECT_EQ("application/json", response.getContentType());
    EXPECT_EQ(static_cast<std::streamsize>(expected.size()), response.getContentLength());
    EXPECT_EQ(expected, response.body());
    EXPECT_EQ(1, response.sendCount());
}

TEST(HandlerContractTest, SendResultAnswersTheEndpointsPhraseWhenTheResultCannotBeWritten)
{
    pemo::InProcessResponse response;

    HandlerContract::sendResult(response, Poco::Logger::get("test"), "Could not serialize mode",
                                cereal::make_nvp("mode", Unwritable()));

    EXPECT_EQ(HTTPResponse::HTTP_INTERNAL_SERVER_ERROR, response.getStatus());
    EXPECT_EQ("Could not serialize mode", response.getReason());
    EXPECT_EQ(0, response.getContentLength());
    EXPECT_EQ("", response.body());
    EXPECT_EQ(1, response.sendCount());
}

// Errors with a phrase of their own and no content are pinned, body, length
// and all, through the handlers that send them (the mode endpoint's table).
TEST(HandlerContractTest, ErrorWithoutAPhraseTakesTheStandardOne)
{
    pemo::InProcessResponse standard;
    HandlerContract::sendError(standard, HTTPResponse::HTTP_INTERNAL_SERVER_ERROR);
    EXPECT_EQ("Internal Server Error", standard.getReason());
    EXPECT_EQ(0, standard.getContentLength());
}

TEST(HandlerContractTest, ReadsNamedMembersInAnyOrderIgnoringOthers)
{
    std::istringstream body(R"({"extra": {"x": 1}, "context": "c", "name": "n"})");
    std::string name;
    std::string context;
    std::string error;

    ASSERT_TRUE(
        HandlerContract::readJSON(body, error, cereal::make_nvp("name", name), cereal::make_nvp("context", context)))
        << error;
    EXPECT_EQ("n", name);
    EXPECT_EQ("c", context);
}

// Every one of these must come back as a failure, not abort the process
// through a rapidjson assertion and not leave a half-read value behind.
TEST(HandlerContractTest, MalformedBodiesAreRefused)
{
    const std::vector<std::string> bodies{
        "",                        // empty
        "mode=normal",             // not JSON
        "{\"mode\": \"normal\"",   // truncated
        "{\"mode\": \"a\"} trail", // more than one value
        "[\"normal\"]",            // not an object
        "{}",                      // member missing
        "{\"mod\": \"x\"}",        // member misspelt
        "{\"mode\": 5}",           // number for a string
        "{\"mode\": null}",        // null for a string
        "{\"mode\": [\"a\"]}",     // array for a string
        "{\"mode\": {\"a\": 1}}",  // object for a string
    };
    for (const auto& text : bodies)
    {
        std::istringstream body(text);
        std::string mode;
        std::string error;
        EXPECT_FALSE(HandlerContract::readJSON(body, error, cereal::make_nvp("mode", mode))) << text;
        EXPECT_FALSE(error.empty()) << text;
    }
    // Containers and flags are checked as strictly.
    for (const std::string text : {"{\"ids\": \"a\"}", "{\"ids\": [1, 2]}", "{\"ids\": {\"a\": \"b\"}}"})
    {
        std::istringstream body(text);
        std::vector<std::string> ids;
        std::string error;
        EXPECT_FALSE(HandlerContract::readJSON(body, error, cereal::make_nvp("ids", ids))) << text;
    }
    std::istringstream body("{\"enabled\": \"yes\"}");
    bool enabled = false;
    std::string error;
    EXPECT_FALSE(HandlerContract::readJSON(body, error, cereal::make_nvp("enabled", enabled)));
}
