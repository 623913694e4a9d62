#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/desktop/options.h"
#include "app/desktop/start_trace.h"
#include "base/result.h"
#include "core/value_store.h"
#include "services/paths.h"
#include "telemetry/crash/crash_trail.h"

namespace tolvik {

/// The desktop application, composed. Needs the QApplication, which outlives it, and the store's lock, which the caller
/// holds for as long as this lives. Main loop only.
class DesktopApp {
public:
    /// The trail of this process, which outlives the application, and what is known of the process before it.
    struct Trail {
        CrashTrail& trail;
        std::optional<CrashReport> before;
    };
    [[nodiscard]] static Result<std::unique_ptr<DesktopApp>, StoreError> open(const Paths& paths,
                                                                              const DesktopOptions& options,
                                                                              StartTrace& trace, Trail trail);
    DesktopApp(const DesktopApp&) = delete;
    DesktopApp& operator=(const DesktopApp&) = delete;
    ~DesktopApp();

private:
    struct Impl;
    explicit DesktopApp(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
