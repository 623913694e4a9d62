#pragma once

#include <QObject>
#include <functional>

#include "app/shell/notifier.h"

namespace tolvik {

/// Messages through the session bus's notification service, or by `otherwise` where there is none.
class BusNotifier final : public QObject, public Notifier {
public:
    using Tell = std::function<void(const std::string& title, const std::string& text)>;
    explicit BusNotifier(Tell otherwise);

    void tell(const std::string& title, const std::string& text) override;

private:
    Tell otherwise_;
};

}  // namespace tolvik
