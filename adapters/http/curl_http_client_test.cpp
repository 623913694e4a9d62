#include "adapters/http/curl_http_client.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/system/system_random.h"
#include "tests/fakes/local_server.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;
using Connection = LocalServer::Connection;
using Answer = Result<HttpResponse, HttpFailure>;

constexpr Millis kPatience{20'000};

class Variable {
public:
    Variable(const char* name, const std::string& value) : name_(name) { ::setenv(name, value.c_str(), 1); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { ::unsetenv(name_); }

private:
    const char* name_;
};

class CurlHttpClientTest : public testing::Test {
protected:
    CurlHttpClientTest() {
        for (const char* name :
             {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "SSL_CERT_FILE"}) {
            ::unsetenv(name);
        }
    }
    Answer ask(HttpRequest request) {
        std::optional<Answer> answer;
        const auto exchange = client.send(std::move(request), [&](Answer given) { answer = std::move(given); });
        EXPECT_FALSE(answer) << "never before the call has returned";
        EXPECT_TRUE(loop.runUntil([&] { return answer.has_value(); }, kPatience));
        return answer.value_or(failure(HttpFailure{HttpFailure::Kind::transport, "the test waited in vain"}));
    }
    Answer get(const std::string& url, Millis timeout = kPatience) {
        return ask({.method = "GET", .url = url, .headers = {}, .body = {}, .timeout = timeout});
    }

    AsioMainLoop loop;
    CurlHttpClient client{loop};
};

std::string reply(std::string_view body, std::string_view more = {}) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + std::string(more) + "\r\n" +
           std::string(body);
}

TEST_F(CurlHttpClientTest, sendsWhatItIsGivenAndNothingElse) {
    LocalServer* self = nullptr;
    LocalServer server([&](Connection& connection) {
        for (std::string request = connection.readRequest(); !request.empty(); request = connection.readRequest()) {
            self->record(request);
            connection.write("HTTP/1.1 100 Continue\r\n\r\n" + reply("hello", "Retry-After:  7 \r\nX: 1\r\n"));
        }
    });
    self = &server;
    const std::string host = "Host: localhost:" + std::to_string(server.port()) + "\r\n";

    const auto answer = ask({.method = "POST",
                             .url = server.url() + "//a/../b?x=%20",
                             .headers = {{"content-type", "application/json"}, {"X-TZ", "UTC"}, {"x-empty", ""}},
                             .body = std::string("{\0}", 3)});
    ASSERT_TRUE(answer) << answer.error().description;
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->body, "hello");
    EXPECT_EQ(findHeader(answer->headers, "retry-after"), "7");
    ASSERT_TRUE(ask({.method = "POST", .url = server.url() + "/auth/logout"}));
    ASSERT_TRUE(ask({.method = "DELETE", .url = server.url() + "/tasks/1"}));
    const auto seen = server.seen();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[0], "POST //a/../b?x=%20 HTTP/1.1\r\n" + host +
                           "content-type: application/json\r\nX-TZ: UTC\r\nx-empty:\r\nContent-Length: 3\r\n\r\n" +
                           std::string("{\0}", 3));
    EXPECT_EQ(seen[1], "POST /auth/logout HTTP/1.1\r\n" + host + "Content-Length: 0\r\n\r\n");
    EXPECT_EQ(seen[2], "DELETE /tasks/1 HTTP/1.1\r\n" + host + "\r\n");
    EXPECT_EQ(server.connections(), 1) << "a connection is used again";
}

TEST_F(CurlHttpClientTest, refusesWhatMustNotBeSent) {
    LocalServer server([](Connection& connection) { connection.waitForEnd(); });
    const auto kindOf = [&](const HttpRequest& request) {
        const auto answer = ask(request);
        return answer ? std::nullopt : std::optional(answer.error().kind);
    };
    for (const std::string& url :
         {std::string(), std::string("/auth/otp/send"), std::string("localhost/x"), std::string("file:///etc/passwd"),
          std::string("ftp://localhost/"), std::string("https://"), std::string("http://local host/"),
          std::string("http://localhost:99999/")}) {
        EXPECT_EQ(kindOf({.method = "GET", .url = url}), HttpFailure::Kind::invalidUrl) << url;
    }
    const auto with = [&](std::string name, std::string value) {
        return HttpRequest{.method = "GET", .url = server.url(), .headers = {{std::move(name), std::move(value)}}};
    };
    EXPECT_EQ(kindOf(with("x-title", "a\r\nauthorization: Bearer x")), HttpFailure::Kind::invalidUrl);
    EXPECT_EQ(kindOf(with("x-title", "a\nb")), HttpFailure::Kind::invalidUrl);
    EXPECT_EQ(kindOf(with("x-title", std::string("a\0b", 3))), HttpFailure::Kind::invalidUrl);
    EXPECT_EQ(kindOf(with("x title", "a")), HttpFailure::Kind::invalidUrl);
    EXPECT_EQ(kindOf({.method = "GET / HTTP/1.1\r\nx: y", .url = server.url()}), HttpFailure::Kind::invalidUrl);
    EXPECT_EQ(server.connections(), 0);
}

