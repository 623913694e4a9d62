#include "server/net/http_connection.h"

#include <boost/asio/post.hpp>

#include "server/net/event_stream.h"
#include "server/net/response_text.h"

namespace tolvik::server {
namespace {

/// What a refused client may still send before the connection is cut without a word.
constexpr std::size_t mostLingered = std::size_t{256} * 1024;
/// Reads in a row before other connections have their turn.
constexpr int readsInARow = 16;

}  // namespace

HttpConnection::HttpConnection(Shard& shard, ConnectionContext& context, Transport transport, PeerLimits::Place place,
                               std::string address)
    : shard_(shard),
      context_(context),
      transport_(std::move(transport)),
      place_(std::move(place)),
      address_(std::move(address)) {}

HttpConnection::~HttpConnection() {
    account(0);
    if (!becameStream_) {
        --context_.counters.connectionsOpen;
    }
}

void HttpConnection::start() {
    enter(Phase::handshake);
    handshake();
}

void HttpConnection::enter(Phase phase) {
    phase_ = phase;
    const auto& times = context_.times;
    const auto now = std::chrono::steady_clock::now();
    switch (phase) {
        case Phase::handshake:
            deadline_ = now + times.handshake;
            break;
        case Phase::idle:
            deadline_ = now + times.idle;
            break;
        case Phase::head:
            deadline_ = now + times.head;
            break;
        case Phase::body:
            deadline_ = now + times.body;
            break;
        case Phase::writing:
            deadline_ = now + times.write;
            break;
        case Phase::lingering:
            deadline_ = now + times.linger;
            break;
        case Phase::handling:
        case Phase::closed:
            deadline_ = SteadyTime::max();
            break;
    }
}

void HttpConnection::wait(Transport::Next next, void (HttpConnection::*then)()) {
    transport_.wait(next, [self = shared_from_this(), then](bool go) {
        if (go && self->phase_ != Phase::closed) {
            (self.get()->*then)();
        }
    });
}

void HttpConnection::handshake() {
    const auto next = transport_.handshake();
    if (next == Transport::Next::go) {
        enter(Phase::idle);
        read();
    } else if (next == Transport::Next::ended) {
        ++context_.counters.handshakesFailed;
        close();
    } else {
        wait(next, &HttpConnection::handshake);
    }
}

void HttpConnection::read() {
    if (phase_ != Phase::idle && phase_ != Phase::head && phase_ != Phase::body) {
        return;
    }
    auto& scratch = shard_.scratch();
    for (int reads = 0; reads < readsInARow; ++reads) {
        const auto moved = transport_.read(scratch.data(), scratch.size());
        if (moved.next == Transport::Next::ended) {
            return close();
        }
        if (moved.next != Transport::Next::go) {
            return wait(moved.next, &HttpConnection::read);
        }
        if (!take({scratch.data(), moved.bytes})) {
            return;
        }
    }
    boost::asio::post(shard_.context(), [self = shared_from_this()] { self->read(); });
}

bool HttpConnection::take(std::string_view bytes) {
    if (phase_ == Phase::idle) {
        enter(Phase::head);
    }
    if (!reader_) {
        reader_ = std::make_unique<RequestReader>();
    }
    std::string joined;
    if (!input_.empty()) {
        joined = std::move(input_);
        joined += bytes;
        bytes = joined;
    }
    input_ = std::string();
    while (true) {
        bytes.remove_prefix(reader_->feed(bytes));
        const auto state = reader_->state();
        if (state == RequestReader::State::headed) {
            if (!takeHead()) {
                input_ = bytes;
                return false;
            }
            continue;
        }
        if (state == RequestReader::State::refused) {
            refuse(reader_->status(), reader_->reason());
            return false;
        }
        input_ = bytes;
        if (state == RequestReader::State::done) {
            handle();
            return false;
        }
        account(static_cast<std::int64_t>(reader_->bodySize()));
        if (context_.counters.bodyBytesHeld > context_.bodyBytesTotal) {
            refuse(503, "The server is busy. Please try again in a moment.");
            return false;
        }
        return true;
    }
}

bool HttpConnection::takeHead() {
    const auto& request = reader_->request();
    headOnly_ = request.method == "HEAD";
    reader_->readBody(context_.handler.bodyLimit(request.method, request.path));
    if (reader_->state() != RequestReader::State::body) {
        return true;
    }
    if (reader_->expectsContinue()) {
        interim_ = true;
        output_ = "HTTP/1.1 100 Continue\r\n\r\n";
        sent_ = 0;
        enter(Phase::writing);
        write();
        return false;
    }
    enter(Phase::body);
    return true;
}

void HttpConnection::handle() {
    enter(Phase::handling);
    auto request = std::move(reader_->request());
    keepAlive_ = reader_->keepAlive();
    account(static_cast<std::int64_t>(request.body.size()));
    reader_.reset();
    request.peer = context_.proxies.clientAddress(address_, fieldOf(request, "x-forwarded-for"));
    context_.handler.handle(std::move(request), [self = shared_from_this()](Answer answer) {
        boost::asio::post(self->shard_.context(), [self, answer = std::move(answer)] { self->answered(answer); });
    });
}

void HttpConnection::answered(const Answer& answer) {
    if (phase_ != Phase::handling) {
        return;
    }
    account(0);
    if (answer.stream) {
        openStream(*answer.stream);
    } else {
        send(answer.response, keepAlive_ && !shard_.isDraining());
    }
}

void HttpConnection::openStream(const StreamOwner& owner) {
    if (shard_.isDraining()) {
        return send(refusal(503, "The server is stopping."), false);
    }
    const auto stream =
        std::make_shared<EventStream>(shard_, context_, std::move(transport_), std::move(place_), owner.userId);
    const auto refused = context_.hub.add(owner.userId, owner.deviceId, stream);
    becameStream_ = true;
    phase_ = Phase::closed;
    shard_.remove(*this);
    shard_.add(stream);
    if (refused == StreamHub::Refusal::none) {
        stream->start();
    } else {
        auto response = refused == StreamHub::Refusal::tooManyOfUser
                            ? refusal(429, "Too many devices listen for changes.")
                            : refusal(503, "Too many devices listen for changes.");
        response.headers.emplace_back("retry-after", "30");
        stream->refuse(responseText(response, true, false));
    }
}

void HttpConnection::refuse(int status, std::string_view reason) {
    if (status != 503) {
        ++context_.counters.requestsMalformed;
    }
    auto response = refusal(status, reason);
    if (status == 503) {
        response.headers.emplace_back("retry-after", "5");
    }
    send(response, false);
}

void HttpConnection::send(const Response& response, bool keepAlive) {
    keepAlive_ = keepAlive;
    interim_ = false;
    output_ = responseText(response, !headOnly_, keepAlive);
    sent_ = 0;
    enter(Phase::writing);
    write();
}

void HttpConnection::write() {
    while (phase_ == Phase::writing && sent_ < output_.size()) {
        const auto moved = transport_.write(std::string_view(output_).substr(sent_));
        if (moved.next == Transport::Next::go) {
            sent_ += moved.bytes;
        } else if (moved.next == Transport::Next::ended) {
            return close();
        } else {
            return wait(moved.next, &HttpConnection::write);
        }
    }
    if (phase_ == Phase::writing) {
        written();
    }
}

void HttpConnection::written() {
    output_ = std::string();
    sent_ = 0;
    const bool interim = std::exchange(interim_, false);
    if (!interim) {
        reader_.reset();
        headOnly_ = false;
        account(0);
        if (!keepAlive_) {
            transport_.shutdownSend();
            enter(Phase::lingering);
            return linger();
        }
    }
    enter(interim ? Phase::body : Phase::idle);
    // Through the queue: a client that sends requests in a row must not deepen the stack, nor hold up the others.
    boost::asio::post(shard_.context(), [self = shared_from_this()] {
        if (self->phase_ != Phase::idle && self->phase_ != Phase::body) {
            return;
        }
        if (self->input_.empty() || self->take({})) {
            self->read();
        }
    });
}

void HttpConnection::linger() {
    auto& scratch = shard_.scratch();
    while (phase_ == Phase::lingering) {
        const auto moved = transport_.read(scratch.data(), scratch.size());
        if (moved.next == Transport::Next::ended) {
            return close();
        }
        if (moved.next != Transport::Next::go) {
            return wait(moved.next, &HttpConnection::linger);
        }
        lingered_ += moved.bytes;
        if (lingered_ > mostLingered) {
            return close();
        }
    }
}

void HttpConnection::account(std::int64_t bodyBytes) {
    if (bodyBytes != accounted_) {
        context_.counters.bodyBytesHeld += bodyBytes - accounted_;
        accounted_ = bodyBytes;
    }
}

void HttpConnection::sweep(SteadyTime now) {
    if (now < deadline_) {
        return;
    }
    if (phase_ == Phase::head || phase_ == Phase::body) {
        ++context_.counters.requestsTimedOut;
        keepAlive_ = false;
        return send(refusal(408, "The request took too long to arrive."), false);
    }
    close();
}

void HttpConnection::drain() {
    switch (phase_) {
        case Phase::handshake:
        case Phase::idle:
            return close();
        default:
            keepAlive_ = false;
    }
}

void HttpConnection::abort() {
    close();
}

void HttpConnection::close() {
    if (phase_ == Phase::closed) {
        return;
    }
    enter(Phase::closed);
    transport_.close();
    account(0);
    place_ = PeerLimits::Place();
    shard_.remove(*this);
}

}  // namespace tolvik::server
