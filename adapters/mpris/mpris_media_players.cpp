#include "adapters/mpris/mpris_media_players.h"

#include <algorithm>
#include <chrono>
#include <sdbus-c++/sdbus-c++.h>
#include <spdlog/spdlog.h>
#include <string>
#include <utility>
#include <vector>

namespace tolvik {

namespace {
constexpr const char* path = "/org/mpris/MediaPlayer2";
constexpr const char* interface = "org.mpris.MediaPlayer2.Player";
constexpr const char* prefix = "org.mpris.MediaPlayer2.";
constexpr std::chrono::milliseconds answerTime{500};
}  // namespace

/// The bus and the players that were paused. On the thread alone.
class MprisMediaPlayers::Bus {
public:
    /// Whether any was playing.
    bool pausePlaying() {
        bool any = false;
        for (const std::string& owner : owners()) {
            guarded([&] {
                const auto player = sdbus::createProxy(*connection_, owner, path);
                if (statusOf(*player) == "Playing") {
                    player->callMethod("Pause").onInterface(interface);
                    if (std::ranges::find(paused_, owner) == paused_.end()) {
                        paused_.push_back(owner);
                    }
                    any = true;
                }
            });
        }
        return any;
    }

    void resumePaused() {
        for (const std::string& owner : std::exchange(paused_, {})) {
            guarded([&] {
                const auto player = sdbus::createProxy(*connection_, owner, path);
                // The user may have stopped it meanwhile. A player may say that it plays for some moments after it was
                // paused; to one that really does, the call is nothing new.
                if (statusOf(*player) != "Stopped") {
                    player->callMethod("Play").onInterface(interface);
                }
            });
        }
    }

private:
    static std::string statusOf(sdbus::IProxy& player) {
        return player.getProperty("PlaybackStatus").onInterface(interface).get<std::string>();
    }

    template <class Call>
    static bool guarded(Call call) {
        try {
            call();
            return true;
        } catch (const sdbus::Error& error) {
            spdlog::debug("Media players: {}", error.what());
            return false;
        }
    }

    /// The players' own addresses. A call to one that has ended fails; a call by name would start it again.
    std::vector<std::string> owners() {
        std::vector<std::string> out;
        const auto ask = [&] {
            out.clear();
            if (!connection_) {
                connection_ = sdbus::createSessionBusConnection();
                connection_->setMethodCallTimeout(answerTime);
            }
            const auto bus = sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
            std::vector<std::string> names;
            bus->callMethod("ListNames").onInterface("org.freedesktop.DBus").storeResultsTo(names);
            for (const std::string& name : names) {
                if (name.starts_with(prefix)) {
                    std::string owner;
                    bus->callMethod("GetNameOwner")
                        .onInterface("org.freedesktop.DBus")
                        .withArguments(name)
                        .storeResultsTo(owner);
                    // A player may have several names.
                    if (std::ranges::find(out, owner) == out.end()) {
                        out.push_back(std::move(owner));
                    }
                }
            }
        };
        if (!guarded(ask)) {
            // The bus may have been started anew.
            connection_.reset();
            if (!guarded(ask)) {
                connection_.reset();
                out.clear();
            }
        }
        return out;
    }

    std::unique_ptr<sdbus::IConnection> connection_;
    std::vector<std::string> paused_;
};

MprisMediaPlayers::MprisMediaPlayers(MainLoop& loop) : loop_(loop) {}

MprisMediaPlayers::~MprisMediaPlayers() {
    alive_.reset();
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void MprisMediaPlayers::pausePlaying(std::function<void(bool paused)> done) {
    run([&loop = loop_, alive = std::weak_ptr(alive_), done = std::move(done)](Bus& bus) {
        const bool paused = bus.pausePlaying();
        loop.post([alive, done, paused] {
            if (!alive.expired()) {
                done(paused);
            }
        });
    });
}

void MprisMediaPlayers::resumePaused() {
    run([](Bus& bus) { bus.resumePaused(); });
}

void MprisMediaPlayers::run(std::function<void(Bus&)> job) {
    {
        const std::scoped_lock lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { work(); });
    }
    wake_.notify_all();
}

void MprisMediaPlayers::work() {
    Bus bus;
    for (;;) {
        std::function<void(Bus&)> job;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return ending_ || !jobs_.empty(); });
            if (jobs_.empty()) {
                return;
            }
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job(bus);
    }
}

}  // namespace tolvik
