#include "adapters/desktop/package_update_checker.h"

#include <QProcessEnvironment>
#include <QStringList>
#include <QTimer>
#include <sstream>
#include <string_view>
#include <utility>

namespace tolvik {

namespace {

// The package manager answers within a second; a machine under load gets more.
constexpr int answerLimitMs = 20'000;

}  // namespace

PackagePolicy readPolicy(const std::string& output) {
    PackagePolicy policy;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const auto take = [&line](std::string_view key, std::optional<std::string>& into) {
            const auto at = line.find(key);
            if (into || at == std::string::npos || line.find_first_not_of(' ') != at) {
                return;
            }
            const std::string value = line.substr(at + key.size());
            if (value != "(none)" && !value.empty()) {
                into = value;
            }
        };
        take("Installed: ", policy.installed);
        take("Candidate: ", policy.candidate);
    }
    return policy;
}

PackageUpdateChecker::PackageUpdateChecker(QString package, QString ownVersion)
    : package_(std::move(package)), ownVersion_(std::move(ownVersion)) {}

PackageUpdateChecker::~PackageUpdateChecker() {
    if (process_) {
        process_->disconnect();
        process_->kill();
        process_->waitForFinished(500);
    }
}

void PackageUpdateChecker::check(std::function<void(const UpdateReport&)> done) {
    waiting_.push_back(std::move(done));
    if (waiting_.size() == 1) {
        askPolicy();
    }
}

void PackageUpdateChecker::askPolicy() {
    run("apt-cache", {"policy", package_}, [this](int exitCode, const QString& output) {
        const PackagePolicy policy = readPolicy(output.toStdString());
        if (exitCode != 0) {
            answer({UpdateReport::Kind::unknown,
                    "Couldn't ask the package manager. Look for a newer version where you got Tolvik."});
        } else if (!policy.candidate) {
            answer({UpdateReport::Kind::unknown, "Tolvik " + ownVersion_.toStdString() +
                                                     " was not installed by the package manager. Look for a newer "
                                                     "version where you got it."});
        } else {
            // A package's version has a revision that ours lacks, so the installed package is the one to compare.
            compare(QString::fromStdString(*policy.candidate),
                    policy.installed ? QString::fromStdString(*policy.installed) : ownVersion_);
        }
    });
}

void PackageUpdateChecker::compare(const QString& candidate, const QString& present) {
    run("dpkg", {"--compare-versions", candidate, "gt", present}, [this, candidate](int exitCode, const QString&) {
        if (exitCode == 0) {
            answer({UpdateReport::Kind::available, "Tolvik " + candidate.toStdString() +
                                                       " is available. Get it with your software centre, or "
                                                       "with: sudo apt install " +
                                                       package_.toStdString()});
        } else {
            answer({UpdateReport::Kind::upToDate,
                    "Tolvik " + ownVersion_.toStdString() + " is the newest version that the package manager knows."});
        }
    });
}

void PackageUpdateChecker::DeleteLater::operator()(QProcess* process) const {
    process->deleteLater();
}

void PackageUpdateChecker::run(const QString& program, const QStringList& arguments,
                               std::function<void(int exitCode, const QString& output)> done) {
    process_.reset(new QProcess);
    QProcess* process = process_.get();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "C.UTF-8");
    process->setProcessEnvironment(environment);
    const auto finish = [this, process, done = std::move(done)](int exitCode) {
        process->disconnect();
        const QString output = QString::fromUtf8(process->readAllStandardOutput());
        process_.reset();
        done(exitCode, output);
    };
    // NOLINTBEGIN(clang-analyzer-cplusplus.NewDeleteLeaks): Qt owns what a connection is made of
    connect(process, &QProcess::errorOccurred, this, [finish](QProcess::ProcessError) { finish(-1); });
    connect(process, &QProcess::finished, this, [finish](int exitCode, QProcess::ExitStatus status) {
        finish(status == QProcess::NormalExit ? exitCode : -1);
    });
    // NOLINTEND(clang-analyzer-cplusplus.NewDeleteLeaks)
    QTimer::singleShot(answerLimitMs, process, [process] { process->kill(); });
    process->start(program, arguments);
}

void PackageUpdateChecker::answer(const UpdateReport& report) {
    for (const auto& done : std::exchange(waiting_, {})) {
        done(report);
    }
}

}  // namespace tolvik