TEST_F(CurlHttpClientTest, followsNoRedirect) {
    LocalServer* self = nullptr;
    LocalServer server([&](Connection& connection) {
        self->record(connection.readRequest());
        connection.write("HTTP/1.1 302 Found\r\nLocation: " + self->url() + "/stolen\r\nContent-Length: 0\r\n\r\n");
    });
    self = &server;
    const auto answer = ask({.method = "GET", .url = server.url() + "/", .headers = {{"authorization", "Bearer t"}}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 302);
    EXPECT_EQ(server.seen().size(), 1U);
}

TEST_F(CurlHttpClientTest, survivesHostileServers) {
    const auto failed = [&](LocalServer::Serve serve, Millis timeout = kPatience) {
        LocalServer server(std::move(serve));
        const auto answer = get(server.url() + "/", timeout);
        return answer ? std::nullopt : std::optional(answer.error().kind);
    };
    const std::string megabyte(std::size_t{1} << 20U, 'x');
    const auto withHead = [&](const std::string& head) {
        return [&, head](Connection& connection) {
            connection.readRequest();
            connection.write(head);
            while (connection.write(megabyte)) {
            }
        };
    };
    EXPECT_EQ(failed(withHead("HTTP/1.1 200 OK\r\n\r\n")), HttpFailure::Kind::tooLarge) << "endless body";
    EXPECT_EQ(failed(withHead("HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n")), HttpFailure::Kind::tooLarge);
    EXPECT_EQ(failed([](Connection& connection) {
                  connection.readRequest();
                  connection.write("HTTP/1.1 200 OK\r\n");
                  while (connection.write("x-more: " + std::string(8'000, 'h') + "\r\n")) {
                  }
              }),
              HttpFailure::Kind::tooLarge)
        << "endless head";
    EXPECT_EQ(failed([](Connection& connection) {
                  connection.readRequest();
                  connection.write("SSH-2.0-OpenSSH_9.2\r\n");
              }),
              HttpFailure::Kind::transport)
        << "no HTTP";
    EXPECT_EQ(failed([](Connection& connection) {
                  connection.readRequest();
                  connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
              }),
              HttpFailure::Kind::transport)
        << "cut short";
    EXPECT_EQ(failed([](Connection& connection) { connection.waitForEnd(); }, Millis{100}),
              HttpFailure::Kind::transport)
        << "silent";
    EXPECT_EQ(failed(
                  [](Connection& connection) {
                      connection.readRequest();
                      connection.write("HTTP/1.1 200 OK\r\n\r\n");
                      while (connection.write(".")) {
                          std::this_thread::sleep_for(Millis{10});
                      }
                  },
                  Millis{300}),
              HttpFailure::Kind::transport)
        << "a byte at a time for ever";
    const auto nobody = get("http://localhost:1/");
    ASSERT_FALSE(nobody);
    EXPECT_EQ(nobody.error().description, "the server could not be reached");
}

TEST_F(CurlHttpClientTest, trustsTheAuthoritiesOfTheEnvironmentAlone) {
    const fs::path folder = fs::path(testing::TempDir()) / ("curl-" + std::to_string(SystemRandom().next()));
    fs::create_directories(folder);
    const TestCertificate certificate(folder.string());
    ASSERT_TRUE(certificate.isMade);
    LocalServer server(
        [](Connection& connection) {
            connection.readRequest();
            connection.write(reply("secret"));
        },
        &certificate);
    const auto stranger = get(server.url() + "/");
    ASSERT_FALSE(stranger);
    EXPECT_EQ(stranger.error().description, "the server's certificate is not trusted");
    {
        const Variable authorities("SSL_CERT_FILE", certificate.certificate);
        const auto known = get(server.url() + "/");
        ASSERT_TRUE(known) << known.error().description;
        EXPECT_EQ(known->body, "secret");
        const auto otherName = get("https://127.0.0.2:" + std::to_string(server.port()) + "/");
        ASSERT_FALSE(otherName) << "the certificate is for another name";
    }
    const Variable broken("SSL_CERT_FILE", (folder / "missing.pem").string());
    EXPECT_FALSE(get("https://localhost:" + std::to_string(server.port()) + "/"));
    fs::remove_all(folder);
}

TEST_F(CurlHttpClientTest, goesThroughTheProxyAndKeepsTheTokenFromIt) {
    LocalServer* self = nullptr;
    LocalServer proxy([&](Connection& connection) {
        self->record(connection.readRequest());
        connection.write("HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n");
    });
    self = &proxy;
    const Variable variable("https_proxy", "http://localhost:" + std::to_string(proxy.port()));
    const auto answer = ask({.method = "GET",
                             .url = "https://tolvik.invalid/x",
                             .headers = {{"authorization", "Bearer t0ken"}},
                             .body = {},
                             .timeout = kPatience});
    EXPECT_FALSE(answer);
    const auto seen = proxy.seen();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_TRUE(seen[0].starts_with("CONNECT tolvik.invalid:443"));
    EXPECT_EQ(seen[0].find("t0ken"), std::string::npos);
}

class CurlStreamTest : public CurlHttpClientTest {
protected:
    void open(const std::string& url, Millis silence = kPatience, Millis lifetime = Millis{0}) {
        exchange = client.stream(
            {.method = "GET", .url = url, .headers = {}, .body = {}, .timeout = silence, .lifetime = lifetime},
            {.onResponse = [this](const HttpResponse& response) { status = response.status; },
             .onData =
                 [this](std::string_view data) {
                     received += data.size();
                     text = text.size() < 1000 ? text.append(data) : text;
                     if (onData) {
                         onData();
                     }
                 },
             .onEnd =
                 [this](std::optional<HttpFailure> why) {
                     ended = true;
                     reason = std::move(why);
                 }});
    }
    bool until(const std::function<bool()>& condition) { return loop.runUntil(condition, kPatience); }

    std::unique_ptr<HttpExchange> exchange;
    int status = 0;
    std::size_t received = 0;
    std::string text;
    bool ended = false;
    std::optional<HttpFailure> reason;
    std::function<void()> onData;
};

TEST_F(CurlStreamTest, deliversAsItComesAndTellsHowItEnded) {
    std::atomic<int> step = 0;
    LocalServer server([&](Connection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\n\r\n:ok\n\n");
        while (step < 1) {
            std::this_thread::sleep_for(Millis{1});
        }
        connection.write("data: x\n\n");
    });
    open(server.url() + "/sync/stream");
    ASSERT_TRUE(until([&] { return text == ":ok\n\n"; }));
    EXPECT_EQ(status, 200);
    step = 1;
    ASSERT_TRUE(until([&] { return ended; }));
    EXPECT_EQ(text, ":ok\n\ndata: x\n\n");
    EXPECT_EQ(reason, std::nullopt);
}

TEST_F(CurlStreamTest, endsWhenTheServerIsSilentOrItsLifeIsOver) {
    LocalServer server([](Connection& connection) {
        const bool chatty = connection.readRequest().starts_with("GET /chatty");
        connection.write("HTTP/1.1 200 OK\r\n\r\n:ok\n\n");
        while (chatty && connection.write(":\n\n")) {
            std::this_thread::sleep_for(Millis{20});
        }
        connection.waitForEnd();
    });
    open(server.url() + "/silent", Millis{150});
    ASSERT_TRUE(until([&] { return ended; }));
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->description, "the server fell silent");

    ended = false;
    open(server.url() + "/chatty", Millis{150}, Millis{600});
    ASSERT_TRUE(until([&] { return ended; }));
    ASSERT_TRUE(reason);
    EXPECT_EQ(reason->description, "the server did not answer in time");
    EXPECT_GT(received, 40U) << "talk kept it open past its silence";
}

TEST_F(CurlStreamTest, waitsForAReaderThatLagsBehind) {
    std::atomic<std::size_t> written = 0;
    LocalServer server([&](Connection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\n\r\n");
        const std::string chunk(std::size_t{1} << 16U, 'x');
        while (written < (std::size_t{40} << 20U) && connection.write(chunk)) {
            written += chunk.size();
        }
    });
    open(server.url() + "/");
    // The loop does not run; what the sender could place is what the client keeps and the system's own buffers.
    std::size_t before = 1;
    for (int still = 0; still < 10;) {
        std::this_thread::sleep_for(Millis{30});
        still = written == before ? still + 1 : 0;
        before = written;
    }
    EXPECT_LT(written.load(), std::size_t{16} << 20U);
    ASSERT_TRUE(until([&] { return ended; }));
    EXPECT_EQ(received, written.load()) << "and nothing is lost";
    EXPECT_EQ(reason, std::nullopt);
}

TEST_F(CurlStreamTest, isSilentOnceItIsGivenUp) {
    std::atomic<bool> gone = false;
    LocalServer server([&](Connection& connection) {
        connection.readRequest();
        connection.write("HTTP/1.1 200 OK\r\n\r\n");
        while (connection.write("data: x\n\n")) {
        }
        gone = true;
        loop.post([] {});
    });
    onData = [this] { exchange.reset(); };
    open(server.url() + "/");
    ASSERT_TRUE(until([&] { return gone.load(); }));
    loop.runPosted();
    EXPECT_FALSE(ended);
    EXPECT_EQ(exchange, nullptr);

    // A client that goes away while a request runs.
    LocalServer slow([](Connection& connection) { connection.waitForEnd(); });
    bool called = false;
    std::unique_ptr<HttpExchange> left;
    {
        CurlHttpClient shortLived(loop);
        left = shortLived.send({.method = "GET", .url = slow.url()}, [&](const Answer&) { called = true; });
    }
    left.reset();
    loop.runPosted();
    EXPECT_FALSE(called);
}

}  // namespace
}  // namespace tolvik
