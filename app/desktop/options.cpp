#include "app/desktop/options.h"

#include <string_view>

namespace tolvik {

Result<DesktopOptions, std::string> readOptions(std::span<const char* const> arguments) {
    DesktopOptions options;
    for (const std::string_view argument : arguments) {
        if (argument == "--hidden") {
            options.hidden = true;
        } else if (argument == "--skip-welcome") {
            options.skipWelcome = true;
        } else if (argument == "--time-start") {
            options.timeStart = true;
        } else if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else if (argument == "--version") {
            options.version = true;
        } else {
            return failure("tolvik-desktop: unknown option " + std::string(argument) + ". See tolvik-desktop --help.");
        }
    }
    return options;
}

std::string helpText() {
    return R"(tolvik-desktop: the window, the pill and the menu bar item of Tolvik.
A second start brings the window of the first to the front.

  --hidden        start without showing the window, as at login
  --skip-welcome  open the pages even where the first-run steps are unfinished
  --time-start    print how long each step of the start took
  --version       print the version
  --help          print this

Environment: TOLVIK_RENDERER=opengl draws by the graphics card instead of the
processor; TOLVIK_TRACE_START=1 is --time-start.
)";
}

}  // namespace tolvik
