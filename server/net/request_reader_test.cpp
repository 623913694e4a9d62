#include "server/net/request_reader.h"

#include <gtest/gtest.h>
#include <string>

namespace tolvik::server {
namespace {

using State = RequestReader::State;

/// Reads the text in parts of this size; what is not taken is fed again with the next part, as a connection does.
State readAll(RequestReader& reader, std::string_view text, std::size_t part, std::size_t limit = 100) {
    std::string waiting;
    while (true) {
        if (reader.state() == State::headed) {
            reader.readBody(limit);
        }
        if (reader.state() == State::done || reader.state() == State::refused) {
            return reader.state();
        }
        waiting.erase(0, reader.feed(waiting));
        if (reader.state() == State::headed) {
            continue;
        }
        if (text.empty()) {
            return reader.state();
        }
        waiting += text.substr(0, part);
        text.remove_prefix(std::min(part, text.size()));
    }
}

TEST(RequestReader, readsTheSameHoweverTheBytesAreCut) {
    const std::string text =
        "POST /tasks?a=1&b HTTP/1.1\r\nHost: x\r\nX-Op-Id: 7\r\nTransfer-Encoding: chunked\r\n\r\n"
        "5;note=1\r\nhello\r\n6\r\n world\r\n0\r\nauthorization: Bearer stolen\r\n\r\n";
    for (std::size_t part = 1; part <= text.size(); ++part) {
        RequestReader reader;
        ASSERT_EQ(readAll(reader, text, part), State::done) << part << " " << reader.reason();
        EXPECT_EQ(reader.request().method, "POST");
        EXPECT_EQ(reader.request().path, "/tasks");
        EXPECT_EQ(reader.request().query, "a=1&b");
        EXPECT_EQ(reader.request().body, "hello world");
        EXPECT_EQ(fieldOf(reader.request(), "x-op-id"), "7");
        // A trailer must not stand for a header that was checked before the body came.
        EXPECT_EQ(fieldOf(reader.request(), "authorization"), "");
        EXPECT_TRUE(reader.keepAlive());
    }
}

struct Refusal {
    const char* what;
    std::string text;
    int status;
};

TEST(RequestReader, refusesWhatTwoReadersCouldReadDifferently) {
    const std::string post = "POST / HTTP/1.1\r\nHost: x\r\n";
    const std::vector<Refusal> cases{
        {"length and chunks", post + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        {"chunks and length", post + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n", 400},
        {"two lengths", post + "Content-Length: 5\r\nContent-Length: 6\r\n\r\nhello", 400},
        {"two equal lengths", post + "Content-Length: 5\r\nContent-Length: 5\r\n\r\nhello", 400},
        {"a list of lengths", post + "Content-Length: 5, 5\r\n\r\nhello", 400},
        {"a signed length", post + "Content-Length: +5\r\n\r\nhello", 400},
        {"a negative length", post + "Content-Length: -1\r\n\r\n", 400},
        {"a length past 64 bits", post + "Content-Length: 99999999999999999999999\r\n\r\n", 400},
        {"another coding", post + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", 501},
        {"a coding not last", post + "Transfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n", 501},
        {"two codings", post + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        {"chunks of an old client", "POST / HTTP/1.0\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        {"a chunk's size in words", post + "Transfer-Encoding: chunked\r\n\r\nfive\r\n", 400},
        {"a chunk's size past 64 bits", post + "Transfer-Encoding: chunked\r\n\r\n11111111111111111\r\n", 400},
        {"a chunk longer than it says", post + "Transfer-Encoding: chunked\r\n\r\n2\r\nhello\r\n0\r\n\r\n", 400},
        {"a chunk's endless note", post + "Transfer-Encoding: chunked\r\n\r\n5;" + std::string(9000, 'a'), 400},
        {"space before the colon", "GET / HTTP/1.1\r\nHost : x\r\n\r\n", 400},
        {"a folded field", "GET / HTTP/1.1\r\nHost: x\r\nA: b\r\n c: d\r\n\r\n", 400},
        {"no host", "GET / HTTP/1.1\r\n\r\n", 400},
        {"two hosts", "GET / HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n", 400},
        {"two tokens", "GET / HTTP/1.1\r\nHost: x\r\nAuthorization: a\r\nAuthorization: b\r\n\r\n", 400},
        {"a NUL in a field", std::string("GET / HTTP/1.1\r\nHost: x\r\nA: b") + '\0' + "c\r\n\r\n", 400},
        {"a bare line feed", "GET / HTTP/1.1\nHost: x\n\n", 400},
        {"a whole address", "GET http://elsewhere/ HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"a control character in the path", "GET /a\x01 HTTP/1.1\r\nHost: x\r\n\r\n", 400},
        {"another protocol", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 505},
        {"not HTTP", std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n", 15), 400},
        {"a packed body", post + "Content-Encoding: gzip\r\nContent-Length: 1\r\n\r\na", 415},
        {"an unknown expectation", post + "Expect: cake\r\nContent-Length: 1\r\n\r\na", 417},
        {"a long body by its length", post + "Content-Length: 101\r\n\r\n", 413},
        {"a long body by its chunks", post + "Transfer-Encoding: chunked\r\n\r\n65\r\n" + std::string(101, 'a'), 413},
        {"a long header", "GET / HTTP/1.1\r\nHost: x\r\nA: " + std::string(20'000, 'a') + "\r\n\r\n", 431},
        {"a header without end", "GET / HTTP/1.1\r\nHost: x\r\nA: " + std::string(20'000, 'a'), 431},
        {"many fields",
         "GET / HTTP/1.1\r\nHost: x\r\n" +
             [] {
                 std::string fields;
                 for (int at = 0; at < 100; ++at) {
                     fields += "a" + std::to_string(at) + ": b\r\n";
                 }
                 return fields + "\r\n";
             }(),
         431},
    };
    for (const auto& one : cases) {
        for (const std::size_t part : {std::size_t{7}, std::size_t{100'000}}) {
            RequestReader reader;
            EXPECT_EQ(readAll(reader, one.text, part), State::refused) << one.what << " in parts of " << part;
            EXPECT_EQ(reader.status(), one.status) << one.what << ": " << reader.reason();
        }
    }
}

TEST(RequestReader, takesABodyOfExactlyTheLimitAndLeavesTheNextRequest) {
    RequestReader reader;
    std::string text = "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabcGET";
    std::string_view rest = text;
    rest.remove_prefix(reader.feed(rest));
    ASSERT_EQ(reader.state(), State::headed);
    reader.readBody(3);
    rest.remove_prefix(reader.feed(rest));
    EXPECT_EQ(reader.state(), State::done);
    EXPECT_EQ(reader.request().body, "abc");
    EXPECT_EQ(rest, "GET");
}

}  // namespace
}  // namespace tolvik::server
