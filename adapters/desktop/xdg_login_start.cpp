#include "adapters/desktop/xdg_login_start.h"

#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace tolvik {

namespace {

std::string_view cut(std::string_view text) {
    const auto begin = text.find_first_not_of(" \t\r");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

}  // namespace

std::string quotedForExec(const std::string& argument) {
    std::string out;
    bool quote = argument.empty();
    for (const char c : argument) {
        switch (c) {
            case '"':
            case '`':
            case '$':
                // The value is unescaped once as a string and once as an argument.
                out += "\\\\";
                quote = true;
                break;
            case '\\':
                out += "\\\\\\";
                quote = true;
                break;
            case '%':
                out += '%';
                break;
            case ' ':
            case '\t':
            case '\'':
            case '<':
            case '>':
            case '~':
            case '|':
            case '&':
            case ';':
            case '*':
            case '?':
            case '#':
            case '(':
            case ')':
                quote = true;
                break;
            default:
                break;
        }
        out += c;
    }
    return quote ? '"' + out + '"' : out;
}

XdgLoginStart::XdgLoginStart(const std::filesystem::path& configHome, std::vector<std::string> command)
    : file_(configHome / "autostart" / "tolvik.desktop"), command_(std::move(command)) {}

bool XdgLoginStart::isEnabled() const {
    std::ifstream file(file_);
    bool inEntry = false;
    bool hasCommand = false;
    for (std::string line; std::getline(file, line);) {
        const std::string_view text = cut(line);
        if (text.starts_with('[')) {
            inEntry = text == "[Desktop Entry]";
            continue;
        }
        const auto equals = text.find('=');
        if (!inEntry || text.starts_with('#') || equals == std::string_view::npos) {
            continue;
        }
        const std::string_view key = cut(text.substr(0, equals));
        const std::string_view value = cut(text.substr(equals + 1));
        // Desktops switch an entry off by either key instead of removing the file.
        if ((key == "Hidden" && value == "true") || (key == "X-GNOME-Autostart-enabled" && value == "false")) {
            return false;
        }
        hasCommand = hasCommand || (key == "Exec" && !value.empty());
    }
    return hasCommand;
}

Result<void, std::string> XdgLoginStart::setEnabled(bool enabled) {
    std::error_code error;
    if (!enabled) {
        std::filesystem::remove(file_, error);
        if (error) {
            return failure("Couldn't remove " + file_.string() + ": " + error.message());
        }
        return {};
    }
    std::string exec;
    for (const std::string& argument : command_) {
        exec += (exec.empty() ? "" : " ") + quotedForExec(argument);
    }
    std::filesystem::create_directories(file_.parent_path(), error);
    const std::filesystem::path draft = file_.string() + ".new";
    {
        std::ofstream file(draft, std::ios::trunc);
        file << "[Desktop Entry]\nType=Application\nName=Tolvik\nComment=Track time by voice\nExec=" << exec
             << "\nIcon=tolvik\nTerminal=false\nX-GNOME-Autostart-enabled=true\n";
        file.flush();
        if (!file) {
            return failure("Couldn't write " + file_.string() + ".");
        }
    }
    std::filesystem::rename(draft, file_, error);
    if (error) {
        return failure("Couldn't write " + file_.string() + ": " + error.message());
    }
    return {};
}

}  // namespace tolvik
