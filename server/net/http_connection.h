#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "server/net/connection_context.h"
#include "server/net/peer_limits.h"
#include "server/net/request_reader.h"
#include "server/net/shard.h"
#include "server/net/transport.h"

namespace tolvik::server {

/// One client's connection: reads a request, has it answered, and goes on with the next, until either side ends it or
/// it becomes an event stream. Its shard's thread only.
class HttpConnection final : public Peer, public std::enable_shared_from_this<HttpConnection> {
public:
    HttpConnection(Shard& shard, ConnectionContext& context, Transport transport, PeerLimits::Place place,
                   std::string address);
    ~HttpConnection() override;

    void start();

    void sweep(SteadyTime now) override;
    void drain() override;
    void abort() override;

private:
    enum class Phase : std::uint8_t { handshake, idle, head, body, handling, writing, lingering, closed };

    void enter(Phase phase);
    void handshake();
    void read();
    void wait(Transport::Next next, void (HttpConnection::*then)());
    /// Gives bytes to the request's reader and acts on what they complete; whether to read on.
    [[nodiscard]] bool take(std::string_view bytes);
    [[nodiscard]] bool takeHead();
    void handle();
    void answered(const Answer& answer);
    void openStream(const StreamOwner& owner);
    void refuse(int status, std::string_view reason);
    void send(const Response& response, bool keepAlive);
    void write();
    void written();
    void linger();
    void account(std::int64_t bodyBytes);
    void close();

    Shard& shard_;
    ConnectionContext& context_;
    Transport transport_;
    PeerLimits::Place place_;
    std::string address_;
    std::unique_ptr<RequestReader> reader_;  ///< while a request is under way
    std::string input_;                      ///< received, not yet taken
    std::string output_;
    std::size_t sent_ = 0;
    SteadyTime deadline_;
    std::int64_t accounted_ = 0;
    std::size_t lingered_ = 0;
    Phase phase_ = Phase::handshake;
    bool headOnly_ = false;
    bool keepAlive_ = false;
    bool interim_ = false;  ///< what is written is the leave to send the body
    bool becameStream_ = false;
};

}  // namespace tolvik::server
