#include "FakeHTTP.h"
#include "ScratchDir.h"

#include "identity/IdentityHandler.h"

#include <gtest/gtest.h>

using namespace pemo::system;

// The file is read on every request: one handler sees each version of it.
TEST(IdentityHandlerTest, AnswersTheFourKnownMembersOfTheFileAsItIsNow)
{
    struct Case
    {
        const char* file; // null: no file
        int status;
        const char* reason;
        const char* answer;
    };
    const Case cases[] = {
        {R"({"wifi_mac": "m", "batch": 7, "cpuid": "c", "name": "n", "serial_number": "s"})", 200, "OK",
         "{\n    \"serial_number\": \"s\",\n    \"name\": \"n\",\n    \"cpuid\": \"c\",\n    \"wifi_mac\": \"m\"\n}"},
        {R"({"serial_number": "s", "name": "n", "cpuid": "c"})", 500, "Unable to parse identity file", ""},
        {R"({"serial_number": "s", "name": "n", "cpuid": "c", "wifi_mac": 1})", 500, "Unable to parse identity file",
         ""},
        {nullptr, 500, "Unable to read identity file", ""},
    };
    test::ScratchDir dir;
    IdentityHandler handler(dir.file("identity.json"));
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.file ? c.file : "no file");
        if (c.file)
            dir.write("identity.json", c.file);
        else
            ::remove(dir.file("identity.json").c_str());
        const test::HandlerAnswer answer = test::call(handler, "GET");
        EXPECT_EQ(c.status, answer.status);
        EXPECT_EQ(c.reason, answer.reason);
        EXPECT_EQ(c.answer, answer.body);
    }
}
