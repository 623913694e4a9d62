#include "server/net/shard.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <malloc.h>

namespace tolvik::server {

Shard::Shard() : work_(boost::asio::make_work_guard(context_)), ticker_(context_), scratch_(std::size_t{64} * 1024) {}

Shard::~Shard() {
    stop();
}

void Shard::start() {
    thread_ = std::thread([this] { context_.run(); });
}

void Shard::drain() {
    boost::asio::post(context_, [this] {
        draining_ = true;
        const auto peers = peers_;
        for (const auto& peer : peers) {
            peer->drain();
        }
    });
}

void Shard::stop() {
    if (!thread_.joinable()) {
        return;
    }
    boost::asio::post(context_, [this] {
        draining_ = true;
        const auto peers = peers_;
        for (const auto& peer : peers) {
            peer->abort();
        }
        ticker_.cancel();
        work_.reset();
        // A waiting operation of a closed socket has been cancelled; whatever is left waits for nothing of ours.
        boost::asio::post(context_, [this] { context_.stop(); });
    });
    thread_.join();
}

void Shard::add(std::shared_ptr<Peer> peer) {
    peer->place_ = peers_.size();
    peers_.push_back(std::move(peer));
    if (!ticking_) {
        ticking_ = true;
        scheduleSweep();
    }
}

void Shard::remove(Peer& peer) {
    if (peer.place_ < peers_.size() && peers_[peer.place_].get() == &peer) {
        // The vector may hold the last reference to the peer whose member function is running.
        const auto keep = std::move(peers_[peer.place_]);
        if (peer.place_ + 1 < peers_.size()) {
            peers_[peer.place_] = std::move(peers_.back());
            peers_[peer.place_]->place_ = peer.place_;
        }
        peers_.pop_back();
        boost::asio::post(context_, [keep] {});
    }
}

void Shard::scheduleSweep() {
    ticker_.expires_after(std::chrono::seconds(1));
    ticker_.async_wait([this](const boost::system::error_code& error) {
        if (error) {
            return;
        }
        const auto now = std::chrono::steady_clock::now();
        // From the end: a peer that goes is replaced by one that has had its turn.
        for (std::size_t at = peers_.size(); at-- > 0;) {
            if (at < peers_.size()) {
                peers_[at]->sweep(now);
            }
        }
        if (peers_.empty()) {
            ticking_ = false;
            // What a crowd used is given back once it has left.
            ::malloc_trim(0);
            return;
        }
        scheduleSweep();
    });
}

}  // namespace tolvik::server
