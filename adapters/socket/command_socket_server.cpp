#include "adapters/socket/command_socket_server.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iterator>
#include <mutex>
#include <optional>
#include <poll.h>
#include <spdlog/spdlog.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "adapters/socket/frame.h"
#include "adapters/socket/socket_file.h"

namespace tolvik {
namespace {

using Moment = std::chrono::steady_clock::time_point;

/// Where answers wait for the thread; replies keep it, also after the server is gone.
struct Outbox {
    struct Answer {
        std::uint64_t connection = 0;
        /// None tells the client to ask another.
        std::optional<std::string> text;
    };

    void put(Answer answer) {
        const std::scoped_lock lock(mutex);
        if (!closed) {
            answers.push_back(std::move(answer));
            const std::uint64_t one = 1;
            [[maybe_unused]] const auto written = ::write(wake.get(), &one, sizeof one);
        }
    }

    std::mutex mutex;
    std::vector<Answer> answers;
    FileDescriptor wake{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
    /// Connections whose requests the handler has seen.
    std::unordered_set<std::uint64_t> begun;
    bool closed = false;
    std::atomic<bool> stopping = false;
};

struct Connection {
    Connection(FileDescriptor fd, std::size_t mostBytes, Moment until)
        : socket(std::move(fd)), reader(mostBytes), deadline(until) {}

    FileDescriptor socket;
    FrameReader reader;
    /// Set while the peer owes something; none while the handler has the request.
    std::optional<Moment> deadline;
    std::string output;
    std::size_t written = 0;
};

}  // namespace

struct CommandSocketServer::Impl {
    Impl(std::filesystem::path file, MainLoop& mainLoop, Handler onRequest, Limits bounds, FileDescriptor listening)
        : path(std::move(file)),
          loop(mainLoop),
          handler(std::make_shared<Handler>(std::move(onRequest))),
          limits(bounds),
          listener(std::move(listening)) {}

    void serve() {
        while (!outbox->stopping) {
            pollOnce();
        }
        sayGoodbye();
    }

    void pollOnce() {
        std::vector<pollfd> polled;
        std::vector<std::uint64_t> ids;
        polled.push_back({outbox->wake.get(), POLLIN, 0});
        const bool room = connections.size() < limits.connections;
        polled.push_back({room ? listener.get() : -1, POLLIN, 0});
        std::optional<Moment> next;
        for (const auto& [id, connection] : connections) {
            const bool writing = connection.written < connection.output.size();
            const bool reading = connection.reader.state() == FrameReader::State::reading;
            const int events = (writing ? POLLOUT : 0) | (reading ? POLLIN : 0);
            polled.push_back({connection.socket.get(), static_cast<short>(events), 0});
            ids.push_back(id);
            if (connection.deadline && (!next || *connection.deadline < *next)) {
                next = connection.deadline;
            }
        }
        int timeout = -1;
        if (next) {
            const auto left = std::chrono::ceil<Millis>(*next - std::chrono::steady_clock::now()).count();
            timeout = left < 0 ? 0 : static_cast<int>(left);
        }
        if (::poll(polled.data(), polled.size(), timeout) < 0 && errno != EINTR) {
            spdlog::error("the command socket cannot be waited for: {}", std::strerror(errno));
            std::this_thread::sleep_for(Millis{100});
            return;
        }
        for (std::size_t i = 0; i < ids.size(); ++i) {
            serviceConnection(ids[i], polled[i + 2].revents);
        }
        if ((polled[0].revents & POLLIN) != 0) {
            takeAnswers();
        }
        if ((polled[1].revents & POLLIN) != 0) {
            acceptAll();
        }
        dropLate();
    }

    void serviceConnection(std::uint64_t id, short events) {
        const auto found = connections.find(id);
        if (found == connections.end()) {
            return;
        }
        bool alive = true;
        if ((events & POLLIN) != 0) {
            alive = readSome(id, found->second);
        } else if ((events & (POLLHUP | POLLERR)) != 0) {
            alive = false;
        }
        if (alive && (events & POLLOUT) != 0) {
            alive = writeSome(found->second);
        }
        if (!alive) {
            connections.erase(id);
        }
    }

    /// False when the connection is over.
    bool readSome(std::uint64_t id, Connection& connection) {
        const auto got = ::recv(connection.socket.get(), buffer.data(), buffer.size(), 0);
        if (got <= 0) {
            return got < 0 && (errno == EAGAIN || errno == EINTR);
        }
        switch (connection.reader.take({buffer.data(), static_cast<std::size_t>(got)})) {
            case FrameReader::State::reading:
                return true;
            case FrameReader::State::complete:
                connection.deadline.reset();
                handOver(id, std::move(connection.reader.message()));
                return true;
            case FrameReader::State::notDone:
            case FrameReader::State::tooLarge:
                return false;
        }
        return false;
    }

    void handOver(std::uint64_t id, std::string request) const {
        loop.post([box = outbox, call = handler, id, text = std::move(request)]() mutable {
            if (box->stopping) {
                return;
            }
            {
                const std::scoped_lock lock(box->mutex);
                box->begun.insert(id);
            }
            (*call)(std::move(text), [box, id](std::string answer) { box->put({id, std::move(answer)}); });
        });
    }

