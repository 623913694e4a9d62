#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "base/main_loop.h"

namespace tolvik {

/// Threads of the machine. Each is started when a job finds no idle one, so that a process without jobs has none.
/// Jobs that wait when it is destroyed are dropped. An exception that leaves a job is logged.
class ThreadWorkers final : public Workers {
public:
    explicit ThreadWorkers(std::size_t most = 2) : most_(most) {}
    ~ThreadWorkers() override;

    void run(std::function<void()> job) override;

private:
    void work();

    const std::size_t most_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> jobs_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool ending_ = false;
};

}  // namespace tolvik
