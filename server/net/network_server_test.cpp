#include "server/net/network_server.h"

#include <arpa/inet.h>
#include <atomic>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "server/tls/dev_authority.h"

namespace tolvik::server {
namespace {

using namespace std::chrono_literals;

/// Answers with what it was asked; "/stream" opens one for the user and device in the query.
class EchoHandler final : public RequestHandler {
public:
    [[nodiscard]] std::size_t bodyLimit(std::string_view, std::string_view) const override { return 100'000; }
    void handle(Request request, std::function<void(Answer)> reply) override {
        ++handled;
        if (request.path == "/stream") {
            return reply({{}, StreamOwner{request.query, "device" + std::to_string(handled)}});
        }
        if (request.path == "/held") {
            // Another thread, as the database's would be.
            return std::thread([reply = std::move(reply), this] {
                       while (!released) {
                           std::this_thread::sleep_for(1ms);
                       }
                       reply({{200, {}, "late"}, {}});
                   })
                .detach();
        }
        reply({{200,
                {{"x-peer", request.peer}, {"x-bad", "a\r\nx-injected: 1"}},
                request.path == "/big" ? std::string(4'000'000, 'b') : request.body},
               {}});
    }
    std::atomic<int> handled = 0;
    std::atomic<bool> released = false;
};

/// A client's socket, blocking, with a limit of ten seconds on each wait.
class Client {
public:
    explicit Client(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
        const timeval limit{10, 0};
        ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { ::close(socket_); }

    Client& send(std::string_view text) {
        while (!text.empty()) {
            const auto sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) {
                break;
            }
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return *this;
    }
    void finishSending() { ::shutdown(socket_, SHUT_WR); }
    /// Reads until the text has come, or the end; everything read so far.
    std::string until(std::string_view text) {
        std::array<char, 4096> part{};
        while (got_.find(text) == std::string::npos) {
            const auto got = ::recv(socket_, part.data(), part.size(), 0);
            if (got <= 0) {
                ended_ = got == 0;
                break;
            }
            got_.append(part.data(), static_cast<std::size_t>(got));
        }
        return got_;
    }
    std::string all() { return until("\x01never"); }
    [[nodiscard]] bool ended() const { return ended_; }
    [[nodiscard]] int socket() const { return socket_; }

private:
    int socket_;
    bool connected_ = false;
    bool ended_ = false;
    std::string got_;
};

std::size_t count(std::string_view text, std::string_view part) {
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

class NetworkServerTest : public testing::Test {
protected:
    void start(const NetworkOptions& options = {}, const TlsCredentials* tls = nullptr) {
        auto listening = NetworkServer::listen(options, handler, hub, counters, tls);
        ASSERT_TRUE(listening) << listening.error();
        server = std::move(*listening);
        server->start();
    }
    void waitFor(const std::function<bool()>& condition) {
        for (int at = 0; at < 10'000 && !condition(); ++at) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_TRUE(condition());
    }

    EchoHandler handler;
    StreamHub hub{StreamHub::Limits{8, 2, 1}};
    NetworkCounters counters;
    std::unique_ptr<NetworkServer> server;
};

const std::string get = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

TEST_F(NetworkServerTest, answersRequestsInARowAndOnAHalfClosedConnection) {
    start();
    Client client(server->port());
    client.send(get + "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc" +
                "HEAD /big HTTP/1.1\r\nHost: x\r\n\r\n" + "POST / HTTP/1.1\r\nHost: x\r\n" +
                "Transfer-Encoding: chunked\r\nX-Forwarded-For: 9.9.9.9\r\n\r\n3\r\nxyz\r\n0\r\n\r\n");
    client.finishSending();
    const auto text = client.all();
    EXPECT_EQ(count(text, "HTTP/1.1 200 OK\r\n"), 4U);
    EXPECT_NE(text.find("\r\n\r\nabcHTTP/1.1 200"), std::string::npos);
    EXPECT_NE(text.find("content-length: 4000000"), std::string::npos);
    EXPECT_LT(text.size(), 4'000U);
    EXPECT_TRUE(text.ends_with("xyz"));
    // Nobody but a trusted proxy says where a request comes from, and nothing a handler gives splits an answer.
    EXPECT_EQ(count(text, "x-peer: 127.0.0.1\r\n"), 4U);
    EXPECT_EQ(text.find("x-injected"), std::string::npos);
    EXPECT_TRUE(client.ended());
}

TEST_F(NetworkServerTest, believesATrustedProxy) {
    NetworkOptions options;
    options.proxies = *TrustedProxies::parse("127.0.0.0/8, 10.1.0.0/16");
    start(options);
    Client client(server->port());
    client.send(
        "GET / HTTP/1.1\r\nHost: x\r\nX-Forwarded-For: 6.6.6.6, 9.9.9.9, 10.1.2.3\r\nConnection: close\r\n\r\n");
    EXPECT_NE(client.all().find("x-peer: 9.9.9.9\r\n"), std::string::npos);
}

TEST_F(NetworkServerTest, asksForABodyOnlyWhenItWillBeRead) {
    start();
    Client welcome(server->port());
    welcome.send("POST / HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_NE(welcome.until("\r\n\r\n").find("HTTP/1.1 100 Continue"), std::string::npos);
    welcome.send("abc");
    EXPECT_TRUE(welcome.until("abc").ends_with("abc"));
    Client refused(server->port());
    refused.send("POST / HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 100001\r\n\r\n");
    const auto text = refused.all();
    EXPECT_EQ(text.find("100 Continue"), std::string::npos);
    EXPECT_NE(text.find("HTTP/1.1 413"), std::string::npos);
}

TEST_F(NetworkServerTest, refusesMalformedRequestsOnceAndGoesOnServingOthers) {
    start();
    for (const std::string& text :
         {std::string("GET / HTTP/1.1\r\nHost: x\r\nA: ") + std::string(200'000, 'a'),
          std::string("\x16\x03\x01garbage\r\n\r\n"),
          "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + get,
          std::string("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 9999999\r\n\r\n") + std::string(150'000, 'a')}) {
        Client client(server->port());
        client.send(text);
        client.finishSending();
        const auto answer = client.all();
        EXPECT_TRUE(answer.starts_with("HTTP/1.1 4")) << answer.substr(0, 100);
        // The request that was smuggled in behind it is not answered.
        EXPECT_EQ(count(answer, "HTTP/1.1"), 1U);
        EXPECT_NE(answer.find("connection: close"), std::string::npos);
    }
    EXPECT_EQ(handler.handled, 0);
    Client good(server->port());
    EXPECT_NE(good.send(get).until("\r\n\r\n").find("200 OK"), std::string::npos);
}

TEST_F(NetworkServerTest, givesUpOnSlowSendersAndSlowReaders) {
    NetworkOptions options;
    options.times.head = 300ms;
    options.times.body = 300ms;
    options.times.write = 300ms;
    options.times.idle = 300ms;
    options.times.linger = 300ms;
    start(options);
    Client head(server->port());
    Client body(server->port());
    Client idle(server->port());
    Client reader(server->port());
    head.send("GET / HTTP/1.1\r\nHost:");
    body.send("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 10\r\n\r\nab");
    reader.send("GET /big HTTP/1.1\r\nHost: x\r\n\r\nGET /big HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_TRUE(head.all().starts_with("HTTP/1.1 408"));
    EXPECT_TRUE(body.all().starts_with("HTTP/1.1 408"));
    EXPECT_EQ(idle.all(), "");
    waitFor([&] { return counters.connectionsOpen == 0; });
}

TEST_F(NetworkServerTest, boundsConnectionsAndBodiesInAll) {
    NetworkOptions options;
    options.maxConnectionsPerPeer = 3;
    options.bodyBytesTotal = 50'000;
    start(options);
    std::vector<std::unique_ptr<Client>> kept;
    for (int at = 0; at < 3; ++at) {
        kept.push_back(std::make_unique<Client>(server->port()));
        EXPECT_NE(kept.back()->send(get).until("\r\n\r\n").find("200 OK"), std::string::npos);
    }
    Client more(server->port());
    EXPECT_EQ(more.send(get).all(), "");
    kept[0]->send("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 90000\r\n\r\n" + std::string(40'000, 'a'));
    waitFor([&] { return counters.bodyBytesHeld == 40'000; });
    kept[1]->send("POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 90000\r\n\r\n" + std::string(40'000, 'a'));
    EXPECT_NE(kept[1]->all().find("HTTP/1.1 503"), std::string::npos);
    kept.clear();
    waitFor([&] { return counters.connectionsOpen == 0 && counters.bodyBytesHeld == 0; });
    Client again(server->port());
    EXPECT_NE(again.send(get).until("\r\n\r\n").find("200 OK"), std::string::npos);
}

TEST_F(NetworkServerTest, announcesOnStreamsAndJoinsWhatASlowReaderMissed) {
    start();
    Client one(server->port());
    const auto begin = one.send("GET /stream?ann HTTP/1.1\r\nHost: x\r\n\r\n").until(":ok\n\n");
    EXPECT_NE(begin.find("content-type: text/event-stream"), std::string::npos);
    Client other(server->port());
    other.send("GET /stream?bob HTTP/1.1\r\nHost: x\r\n\r\n").until(":ok\n\n");
    for (int at = 0; at < 100'000; ++at) {
        hub.announce({"ann", "sender"});
    }
    const auto text = one.until("data: changed\n\n");
    EXPECT_NE(text.find("data: changed\n\n"), std::string::npos);
    EXPECT_LT(counters.streamEventsSent, 100'000U);
    hub.endStreams("ann", "");
    EXPECT_LE(count(one.all(), "data: changed\n\n"), counters.streamEventsSent);
    EXPECT_TRUE(one.ended());
    EXPECT_EQ(count(other.until(":ok\n\n"), "data:"), 0U);
}

TEST_F(NetworkServerTest, boundsTheStreamsOfAUserAndNoticesThoseThatAreGone) {
    start();
    const std::string open = "GET /stream?ann HTTP/1.1\r\nHost: x\r\n\r\n";
    auto one = std::make_unique<Client>(server->port());
    Client two(server->port());
    one->send(open).until(":ok\n\n");
    two.send(open).until(":ok\n\n");
    Client three(server->port());
    const auto refused = three.send(open).all();
    EXPECT_TRUE(refused.starts_with("HTTP/1.1 429"));
    EXPECT_NE(refused.find("retry-after"), std::string::npos);
    one.reset();
    waitFor([&] { return hub.count() == 1; });
    Client flood(server->port());
    flood.send(open).until(":ok\n\n");
    flood.send(std::string(1'000'000, 'x'));
    waitFor([&] { return hub.count() == 1; });
    EXPECT_EQ(counters.streamsOpen, 1);
}

TEST_F(NetworkServerTest, finishesWhatIsUnderWayBeforeItStops) {
    start();
    Client held(server->port());
    held.send("GET /held HTTP/1.1\r\nHost: x\r\n\r\n");
    Client stream(server->port());
    stream.send("GET /stream?ann HTTP/1.1\r\nHost: x\r\n\r\n").until(":ok\n\n");
    Client idle(server->port());
    idle.send(get).until("\r\n\r\n");
    waitFor([&] { return handler.handled == 3; });
    std::thread stopper([&] { server->stop(10s); });
    EXPECT_TRUE(stream.all().ends_with(":ok\n\n"));
    idle.all();
    EXPECT_TRUE(idle.ended());
    handler.released = true;
    EXPECT_TRUE(held.all().ends_with("connection: close\r\n\r\nlate"));
    stopper.join();
    Client late(server->port());
    EXPECT_EQ(late.send(get).all(), "");
}

TEST_F(NetworkServerTest, speaksTlsAndOutlivesGarbage) {
    const std::filesystem::path folder = testing::TempDir() + "tolvik-net-" + std::to_string(::getpid());
    const auto files = devCertificates(folder);
    ASSERT_TRUE(files) << files.error();
    const auto tls = TlsCredentials::load(files->certificate, files->key);
    ASSERT_TRUE(tls) << tls.error();
    start({}, tls->get());
    Client garbage(server->port());
    garbage.send(get).all();
    Client cut(server->port());
    cut.send("\x16\x03\x01\x02");
    cut.finishSending();
    waitFor([&] { return counters.handshakesFailed == 2; });

    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    ASSERT_EQ(SSL_CTX_load_verify_locations(context.get(), files->authority.c_str(), nullptr), 1);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    Client client(server->port());
    const SslHandle ssl(SSL_new(context.get()));
    SSL_set_fd(ssl.get(), client.socket());
    SSL_set1_host(ssl.get(), "localhost");
    ASSERT_EQ(SSL_connect(ssl.get()), 1);
    const std::string request =
        "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 90000\r\nConnection: close\r\n\r\n" + std::string(90'000, 'q');
    ASSERT_GT(SSL_write(ssl.get(), request.data(), static_cast<int>(request.size())), 0);
    std::string text;
    std::array<char, 4096> part{};
    for (int got = 1; got > 0;) {
        got = SSL_read(ssl.get(), part.data(), static_cast<int>(part.size()));
        text.append(part.data(), static_cast<std::size_t>(std::max(0, got)));
    }
    EXPECT_TRUE(text.starts_with("HTTP/1.1 200 OK"));
    EXPECT_TRUE(text.ends_with(std::string(90'000, 'q')));
    EXPECT_EQ(SSL_get_shutdown(ssl.get()) & SSL_RECEIVED_SHUTDOWN, SSL_RECEIVED_SHUTDOWN);
    // A restart keeps the authority that clients trust already.
    EXPECT_TRUE(devCertificates(folder));
    ASSERT_TRUE((*tls)->reload());
    std::filesystem::remove_all(folder);
    EXPECT_FALSE((*tls)->reload());
}

TEST(TrustedProxies, tellsNetworksFromText) {
    EXPECT_FALSE(TrustedProxies::parse("10.0.0.0/33"));
    EXPECT_FALSE(TrustedProxies::parse("proxy.example"));
    const auto proxies = *TrustedProxies::parse("10.0.0.0/9 ::1,fd00::/8");
    EXPECT_TRUE(proxies.trusts("10.127.255.255"));
    EXPECT_FALSE(proxies.trusts("10.128.0.0"));
    EXPECT_TRUE(proxies.trusts("fd12::1"));
    EXPECT_FALSE(proxies.trusts("fe00::1"));
    EXPECT_EQ(proxies.clientAddress("1.2.3.4", "5.6.7.8"), "1.2.3.4");
    EXPECT_EQ(proxies.clientAddress("::1", "5.6.7.8, 10.0.0.1"), "5.6.7.8");
    EXPECT_EQ(proxies.clientAddress("::1", "5.6.7.8, <script>"), "::1");
}

}  // namespace
}  // namespace tolvik::server
