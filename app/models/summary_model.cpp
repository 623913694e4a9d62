#include "app/models/summary_model.h"

#include <QStringList>
#include <utility>

#include "app/models/wording.h"

namespace tolvik {
namespace {

constexpr int kMinuteMs = 60'000;

QString counted(std::int64_t count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

}  // namespace

SummaryModel::SummaryModel(Assistant& assistant, AppStore& store, std::function<bool()> isSignedIn, QObject* parent)
    : QObject(parent), store_(store), isSignedIn_(std::move(isSignedIn)), card_(assistant) {
    minute_.setInterval(kMinuteMs);
    connect(&minute_, &QTimer::timeout, this, [this] {
        ++minutes_;
        update();
    });
    storeSubscription_ = store.onChanged([this] { update(); });
}

void SummaryModel::setLive(bool live) {
    if (std::exchange(live_, live) == live) {
        return;
    }
    if (live) {
        minute_.start();
        if (shown() == nullptr) {
            // What failed is tried again when somebody comes back.
            asked_.reset();
        }
        update();
    } else {
        minute_.stop();
    }
    Q_EMIT changed();
}

void SummaryModel::update() {
    if (!live_) {
        return;
    }
    Basis now{.day = store_.currentDate(), .byServer = isSignedIn_()};
    if (!now.byServer) {
        now.revision = store_.revision();
        now.minutes = store_.runningEntry() != nullptr && store_.isViewingToday() ? minutes_ : 0;
    }
    if (asked_ == now) {
        return;
    }
    if (!asked_ || !now.byServer || now.byServer != asked_->byServer) {
        card_.expire();
    }
    const bool isOtherDay = !asked_ || asked_->day != now.day;
    asked_ = now;
    card_.show(now.day, [this, day = now.day] {
        day_ = day;
        Q_EMIT changed();
    });
    if (isOtherDay) {
        Q_EMIT changed();
    }
}

const DaySummary* SummaryModel::shown() const {
    return day_ == store_.currentDate() && card_.summary() ? &*card_.summary() : nullptr;
}

QString SummaryModel::text() const {
    const DaySummary* summary = shown();
    return summary != nullptr ? wording::fromUtf8(summary->narrative) : QString();
}

QString SummaryModel::detail() const {
    const DaySummary* summary = shown();
    if (summary == nullptr || summary->taskCount == 0) {
        return {};
    }
    QStringList parts{counted(summary->taskCount, "task", "tasks")};
    if (summary->focusBlocks > 0) {
        parts << counted(summary->focusBlocks, "focus block", "focus blocks");
    }
    if (summary->topProject) {
        parts << QStringLiteral("mostly ") + wording::fromUtf8(*summary->topProject);
    }
    return parts.join(QStringLiteral(" · "));
}

}  // namespace tolvik
