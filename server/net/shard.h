#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace tolvik::server {

using SteadyTime = std::chrono::steady_clock::time_point;

/// One connection, as its shard keeps it. All calls come on the shard's thread.
class Peer {
public:
    Peer() = default;
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    virtual ~Peer() = default;

    /// Comes about once a second: whatever is overdue happens here, so that no connection has a timer of its own.
    virtual void sweep(SteadyTime now) = 0;
    /// The server is stopping: finish what is under way and close.
    virtual void drain() = 0;
    /// Close at once.
    virtual void abort() = 0;

private:
    friend class Shard;
    std::size_t place_ = 0;
};

/// A network thread with the connections that it alone serves.
class Shard {
public:
    Shard();
    Shard(const Shard&) = delete;
    Shard& operator=(const Shard&) = delete;
    ~Shard();

    void start();
    /// Any thread.
    void drain();
    /// Ends all connections and the thread, and waits for it.
    void stop();

    /// Any thread.
    [[nodiscard]] boost::asio::io_context& context() { return context_; }

    /// What follows is for the shard's own thread.
    void add(std::shared_ptr<Peer> peer);
    void remove(Peer& peer);
    [[nodiscard]] bool isDraining() const { return draining_; }
    /// Where connections read into before they know how much they have to keep.
    [[nodiscard]] std::vector<char>& scratch() { return scratch_; }

private:
    void scheduleSweep();

    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    boost::asio::steady_timer ticker_;
    std::vector<std::shared_ptr<Peer>> peers_;
    std::vector<char> scratch_;
    bool ticking_ = false;
    bool draining_ = false;
    std::thread thread_;
};

}  // namespace tolvik::server
