#include <algorithm>
#include <fmt/format.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

#include "adapters/socket/socket_file.h"
#include "cli/doctor.h"
#include "services/lazy_embedder.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;
using State = Finding::State;

/// True when somebody listens at the socket file.
bool answers(const fs::path& socketPath) {
    const auto file = socketFileAt(socketPath);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return file && socket && ::connect(socket.get(), file->get(), sizeof file->address) == 0;
}

std::string valueOf(const Environment& environment, const char* name) {
    return environment(name).value_or("");
}

std::string runtimeFolder(const Environment& environment) {
    const auto folder = valueOf(environment, "XDG_RUNTIME_DIR");
    return folder.empty() ? fmt::format("/run/user/{}", ::geteuid()) : folder;
}

/// ":1" and ":1.0" are local; others ("host:1") cannot be looked at from here.
std::string localDisplayNumber(std::string_view display) {
    if (display.starts_with("unix")) {
        display.remove_prefix(4);
    }
    if (!display.starts_with(':')) {
        return {};
    }
    display.remove_prefix(1);
    return std::string(display.substr(0, display.find('.')));
}

bool isXServerThere(const Environment& environment) {
    const auto display = valueOf(environment, "DISPLAY");
    const auto number = localDisplayNumber(display);
    return !display.empty() && (number.empty() || answers("/tmp/.X11-unix/X" + number));
}

/// The path in "unix:path=/run/user/1000/bus,guid=…"; empty for other kinds of address.
std::string pathInBusAddress(std::string_view address) {
    constexpr std::string_view before = "unix:path=";
    const auto at = address.find(before);
    if (at == std::string_view::npos) {
        return {};
    }
    const auto rest = address.substr(at + before.size());
    return std::string(rest.substr(0, rest.find_first_of(",;")));
}

}  // namespace

Finding lookAtDisplay(const Environment& environment) {
    const auto display = valueOf(environment, "DISPLAY");
    const auto wayland = valueOf(environment, "WAYLAND_DISPLAY");
    if (isXServerThere(environment)) {
        return {"display", State::fine, "X11 at " + display, {}};
    }
    if (!display.empty()) {
        return {"display", State::missing, fmt::format("no X server answers at {}", display),
                "Set DISPLAY to a running server, or unset it."};
    }
    if (!wayland.empty()) {
        return {"display", State::fine, "Wayland at " + wayland, {}};
    }
    return {"display", State::missing, "neither DISPLAY nor WAYLAND_DISPLAY is set",
            "Open a desktop session; the commands work without one."};
}

Finding lookAtChord(const Environment& environment) {
    if (isXServerThere(environment)) {
        return {"chord", State::fine, "keys can be watched through X11", {}};
    }
    const bool wayland = !valueOf(environment, "WAYLAND_DISPLAY").empty();
    return {"chord", State::missing, "holding the chord is seen only through an X server, and none answers",
            wayland ? "Start an X11 session, or speak from a file with: tolvik hear FILE"
                    : "Speak from a file with: tolvik hear FILE"};
}

Finding lookAtMicrophone(const Environment& environment) {
    const auto server = valueOf(environment, "PULSE_SERVER");
    std::string path = runtimeFolder(environment) + "/pulse/native";
    if (const auto runtime = valueOf(environment, "PULSE_RUNTIME_PATH"); !runtime.empty()) {
        path = runtime + "/native";
    }
    if (!server.empty()) {
        path = server.starts_with("unix:") ? server.substr(5) : server;
    }
    if (!path.starts_with('/')) {
        return {"microphone", State::fine, fmt::format("sound server {}, not looked at from here", path), {}};
    }
    if (answers(path)) {
        return {"microphone", State::fine, "the sound server answers at " + path, {}};
    }
    return {"microphone", State::missing, "no sound server answers at " + path,
            "Start PulseAudio or PipeWire with its Pulse service (pulseaudio --start)."};
}

Finding lookAtEmbedding(const Paths& paths) {
    if (!fs::exists(paths.embeddingModule())) {
        return {"meaning", State::missing, "its module is not installed: " + paths.embeddingModule().string(),
                "Install it again; commands are understood by their words without it."};
    }
    if (!LazyEmbedder(paths.embeddingModule(), paths.embeddingModel()).isPresent()) {
        return {"meaning", State::missing, "no model in " + paths.embeddingModel().string(),
                "Run ./setup (from a package: sudo tolvik-get-models), or set TOLVIK_MODELS; commands are understood "
                "by their words without it."};
    }
    return {"meaning", State::fine, paths.embeddingModel().string(), {}};
}

Finding lookAtSecrets(const Environment& environment) {
    std::string path = pathInBusAddress(valueOf(environment, "DBUS_SESSION_BUS_ADDRESS"));
    if (path.empty()) {
        path = runtimeFolder(environment) + "/bus";
    }
    if (!answers(path)) {
        return {"secrets", State::missing, "no session bus answers at " + path,
                "Needed only to sign in: log in to a desktop session."};
    }
    const auto isService = [](const fs::path& folder) {
        std::error_code error;
        return fs::exists(folder / "dbus-1/services/org.freedesktop.secrets.service", error);
    };
    if (!isService("/usr/share") && !isService("/usr/local/share")) {
        return {"secrets", State::missing, "the session bus answers, and no secret service is installed",
                "Needed only to sign in: install gnome-keyring or another secret service."};
    }
    return {"secrets", State::fine, "the session bus answers, and a secret service is installed", {}};
}

Finding lookAtPrograms(const Paths& paths) {
    std::string lacking;
    for (const char* program : {"tolvik-desktop", "tolvik-speech", "tolvik-hear"}) {
        if (::access((paths.programs / program).c_str(), X_OK) != 0) {
            lacking += fmt::format("{}{}", lacking.empty() ? "" : ", ", program);
        }
    }
    if (lacking.empty()) {
        return {"programs", State::fine, paths.programs.string(), {}};
    }
    return {"programs", State::missing, fmt::format("not in {}: {}", paths.programs.string(), lacking),
            "Build or install the desktop application as well."};
}

}  // namespace tolvik
