#include "pemo/BodyReader.h"

#include <gtest/gtest.h>

using pemo::BodyReader;

namespace {

std::string repeat(const std::string& text, std::size_t times)
{
    std::string result;
    for (std::size_t i = 0; i < times; ++i)
        result += text;
    return result;
}

} // namespace

// The count must follow the parser's: brackets in strings do not nest, and
// an escaped quote does not end a string while an escaped backslash does not
// escape the quote after it.
TEST(BodyReaderTest, DepthCountsOnlyBracketsOutsideStrings)
{
    const std::string deepest = repeat("[", BodyReader::MAX_DEPTH);
    const struct
    {
        std::string text;
        bool refused;
    } cases[] = {
        {deepest + repeat("]", BodyReader::MAX_DEPTH), false},
        {"{\"a\":" + deepest, true},
        {repeat("[{}]", 1000), false},
        {"[\"" + deepest + "{\"]", false},
        {"[\"\\\"" + deepest + "\"]", false},
        {"[\"\\\\\"" + deepest, true},
        {"not json at all", false},
    };
    for (const auto& c : cases)
    {
        if (c.refused)
            EXPECT_THROW(BodyReader::checkDepth(c.text), pemo::JSONTooDeepException) << c.text;
        else
            EXPECT_NO_THROW(BodyReader::checkDepth(c.text)) << c.text;
    }
}
