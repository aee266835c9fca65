#include "RequestFramer.h"

#include <gtest/gtest.h>

#include <string>

using pemo::RequestFramer;
using State = RequestFramer::State;

namespace {

RequestFramer::Limits limits(std::size_t maxBody = 64)
{
    RequestFramer::Limits l;
    l.maxBody = maxBody;
    return l;
}

// Feeds text a byte at a time, as the slowest client would send it, and
// returns the state after the last byte.
State drip(RequestFramer& framer, const std::string& text)
{
    State state = framer.state();
    for (char c : text)
        state = framer.feed(&c, 1);
    return state;
}

State feed(RequestFramer& framer, const std::string& text)
{
    return framer.feed(text.data(), text.size());
}

} // namespace

// A body only counts once whole, however it is cut, and what follows a
// request on the connection is the next request, not part of this one.
TEST(RequestFramerTest, RequestsCompleteOnlyWhenWholeAndPipelinedOnesFollow)
{
    RequestFramer framer(limits());
    EXPECT_FALSE(framer.started());
    EXPECT_EQ(drip(framer, "\r\nPOST /a HTTP/1.1\r\nContent-Length: 5\r\n\r\nhel"), State::Body);
    EXPECT_TRUE(framer.started());
    EXPECT_EQ(feed(framer, "loGET /b HTTP/1.1\r\n\r\nPOST /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
                           "3;ext=1\r\nabc\r\nA\r\n0123456789\r\n0\r\nTrailer: x\r\n\r\nGET"),
              State::Complete);
    EXPECT_EQ(framer.request().getURI(), "/a");
    EXPECT_EQ(framer.takeBody(), "hello");

    EXPECT_EQ(framer.restart(), State::Complete);
    EXPECT_EQ(framer.request().getURI(), "/b");
    EXPECT_EQ(framer.takeBody(), "");

    EXPECT_EQ(framer.restart(), State::Complete);
    EXPECT_EQ(framer.request().getURI(), "/c");
    EXPECT_EQ(framer.takeBody(), "abc0123456789");

    EXPECT_EQ(framer.restart(), State::Head);
    EXPECT_TRUE(framer.started());
    EXPECT_EQ(feed(framer, " /d HTTP/1.1\r\n\r\n"), State::Complete);
    EXPECT_EQ(framer.request().getMethod(), "GET");
}

TEST(RequestFramerTest, ChunkedBodyCutAtEveryByteIsTheSame)
{
    RequestFramer framer(limits());
    EXPECT_EQ(drip(framer, "PUT /x HTTP/1.1\r\ntransfer-encoding: Chunked\r\n\r\n"
                           "2\r\nab\r\n1\r\nc\r\n0\r\n\r\n"),
              State::Complete);
    EXPECT_EQ(framer.takeBody(), "abc");
}

// The client that asks is told to go on once, when its head is in; one
// that sends no body is never told.
TEST(RequestFramerTest, ContinueIsOwedOnceAndOnlyForABody)
{
    RequestFramer framer(limits());
    EXPECT_EQ(feed(framer, "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 2\r\n\r\n"), State::Body);
    EXPECT_TRUE(framer.takeContinue());
    EXPECT_FALSE(framer.takeContinue());
    EXPECT_EQ(feed(framer, "ok"), State::Complete);

    RequestFramer empty(limits());
    EXPECT_EQ(feed(empty, "POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 0\r\n\r\n"), State::Complete);
    EXPECT_FALSE(empty.takeContinue());
}

TEST(RequestFramerTest, EachBoundAndMalformedFrameIsRefusedWithItsStatus)
{
    const std::string line(8193, 'a');
    std::string manyFields;
    for (int i = 0; i < 101; ++i)
        manyFields += "X-" + std::to_string(i) + ": v\r\n";
    std::string bigHead;
    for (int i = 0; i < 9; ++i)
        bigHead += "X-" + std::to_string(i) + ": " + std::string(8000, 'v') + "\r\n";
    const struct
    {
        std::string text;
        int status;
    } cases[] = {
        {"GET /" + line, 431},
        {"GET / HTTP/1.1\r\nX: " + line + "\r\n\r\n", 431},
        {"GET / HTTP/1.1\r\n" + manyFields + "\r\n", 431},
        {"GET / HTTP/1.1\r\n" + bigHead + "\r\n", 431},
        {"POST / HTTP/1.1\r\nContent-Length: 65\r\n\r\n", 413},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n40\r\n" + std::string(64, 'a') + "\r\n1\r\n", 413},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" + std::string(20, 'f') + "\r\n", 400},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nab\r\n", 400},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nTransfer-Encoding: gzip, chunked\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nContent-Length: 3x\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
        {"GET / HTTP/1.1\r\n" + std::string(300, 'X') + ": v\r\n\r\n", 400},
        {"GET\r\n\r\n", 400},
    };
    for (const auto& c : cases)
    {
        RequestFramer framer(limits());
        EXPECT_EQ(feed(framer, c.text), State::Refused) << c.text.substr(0, 80);
        EXPECT_EQ(framer.refusal(), c.status) << c.text.substr(0, 80);
    }
}

// A hundred fields, the longest line and the largest body are all still
// one request.
TEST(RequestFramerTest, TheBoundsThemselvesPass)
{
    std::string fields;
    for (int i = 0; i < 98; ++i)
        fields += "X-" + std::to_string(i) + ": v\r\n";
    const std::string longest = "Y: " + std::string(8192 - 3, 'a');
    RequestFramer framer(limits());
    EXPECT_EQ(feed(framer, "POST / HTTP/1.1\r\n" + fields + longest + "\r\nContent-Length: 64\r\n\r\n" +
                               std::string(64, 'b')),
              State::Complete);
    EXPECT_EQ(framer.takeBody(), std::string(64, 'b'));
}
