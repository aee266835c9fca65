#include "pemo/BodyReader.h"

#include <gtest/gtest.h>

using pemo::BodyReader;

// The count must follow the parser's: brackets in strings do not nest, and
// an escaped quote does not end a string while an escaped backslash does not
// escape the quote after it.
TEST(BodyReaderTest, DepthCountsOnlyBracketsOutsideStrings)
{
    const std::string deepest(BodyReader::MAX_DEPTH, '[');
    const std::string closed(BodyReader::MAX_DEPTH, ']');
    const struct
    {
        std::string text;
        bool refused;
    } cases[] = {
        {deepest + closed, false},
        {"{\"a\":" + deepest, true},
        {deepest + "][" + closed, false},
        {"[\"" + deepest + "{\"]", false},
        {"[\"\\\"" + deepest + "\"]", false},
        {"[\"\\\\\"" + deepest, true},
    };
    for (const auto& c : cases)
    {
        if (c.refused)
            EXPECT_THROW(BodyReader::checkDepth(c.text), pemo::JSONTooDeepException) << c.text;
        else
            EXPECT_NO_THROW(BodyReader::checkDepth(c.text)) << c.text;
    }
}
