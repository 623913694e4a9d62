#pragma once

#include <QObject>
#include <QProcess>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/shell/update_checker.h"

namespace tolvik {

/// Asks Debian's package manager. Changes nothing and reaches no network: it tells what the last refresh of the
/// package lists knew.
class PackageUpdateChecker final : public QObject, public UpdateChecker {
public:
    /// `package` is the name it was installed under, `ownVersion` what is running.
    PackageUpdateChecker(QString package, QString ownVersion);
    ~PackageUpdateChecker() override;

    void check(std::function<void(const UpdateReport&)> done) override;

private:
    void askPolicy();
    void compare(const QString& candidate, const QString& present);
    void run(const QString& program, const QStringList& arguments,
             std::function<void(int exitCode, const QString& output)> done);
    void answer(const UpdateReport& report);

    QString package_;
    QString ownVersion_;
    std::vector<std::function<void(const UpdateReport&)>> waiting_;
    /// A process ends within a signal of its own, so it is deleted on a later turn of the loop.
    struct DeleteLater {
        void operator()(QProcess* process) const;
    };
    std::unique_ptr<QProcess, DeleteLater> process_;
};

/// What `apt-cache policy` said of one package; none for "(none)" or no such line.
struct PackagePolicy {
    std::optional<std::string> installed;
    std::optional<std::string> candidate;
};
[[nodiscard]] PackagePolicy readPolicy(const std::string& output);

}  // namespace tolvik
