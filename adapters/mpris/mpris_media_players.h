#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "base/main_loop.h"
#include "voice/capture/media_players.h"

namespace tolvik {

/// Players that speak MPRIS on the session bus. The bus is spoken to on a thread of its own, in the order of the
/// calls; a player that does not answer delays the next call by half a second at most. Without a bus nothing plays.
class MprisMediaPlayers final : public MediaPlayers {
public:
    /// `loop` outlives the players.
    explicit MprisMediaPlayers(MainLoop& loop);
    /// What was asked for is still done.
    ~MprisMediaPlayers() override;

    void pausePlaying(std::function<void(bool paused)> done) override;
    void resumePaused() override;

private:
    class Bus;
    void run(std::function<void(Bus&)> job);
    void work();

    MainLoop& loop_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void(Bus&)>> jobs_;
    bool ending_ = false;
    // Started by the first call: most people never need it.
    std::thread thread_;
    // Gone with this object, so that no answer comes afterwards.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tolvik
