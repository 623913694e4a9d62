#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "adapters/sqlite/sqlite_value_store.h"
#include "tests/crash/scripted_log.h"
#include "tests/fakes/memory_value_store.h"

namespace tolvik {
namespace {

/// How a child that was killed after a while ended.
struct Ended {
    int status = 0;
    /// The last operation that it acknowledged; `from` - 1 when none.
    std::int64_t acknowledged = 0;
};

Ended runAndKill(const std::string& file, std::int64_t from, useconds_t afterMicroseconds) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const std::string number = std::to_string(from);
    const int child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        ::execl(TOLVIK_CRASH_CHILD, TOLVIK_CRASH_CHILD, file.c_str(), number.c_str(), nullptr);
        ::_exit(127);
    }
    ::close(ends[1]);
    ::usleep(afterMicroseconds);
    ::kill(child, SIGKILL);
    std::string text;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(ends[0], buffer, sizeof buffer)) != 0;) {
        if (got < 0 && errno != EINTR) {
            break;
        }
        text.append(buffer, got < 0 ? 0 : static_cast<std::size_t>(got));
    }
    ::close(ends[0]);
    Ended ended{0, from - 1};
    ::waitpid(child, &ended.status, 0);
    std::istringstream lines(text);
    for (std::int64_t n = 0; lines >> n;) {
        ended.acknowledged = n;
    }
    return ended;
}

TEST(Kill, AtAnyMomentEveryAcknowledgedChangeIsThere) {
    std::string folder = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::string file = folder + "/tolvik.sqlite";
    const char* wanted = std::getenv("TOLVIK_CRASH_ROUNDS");
    const int rounds = wanted == nullptr ? 200 : std::atoi(wanted);

    // The same operations on values in memory: what the log must be.
    MemoryValueStore values;
    ScriptedLog model(values, 0);
    std::int64_t next = 0;
    int killedInBetween = 0;
    FakeRandom chance(static_cast<std::uint64_t>(::getpid()));
    // A slow machine does little between two kills: more of them, until as much was done.
    for (int round = 0; round < rounds || (next <= rounds && round < 10 * rounds); ++round) {
        const auto wait = static_cast<useconds_t>(4000 + chance.next() % 60'000);
        const Ended ended = runAndKill(file, next, wait);
        ASSERT_TRUE(WIFSIGNALED(ended.status)) << "the child ended by itself: " << WEXITSTATUS(ended.status);
        for (; next <= ended.acknowledged; ++next) {
            model.arrive(next);
            model.act(next);
        }
        const SqliteValueStore stored(file);
        ASSERT_EQ(stored.openProblem(), std::nullopt);
        ASSERT_EQ(stored.movedAside(), std::nullopt);
        const auto found = readStored(stored);
        ASSERT_TRUE(found);
        if (*found == StoredLog{model.log(), model.owed()}) {
            continue;
        }
        // Not yet acknowledged, but whole: the forgotten task was closed, or the operation happened.
        ++killedInBetween;
        model.arrive(next);
        if (*found == StoredLog{model.log(), model.owed()}) {
            continue;
        }
        model.act(next++);
        ASSERT_EQ(*found, (StoredLog{model.log(), model.owed()}))
            << "round " << round << ", operation " << next - 1 << ", pid seed " << ::getpid();
    }
    RecordProperty("operations", static_cast<int>(next));
    RecordProperty("killedBetweenDiskAndWord", killedInBetween);
    std::printf("%d kills, %lld operations, %d between disk and acknowledgement\n", rounds,
                static_cast<long long>(next), killedInBetween);
    EXPECT_GT(next, rounds);
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace tolvik
