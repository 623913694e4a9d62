#pragma once

#include <QString>
#include <QStringList>
#include <functional>

namespace tolvik {

/// The command that opens the desktop's settings: the program of the running desktop (`desktops`, as in
/// XDG_CURRENT_DESKTOP), else the first known one that `isThere`. Empty when there is none.
[[nodiscard]] QStringList systemSettingsCommand(const QString& desktops,
                                                const std::function<bool(const QString& program)>& isThere);

/// The same for this session.
[[nodiscard]] QStringList systemSettingsCommand();

}  // namespace tolvik
