#include "app/models/system_settings.h"

#include <QStandardPaths>
#include <array>

namespace tolvik {
namespace {

struct Settings {
    const char* desktop;
    const char* program;
    /// The page about keys and accessibility, where the program takes one.
    const char* page;
};

constexpr std::array<Settings, 9> kKnown{{{"GNOME", "gnome-control-center", "universal-access"},
                                          {"KDE", "systemsettings", "kcm_access"},
                                          {"KDE", "systemsettings5", "kcm_access"},
                                          {"XFCE", "xfce4-settings-manager", ""},
                                          {"X-Cinnamon", "cinnamon-settings", "universal-access"},
                                          {"MATE", "mate-control-center", ""},
                                          {"LXQt", "lxqt-config", ""},
                                          {"Unity", "unity-control-center", "universal-access"},
                                          {"Budgie", "budgie-control-center", "universal-access"}}};

}  // namespace

QStringList systemSettingsCommand(const QString& desktops, const std::function<bool(const QString&)>& isThere) {
    const QStringList running = desktops.split(u':');
    for (const bool ofThisDesktop : {true, false}) {
        for (const Settings& one : kKnown) {
            const QString program = QString::fromLatin1(one.program);
            const bool matches = running.contains(QString::fromLatin1(one.desktop), Qt::CaseInsensitive);
            if (matches == ofThisDesktop && isThere(program)) {
                const QString page = QString::fromLatin1(one.page);
                return page.isEmpty() ? QStringList{program} : QStringList{program, page};
            }
        }
    }
    return {};
}

QStringList systemSettingsCommand() {
    return systemSettingsCommand(qEnvironmentVariable("XDG_CURRENT_DESKTOP"), [](const QString& program) {
        return !QStandardPaths::findExecutable(program).isEmpty();
    });
}

}  // namespace tolvik
