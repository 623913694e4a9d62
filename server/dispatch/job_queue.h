#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tolvik::server {

/// Threads that take jobs off a bounded queue, several at a time.
template <class Job>
class JobQueue {
public:
    using Run = std::function<void(std::vector<Job>)>;

    /// Each thread calls `run` with at least one job; a thread takes its fair share of what waits, never more than
    /// `mostTogether`.
    JobQueue(std::size_t threads, std::size_t mostWaiting, std::size_t mostTogether, Run run)
        : mostWaiting_(mostWaiting),
          mostTogether_(mostTogether),
          count_(std::max<std::size_t>(1, threads)),
          run_(std::move(run)) {}
    JobQueue(const JobQueue&) = delete;
    JobQueue& operator=(const JobQueue&) = delete;
    ~JobQueue() { end(); }

    /// False when the queue is full or has ended; the job is then untouched. Any thread; threads start as they are
    /// needed.
    [[nodiscard]] bool add(Job& job) {
        {
            const std::lock_guard lock(mutex_);
            if (ending_ || jobs_.size() >= mostWaiting_) {
                return false;
            }
            jobs_.push_back(std::move(job));
            if (idle_ < jobs_.size() && threads_.size() < count_) {
                threads_.emplace_back([this] { work(); });
            }
        }
        wake_.notify_one();
        return true;
    }

    /// Waits for the jobs under way; gives back those that were still waiting.
    std::deque<Job> end() {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        wake_.notify_all();
        for (auto& thread : threads_) {
            thread.join();
        }
        threads_.clear();
        return std::move(jobs_);
    }

private:
    void work() {
        std::unique_lock lock(mutex_);
        while (true) {
            ++idle_;
            wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
            --idle_;
            if (ending_) {
                return;
            }
            const auto share = (jobs_.size() + count_ - 1) / count_;
            std::vector<Job> taken;
            for (auto left = std::min(share, mostTogether_); left > 0; --left) {
                taken.push_back(std::move(jobs_.front()));
                jobs_.pop_front();
            }
            lock.unlock();
            run_(std::move(taken));
            lock.lock();
        }
    }

    const std::size_t mostWaiting_;
    const std::size_t mostTogether_;
    const std::size_t count_;
    const Run run_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> jobs_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool ending_ = false;
};

}  // namespace tolvik::server
