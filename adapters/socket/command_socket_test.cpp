#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/socket/command_socket_client.h"
#include "adapters/socket/command_socket_server.h"
#include "adapters/socket/frame.h"
#include "adapters/socket/socket_file.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

TEST(FrameReader, putsMessagesTogetherFromAnyPieces) {
    const std::string wire = frameHead(5) + "hello and more";
    for (std::size_t step = 1; step <= wire.size(); ++step) {
        FrameReader reader(5);
        for (std::size_t at = 0; at < wire.size(); at += step) {
            reader.take(std::string_view(wire).substr(at, step));
        }
        ASSERT_EQ(reader.state(), FrameReader::State::complete) << step;
        EXPECT_EQ(reader.message(), "hello");
    }
    EXPECT_EQ(FrameReader(4).take(wire), FrameReader::State::tooLarge);
    EXPECT_EQ(FrameReader(4).take(frameHead(kNotDoneLength)), FrameReader::State::notDone);
    EXPECT_EQ(FrameReader(4).take(frameHead(0)), FrameReader::State::complete);
}

/// A folder, a loop that the main thread runs, and clients on threads of their own.
class CommandSocketTest : public testing::Test {
protected:
    void SetUp() override {
        folder_ = fs::path(testing::TempDir()) / ("socket-" + std::to_string(::getpid()));
        fs::create_directories(folder_);
        path_ = folder_ / "test.sock";
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::unique_ptr<CommandSocketServer> serve(CommandSocketServer::Handler handler,
                                               CommandSocketServer::Limits limits = {}) {
        auto server = CommandSocketServer::start(path_, loop_, std::move(handler), limits);
        EXPECT_TRUE(server) << server.error();
        return server ? std::move(*server) : nullptr;
    }
    static CommandSocketServer::Handler echo() {
        return [](const std::string& request, const CommandSocketServer::Reply& reply) { reply("<" + request + ">"); };
    }
    /// Runs the client while the loop runs.
    void during(const std::function<void()>& client) {
        std::atomic<bool> done = false;
        std::thread thread([&] {
            client();
            done = true;
            loop_.post([] {});
        });
        EXPECT_TRUE(loop_.runUntil([&] { return done.load(); }, Millis{20'000}));
        thread.join();
    }
    FileDescriptor connected() const {
        FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const auto file = socketFileAt(path_);
        EXPECT_GE(socket.get(), 0);
        // NOLINTNEXTLINE(clang-analyzer-unix.StdCLibraryFunctions): said above
        EXPECT_EQ(::connect(socket.get(), file->get(), sizeof file->address), 0);
        return socket;
    }
    static void write(const FileDescriptor& socket, std::string_view bytes) {
        EXPECT_EQ(::send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    /// True when the server hangs up within the time.
    static bool isDropped(const FileDescriptor& socket, int ms) {
        pollfd waiting{socket.get(), POLLIN, 0};
        char byte = 0;
        return ::poll(&waiting, 1, ms) == 1 && ::recv(socket.get(), &byte, 1, 0) <= 0;
    }

    fs::path folder_;
    fs::path path_;
    AsioMainLoop loop_;
};

TEST_F(CommandSocketTest, answersManyAtOnceAndLargeMessages) {
    const auto server = serve(echo());
    struct stat status{};
    ASSERT_EQ(::stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    during([&] {
        std::vector<std::thread> clients;
        for (int i = 0; i < 50; ++i) {
            clients.emplace_back([&, i] {
                const auto answer = callCommandSocket(path_, std::to_string(i));
                EXPECT_EQ(answer.value_or("none"), "<" + std::to_string(i) + ">");
            });
        }
        for (auto& client : clients) {
            client.join();
        }
        const std::string large(9'000'000, 'x');
        EXPECT_EQ(callCommandSocket(path_, large).value_or("none").size(), large.size() + 2);
        CallLimits small;
        small.answerBytes = 100;
        EXPECT_EQ(callCommandSocket(path_, large, small).error(), CallError::tooLarge);
    });
}

TEST_F(CommandSocketTest, servesOthersBesideSilentSlowAndHostileClients) {
    CommandSocketServer::Limits limits;
    limits.requestBytes = 1000;
    limits.patience = Millis{800};
    const auto server = serve(
        [](const std::string& request, const CommandSocketServer::Reply& reply) {
            reply(std::string(request == "big" ? 30'000'000 : 2, 'a'));
        },
        limits);
    during([&] {
        const auto silent = connected();
        const auto slow = connected();
        write(slow, frameHead(50) + "ten bytes.");
        const auto liar = connected();
        write(liar, frameHead(1001));
        const auto deaf = connected();
        write(deaf, frameHead(3) + "big");
        const auto gone = std::make_unique<FileDescriptor>(connected());
        write(*gone, frameHead(3) + "abc");
        EXPECT_EQ(callCommandSocket(path_, "ok").value_or("none"), "aa");
        EXPECT_TRUE(isDropped(liar, 5000));
        EXPECT_TRUE(isDropped(silent, 5000));
        EXPECT_TRUE(isDropped(slow, 5000));
        // Whoever does not read its answer is dropped too: what the kernel holds ends before the answer does.
        std::this_thread::sleep_for(Millis{2000});
        std::size_t got = 0;
        std::vector<char> buffer(1 << 20U);
        for (ssize_t part = 1; part > 0;) {
            part = ::recv(deaf.get(), buffer.data(), buffer.size(), 0);
            got += part > 0 ? static_cast<std::size_t>(part) : 0;
        }
        EXPECT_LT(got, 30'000'000U);
        EXPECT_EQ(callCommandSocket(path_, "ok").value_or("none"), "aa");
    });
}

TEST_F(CommandSocketTest, tellsWhatIsKnownWhenNobodyAnswers) {
    EXPECT_EQ(callCommandSocket(path_, "x").error(), CallError::nobody);
    {
        // A socket file that its process left behind.
        FileDescriptor dead(::socket(AF_UNIX, SOCK_STREAM, 0));
        const auto file = socketFileAt(path_);
        ASSERT_EQ(::bind(dead.get(), file->get(), sizeof file->address), 0);
        ASSERT_EQ(::listen(dead.get(), 1), 0);
    }
    ASSERT_TRUE(fs::exists(path_));
    EXPECT_EQ(callCommandSocket(path_, "x").error(), CallError::nobody);

    CommandSocketServer::Reply kept;
    auto server = serve([&](const std::string&, CommandSocketServer::Reply reply) { kept = std::move(reply); });
    CallLimits hasty;
    hasty.patience = Millis{50};
    during([&] { EXPECT_EQ(callCommandSocket(path_, "x", hasty).error(), CallError::unanswered); });
    // Begun, and the server goes before it answers.
    std::thread client([&] { EXPECT_EQ(callCommandSocket(path_, "y").error(), CallError::unanswered); });
    kept = nullptr;
    EXPECT_TRUE(loop_.runUntil([&] { return static_cast<bool>(kept); }, Millis{10'000}));
    server.reset();
    client.join();
    kept("too late");
    EXPECT_FALSE(fs::exists(path_));
}

TEST_F(CommandSocketTest, sendsElsewhereWhomItHasNotBegun) {
    int seen = 0;
    auto server = serve([&](const std::string&, const CommandSocketServer::Reply& reply) {
        ++seen;
        reply("");
    });
    std::vector<std::thread> clients;
    std::atomic<int> waiting = 0;
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back([&] {
            ++waiting;
            EXPECT_EQ(callCommandSocket(path_, "x").error(), CallError::nobody);
        });
    }
    // The loop never runs, so that whatever has arrived by now is queued before it.
    while (waiting < 8) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(Millis{30});
    server.reset();
    for (auto& client : clients) {
        client.join();
    }
    loop_.runPosted();
    EXPECT_EQ(seen, 0);
}

TEST_F(CommandSocketTest, reachesPathsLongerThanAnAddress) {
    path_ = folder_ / std::string(120, 'd') / "test.sock";
    fs::create_directories(path_.parent_path());
    const auto server = serve(echo());
    ASSERT_TRUE(server);
    during([&] { EXPECT_EQ(callCommandSocket(path_, "far").value_or("none"), "<far>"); });
}

}  // namespace
}  // namespace tolvik
