#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace tolvik {

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main loop. One object a process.
class Termination final : public QObject {
public:
    explicit Termination(std::function<void()> asked);
    ~Termination() override;

private:
    int read_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace tolvik
