#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "voice/capture/media_players.h"

namespace tolvik {

/// One media player, and a record of what it was told.
class FakeMediaPlayers final : public MediaPlayers {
public:
    void pausePlaying(std::function<void(bool paused)> done) override {
        ++pauses;
        paused_ = std::exchange(isPlaying, false) || paused_;
        if (answersLate) {
            waiting_.push_back([done = std::move(done), paused = paused_] { done(paused); });
        } else {
            done(paused_);
        }
    }
    void resumePaused() override {
        ++resumes;
        isPlaying = std::exchange(paused_, false) || isPlaying;
    }
    /// Gives the answers that were held back.
    void answer() {
        for (const auto& call : std::exchange(waiting_, {})) {
            call();
        }
    }

    bool isPlaying = false;
    bool answersLate = false;
    int pauses = 0;
    int resumes = 0;

private:
    bool paused_ = false;
    std::vector<std::function<void()>> waiting_;
};

}  // namespace tolvik
