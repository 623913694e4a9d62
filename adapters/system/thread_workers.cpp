#include "adapters/system/thread_workers.h"

#include <exception>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

ThreadWorkers::~ThreadWorkers() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
        jobs_.clear();
    }
    wake_.notify_all();
    for (auto& thread : threads_) {
        thread.join();
    }
}

void ThreadWorkers::run(std::function<void()> job) {
    {
        const std::scoped_lock lock(mutex_);
        if (ending_) {
            return;
        }
        jobs_.push_back(std::move(job));
        if (jobs_.size() > idle_ && threads_.size() < most_) {
            threads_.emplace_back([this] { work(); });
        }
    }
    wake_.notify_one();
}

void ThreadWorkers::work() {
    std::unique_lock lock(mutex_);
    while (true) {
        ++idle_;
        wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
        --idle_;
        if (ending_) {
            return;
        }
        auto job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        try {
            job();
        } catch (const std::exception& error) {
            spdlog::error("a job on a worker failed: {}", error.what());
        } catch (...) {
            spdlog::error("a job on a worker failed without saying why");
        }
        // What the job holds is released before the lock is taken: it may post or run something.
        job = nullptr;
        lock.lock();
    }
}

}  // namespace tolvik
