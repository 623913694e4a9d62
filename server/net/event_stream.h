#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "server/hub/stream_hub.h"
#include "server/net/connection_context.h"
#include "server/net/peer_limits.h"
#include "server/net/shard.h"
#include "server/net/transport.h"

namespace tolvik::server {

/// An open change stream. It holds no more than its connection and what is still to be said: announcements that come
/// while the client does not read become one. Made and used on its shard's thread, but for the subscriber's calls.
class EventStream final : public Peer, public Subscriber, public std::enable_shared_from_this<EventStream> {
public:
    EventStream(Shard& shard, ConnectionContext& context, Transport transport, PeerLimits::Place place,
                std::string userId);
    ~EventStream() override;

    /// Sends the header and the greeting, and goes on until the stream ends. The hub and the shard know it already.
    void start();
    /// Sends this instead, and closes.
    void refuse(std::string text);

    void announce() override;
    void end() override;

    void sweep(SteadyTime now) override;
    void drain() override;
    void abort() override;

private:
    void write();
    /// Takes up what is to be said next; false when there is nothing.
    [[nodiscard]] bool nextPiece();
    void awaitClient();
    void close();

    Shard& shard_;
    ConnectionContext& context_;
    Transport transport_;
    PeerLimits::Place place_;
    std::string userId_;
    std::string starting_;      ///< the header and greeting until they are sent
    std::string_view writing_;  ///< what is left of the present piece
    SteadyTime started_;
    SteadyTime lastWrite_;
    std::size_t unasked_ = 0;  ///< bytes that the client sent where it has nothing to say
    std::atomic<bool> announced_ = false;
    bool waiting_ = false;
    bool refused_ = false;
    bool closed_ = false;
};

}  // namespace tolvik::server
