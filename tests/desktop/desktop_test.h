#pragma once

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "adapters/asio/asio_main_loop.h"

namespace tolvik {

/// Runs a command line and returns its exit code.
inline int run(const std::string& command) {
    return std::system(command.c_str());  // NOLINT: the tests' own commands
}

/// A program that runs beside the test and ends with this object.
class Process {
public:
    explicit Process(std::vector<std::string> arguments) {
        std::vector<char*> argv;
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        EXPECT_EQ(::posix_spawnp(&pid_, argv[0], nullptr, nullptr, argv.data(), environ), 0) << arguments[0];
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { end(SIGTERM); }

    void end(int signal) {
        if (pid_ > 0) {
            ::kill(pid_, signal);
            ::waitpid(pid_, nullptr, 0);
            pid_ = 0;
        }
    }

private:
    pid_t pid_ = 0;
};

/// A test on the desktop that with-desktop.sh has made.
class DesktopTest : public testing::Test {
protected:
    /// Runs the loop until the condition holds; whether it did within `atMost`.
    bool becomes(const std::function<bool()>& condition, Millis atMost = Millis{30'000}) {
        // The loop looks at the condition between its calls only; other threads need a beat.
        const auto until = std::chrono::steady_clock::now() + atMost;
        while (!loop.runUntil(condition, Millis{5})) {
            if (std::chrono::steady_clock::now() > until) {
                return false;
            }
        }
        return true;
    }
    /// Lets the loop run, for what must not happen.
    void pass(Millis time) {
        loop.runUntil([] { return false; }, time);
    }

    AsioMainLoop loop;
};

}  // namespace tolvik
