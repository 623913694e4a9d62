#include "server/net/event_stream.h"

#include <array>
#include <boost/asio/post.hpp>

#include "server/net/response_text.h"

namespace tolvik::server {
namespace {

constexpr std::string_view changed = "data: changed\n\n";
constexpr std::string_view comment = ":\n\n";
/// A client that sends more than this into its stream is no client.
constexpr std::size_t mostUnasked = 4096;

}  // namespace

EventStream::EventStream(Shard& shard, ConnectionContext& context, Transport transport, PeerLimits::Place place,
                         std::string userId)
    : shard_(shard),
      context_(context),
      transport_(std::move(transport)),
      place_(std::move(place)),
      userId_(std::move(userId)),
      started_(std::chrono::steady_clock::now()),
      lastWrite_(started_) {
    ++context_.counters.streamsOpen;
}

EventStream::~EventStream() {
    --context_.counters.streamsOpen;
    --context_.counters.connectionsOpen;
}

void EventStream::start() {
    starting_ = eventStreamStart();
    writing_ = starting_;
    write();
    awaitClient();
}

void EventStream::refuse(std::string text) {
    refused_ = true;
    starting_ = std::move(text);
    writing_ = starting_;
    write();
}

void EventStream::announce() {
    if (!announced_.exchange(true)) {
        boost::asio::post(shard_.context(), [self = shared_from_this()] {
            if (self->writing_.empty()) {
                self->write();
            }
        });
    }
}

void EventStream::end() {
    boost::asio::post(shard_.context(), [self = shared_from_this()] { self->close(); });
}

void EventStream::write() {
    while (!closed_) {
        if (writing_.empty() && !nextPiece()) {
            return;
        }
        const auto moved = transport_.write(writing_);
        if (moved.next == Transport::Next::go) {
            writing_.remove_prefix(moved.bytes);
        } else if (moved.next == Transport::Next::ended) {
            return close();
        } else {
            if (!waiting_) {
                waiting_ = true;
                transport_.wait(moved.next, [self = shared_from_this()](bool go) {
                    self->waiting_ = false;
                    if (go) {
                        self->write();
                    }
                });
            }
            return;
        }
    }
}

bool EventStream::nextPiece() {
    starting_ = std::string();
    if (refused_) {
        close();
        return false;
    }
    if (!announced_.exchange(false)) {
        return false;
    }
    writing_ = changed;
    lastWrite_ = std::chrono::steady_clock::now();
    ++context_.counters.streamEventsSent;
    return true;
}

void EventStream::awaitClient() {
    std::array<char, 512> unasked{};
    while (!closed_) {
        const auto moved = transport_.read(unasked.data(), unasked.size());
        if (moved.next == Transport::Next::go) {
            unasked_ += moved.bytes;
            if (unasked_ > mostUnasked) {
                return close();
            }
        } else if (moved.next == Transport::Next::ended) {
            return close();
        } else {
            transport_.wait(moved.next, [self = shared_from_this()](bool go) {
                if (go) {
                    self->awaitClient();
                }
            });
            return;
        }
    }
}

void EventStream::sweep(SteadyTime now) {
    if (now - started_ > context_.times.streamAge || (!writing_.empty() && now - lastWrite_ > context_.times.write)) {
        return close();
    }
    if (writing_.empty() && now - lastWrite_ >= context_.times.streamComment) {
        writing_ = comment;
        lastWrite_ = now;
        write();
    }
}

void EventStream::drain() {
    close();
}

void EventStream::abort() {
    close();
}

void EventStream::close() {
    if (closed_) {
        return;
    }
    closed_ = true;
    context_.hub.remove(userId_, this);
    transport_.shutdownSend();
    transport_.close();
    place_ = PeerLimits::Place();
    shard_.remove(*this);
}

}  // namespace tolvik::server
