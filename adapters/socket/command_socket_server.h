#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "base/main_loop.h"
#include "base/result.h"

namespace tolvik {

/// Answers the user's own processes over a socket file that nobody else may open (mode 0600, and the peer's user is
/// checked). A thread of its own reads and writes, so that a slow or silent client costs the main loop nothing; it
/// waits `patience` for a whole request, and as long for each sign of life while it writes.
class CommandSocketServer {
public:
    using Reply = std::function<void(std::string answer)>;
    /// Called on the main loop, one request after another. `reply` is called once, there or later, from any thread;
    /// after the server is gone it does nothing.
    using Handler = std::function<void(std::string request, Reply reply)>;

    struct Limits {
        std::size_t requestBytes = std::size_t{16} << 20U;
        std::size_t connections = 256;
        Millis patience{5000};
    };

    /// Takes the place of a socket file that is there: only the holder of the store's lock may start one. The error
    /// says what is wrong with the path.
    [[nodiscard]] static Result<std::unique_ptr<CommandSocketServer>, std::string> start(
        const std::filesystem::path& path, MainLoop& loop, Handler handler, Limits limits);
    [[nodiscard]] static Result<std::unique_ptr<CommandSocketServer>, std::string> start(
        const std::filesystem::path& path, MainLoop& loop, Handler handler) {
        return start(path, loop, std::move(handler), Limits{});
    }

    CommandSocketServer(const CommandSocketServer&) = delete;
    CommandSocketServer& operator=(const CommandSocketServer&) = delete;
    /// Removes the file. Clients whose requests the handler has not seen are told to ask another. Main loop only.
    ~CommandSocketServer();

private:
    struct Impl;
    explicit CommandSocketServer(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
