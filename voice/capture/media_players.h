#pragma once

#include <functional>

namespace tolvik {

/// The media players of the desktop.
class MediaPlayers {
public:
    MediaPlayers() = default;
    MediaPlayers(const MediaPlayers&) = delete;
    MediaPlayers& operator=(const MediaPlayers&) = delete;
    virtual ~MediaPlayers() = default;

    /// Pauses those that are playing and remembers them; `done(paused)` comes on the main loop, with whether any was.
    virtual void pausePlaying(std::function<void(bool paused)> done) = 0;
    /// Resumes those, and only those, that `pausePlaying` paused; nothing when it paused none.
    virtual void resumePaused() = 0;
};

}  // namespace tolvik
