#include "adapters/qt/qt_main_loop.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

namespace {

const QEvent::Type wakeEvent = static_cast<QEvent::Type>(QEvent::registerEventType());

void runGuarded(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception& error) {
        spdlog::error("a call on the main loop failed: {}", error.what());
    } catch (...) {
        spdlog::error("a call on the main loop failed without saying why");
    }
}

/// A delayed call; its QTimer belongs to the loop, so that a handle may outlive the loop.
class QtTimerHandle final : public Timer::Handle {
public:
    QtTimerHandle(QObject* loop, Millis delay, std::function<void()> call) : timer_(new QTimer(loop)) {
        auto shared = std::make_shared<std::function<void()>>(std::move(call));
        timer_->setSingleShot(true);
        timer_->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer_, &QTimer::timeout, timer_, [shared] {
            // The call may destroy its own handle, and with it the connection that holds this lambda.
            const auto running = std::exchange(*shared, nullptr);
            runGuarded(running);
        });
        const auto limit = static_cast<Millis::rep>(std::numeric_limits<int>::max());
        timer_->start(static_cast<int>(std::clamp<Millis::rep>(delay.count(), 0, limit)));
    }
    ~QtTimerHandle() override {
        if (timer_) {
            timer_->stop();
            timer_->deleteLater();
        }
    }
    [[nodiscard]] bool isPending() const override { return timer_ && timer_->isActive(); }

private:
    QPointer<QTimer> timer_;
};

}  // namespace

QtMainLoop::QtMainLoop() = default;
QtMainLoop::~QtMainLoop() = default;

void QtMainLoop::post(std::function<void()> call) {
    const std::scoped_lock lock(mutex_);
    posted_.push_back(std::move(call));
    // One event wakes the loop for all that is queued by then.
    if (posted_.size() == 1) {
        QCoreApplication::postEvent(this, new QEvent(wakeEvent));
    }
}

Timer QtMainLoop::after(Millis delay, std::function<void()> call) {
    return Timer(std::make_unique<QtTimerHandle>(this, delay, std::move(call)));
}

bool QtMainLoop::event(QEvent* event) {
    if (event->type() != wakeEvent) {
        return QObject::event(event);
    }
    runPosted();
    return true;
}

void QtMainLoop::runPosted() {
    std::deque<std::function<void()>> batch;
    {
        const std::scoped_lock lock(mutex_);
        batch.swap(posted_);
    }
    for (auto& call : batch) {
        runGuarded(call);
        call = nullptr;
    }
}

}  // namespace tolvik
