#include <atomic>
#include <optional>
#include <sdbus-c++/sdbus-c++.h>

#include "adapters/mpris/mpris_media_players.h"
#include "tests/desktop/desktop_test.h"

namespace tolvik {
namespace {

/// A player on the bus that is neither mpv nor anything else: its state and the calls it gets.
class BusPlayer {
public:
    BusPlayer(const std::string& name, std::string status)
        : connection_(sdbus::createSessionBusConnection("org.mpris.MediaPlayer2." + name)),
          object_(sdbus::createObject(*connection_, "/org/mpris/MediaPlayer2")),
          status_(std::move(status)) {
        const char* interface = "org.mpris.MediaPlayer2.Player";
        object_->registerProperty("PlaybackStatus").onInterface(interface).withGetter([this] {
            const std::scoped_lock lock(mutex_);
            return status_;
        });
        object_->registerMethod("Pause").onInterface(interface).implementedAs([this] { become("Paused"); });
        object_->registerMethod("Play").onInterface(interface).implementedAs([this] { become("Playing"); });
        object_->finishRegistration();
        connection_->enterEventLoopAsync();
    }
    ~BusPlayer() { connection_->leaveEventLoop(); }
    BusPlayer(const BusPlayer&) = delete;
    BusPlayer& operator=(const BusPlayer&) = delete;

    void become(const std::string& status) {
        const std::scoped_lock lock(mutex_);
        status_ = status;
    }
    [[nodiscard]] std::string status() {
        const std::scoped_lock lock(mutex_);
        return status_;
    }

private:
    std::unique_ptr<sdbus::IConnection> connection_;
    std::unique_ptr<sdbus::IObject> object_;
    std::mutex mutex_;
    std::string status_;
};

class MediaPlayersTest : public DesktopTest {
protected:
    std::optional<bool> pause() {
        std::optional<bool> answer;
        players.pausePlaying([&](bool paused) { answer = paused; });
        EXPECT_FALSE(answer) << "the answer comes on a later turn";
        becomes([&] { return answer.has_value(); });
        return answer;
    }
    MprisMediaPlayers players{loop};
};

TEST_F(MediaPlayersTest, PausesThoseThatPlayAndResumesOnlyThose) {
    EXPECT_EQ(pause(), false) << "nobody is there";
    BusPlayer playing("one", "Playing");
    BusPlayer paused("two", "Paused");
    BusPlayer stopped("three", "Stopped");
    EXPECT_EQ(pause(), true);
    EXPECT_EQ(playing.status(), "Paused");
    EXPECT_EQ(pause(), false) << "nothing plays any more";
    players.resumePaused();
    EXPECT_TRUE(becomes([&] { return playing.status() == "Playing"; }));
    pass(Millis{100});
    EXPECT_EQ(paused.status(), "Paused");
    EXPECT_EQ(stopped.status(), "Stopped");

    paused.become("Paused");
    playing.become("Paused");
    players.resumePaused();
    pass(Millis{200});
    EXPECT_EQ(playing.status(), "Paused") << "the debt was paid once";
}

TEST_F(MediaPlayersTest, LeavesAPlayerThatWasStoppedMeanwhileOrIsGone) {
    BusPlayer first("one", "Playing");
    auto second = std::make_unique<BusPlayer>("two", "Playing");
    EXPECT_EQ(pause(), true);
    EXPECT_EQ(second->status(), "Paused");
    first.become("Stopped");
    second.reset();
    BusPlayer successor("two", "Paused");
    players.resumePaused();
    pass(Millis{300});
    EXPECT_EQ(first.status(), "Stopped");
    EXPECT_EQ(successor.status(), "Paused") << "another player of that name was never paused here";
}

TEST_F(MediaPlayersTest, DoesWhatItWasAskedForBeforeItGoes) {
    BusPlayer player("one", "Playing");
    bool answered = false;
    {
        MprisMediaPlayers brief(loop);
        brief.pausePlaying([&](bool) { answered = true; });
        brief.resumePaused();
    }
    EXPECT_EQ(player.status(), "Playing");
    pass(Millis{100});
    EXPECT_FALSE(answered) << "but answers nobody";
}

TEST_F(MediaPlayersTest, PausesARealPlayer) {
    if (run("ls /etc/mpv/scripts/mpris.so /usr/lib/mpv-mpris/mpris.so /usr/lib/*/mpv/mpris.so > player.txt 2>/dev/null;"
            "command -v mpv > /dev/null && test -s player.txt") != 0) {
        GTEST_SKIP() << "mpv or mpv-mpris is not installed";
    }
    const Process player({"sh", "-c",
                          "exec mpv --no-video --really-quiet --loop=inf --script=$(head -n1 player.txt) "
                          "--ao=pulse av://lavfi:sine=frequency=220 > /dev/null 2>&1"});
    const auto answers = [&] { return pause() == true; };
    EXPECT_TRUE(becomes(answers, Millis{30'000}));
    // It tells of its pause some moments later.
    EXPECT_TRUE(becomes([&] { return pause() == false; }));
    players.resumePaused();
    EXPECT_TRUE(becomes(answers)) << "it plays again, so it can be paused again";
    std::remove("player.txt");
}

}  // namespace
}  // namespace tolvik