    void takeAnswers() {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = ::read(outbox->wake.get(), &count, sizeof count);
        std::vector<Outbox::Answer> answers;
        {
            const std::scoped_lock lock(outbox->mutex);
            answers.swap(outbox->answers);
            for (const auto& answer : answers) {
                outbox->begun.erase(answer.connection);
            }
        }
        for (auto& answer : answers) {
            const auto found = connections.find(answer.connection);
            if (found == connections.end()) {
                continue;
            }
            auto& connection = found->second;
            connection.output = answer.text ? frameHead(static_cast<std::uint32_t>(answer.text->size())) + *answer.text
                                            : frameHead(kNotDoneLength);
            if (!writeSome(connection)) {
                connections.erase(found);
            }
        }
    }

    /// False when everything is written or nothing more can be.
    bool writeSome(Connection& connection) {
        while (connection.written < connection.output.size()) {
            const auto sent = ::send(connection.socket.get(), connection.output.data() + connection.written,
                                     connection.output.size() - connection.written, MSG_NOSIGNAL);
            if (sent < 0) {
                if (errno == EINTR) {
                    continue;
                }
                return errno == EAGAIN;
            }
            connection.written += static_cast<std::size_t>(sent);
            connection.deadline = std::chrono::steady_clock::now() + limits.patience;
        }
        return connection.output.empty();
    }

    void acceptAll() {
        while (connections.size() < limits.connections) {
            FileDescriptor socket(::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
            if (!socket) {
                if (errno == EMFILE || errno == ENFILE) {
                    std::this_thread::sleep_for(Millis{20});
                }
                return;
            }
            if (isOwnPeer(socket.get())) {
                connections.try_emplace(++lastId, std::move(socket), limits.requestBytes,
                                        std::chrono::steady_clock::now() + limits.patience);
            }
        }
    }

    void dropLate() {
        const auto now = std::chrono::steady_clock::now();
        std::erase_if(connections,
                      [&](const auto& item) { return item.second.deadline && *item.second.deadline <= now; });
    }

    /// What is answered goes out, and who was not begun is sent elsewhere; one patience for all of it.
    void sayGoodbye() {
        acceptAll();
        listener = FileDescriptor();
        takeAnswers();
        std::vector<std::uint64_t> waiting;
        for (auto& [id, connection] : connections) {
            if (connection.output.empty()) {
                waiting.push_back(id);
            }
        }
        for (const auto id : waiting) {
            auto& connection = connections.at(id);
            bool begun = false;
            {
                const std::scoped_lock lock(outbox->mutex);
                begun = outbox->begun.contains(id);
            }
            if (!begun) {
                connection.output = frameHead(kNotDoneLength);
            }
            if (begun || !writeSome(connection)) {
                connections.erase(id);
            }
        }
        const auto end = std::chrono::steady_clock::now() + Millis{1000};
        while (!connections.empty() && std::chrono::steady_clock::now() < end) {
            for (auto item = connections.begin(); item != connections.end();) {
                item = writeSome(item->second) ? std::next(item) : connections.erase(item);
            }
            std::this_thread::sleep_for(Millis{connections.empty() ? 0 : 2});
        }
    }

    std::filesystem::path path;
    MainLoop& loop;
    std::shared_ptr<Handler> handler;
    Limits limits;
    FileDescriptor listener;
    std::shared_ptr<Outbox> outbox = std::make_shared<Outbox>();
    std::unordered_map<std::uint64_t, Connection> connections;
    std::uint64_t lastId = 0;
    std::array<char, std::size_t{64} << 10U> buffer{};
    std::thread thread;
};

Result<std::unique_ptr<CommandSocketServer>, std::string> CommandSocketServer::start(const std::filesystem::path& path,
                                                                                     MainLoop& loop, Handler handler,
                                                                                     Limits limits) {
    const auto file = socketFileAt(path);
    FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!file || !listener) {
        return failure("cannot make a socket at " + path.string());
    }
    ::unlink(path.c_str());
    // The mode given before the binding is the one the file is born with.
    if (::fchmod(listener.get(), 0600) != 0 || ::bind(listener.get(), file->get(), sizeof file->address) != 0 ||
        ::listen(listener.get(), 128) != 0) {
        return failure("cannot serve at " + path.string() + ": " + std::strerror(errno));
    }
    auto impl = std::make_unique<Impl>(path, loop, std::move(handler), limits, std::move(listener));
    impl->thread = std::thread([raw = impl.get()] { raw->serve(); });
    return std::unique_ptr<CommandSocketServer>(new CommandSocketServer(std::move(impl)));
}

CommandSocketServer::CommandSocketServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

CommandSocketServer::~CommandSocketServer() {
    ::unlink(impl_->path.c_str());
    impl_->outbox->stopping = true;
    impl_->outbox->put({});
    impl_->thread.join();
    const std::scoped_lock lock(impl_->outbox->mutex);
    impl_->outbox->closed = true;
}

}  // namespace tolvik
