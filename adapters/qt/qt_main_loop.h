#pragma once

#include <QObject>
#include <deque>
#include <functional>
#include <mutex>

#include "base/main_loop.h"

namespace tolvik {

/// The main loop on Qt's event loop, on the thread that makes it. An exception that leaves a call is logged and the
/// loop goes on. Needs a QCoreApplication, which outlives it; the application runs the loop.
class QtMainLoop final : public QObject, public MainLoop {
public:
    QtMainLoop();
    ~QtMainLoop() override;

    void post(std::function<void()> call) override;
    [[nodiscard]] Timer after(Millis delay, std::function<void()> call) override;

protected:
    bool event(QEvent* event) override;

private:
    void runPosted();

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
};

}  // namespace tolvik
