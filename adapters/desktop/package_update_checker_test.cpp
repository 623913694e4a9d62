#include "adapters/desktop/package_update_checker.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <optional>

namespace tolvik {
namespace {

/// Runs the checker against programs of the test's own in place of the package manager's.
class PackageUpdateCheckerTest : public testing::Test {
protected:
    PackageUpdateCheckerTest() : path_(qgetenv("PATH")) {}
    ~PackageUpdateCheckerTest() override { qputenv("PATH", path_); }

    void install(const QString& program, const QByteArray& script) const {
        QFile file(folder_.filePath(program));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n" + script);
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    }
    [[nodiscard]] UpdateReport check(int callers = 1) {
        qputenv("PATH", folder_.path().toUtf8() + ":/usr/bin:/bin");
        PackageUpdateChecker checker("tolvik", "0.1.0");
        int answers = 0;
        UpdateReport last;
        for (int i = 0; i < callers; ++i) {
            checker.check([&](const UpdateReport& report) {
                ++answers;
                last = report;
            });
        }
        EXPECT_EQ(answers, 0) << "answered before the call returned";
        QElapsedTimer watch;
        watch.start();
        while (answers < callers && watch.elapsed() < 20'000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        }
        EXPECT_EQ(answers, callers);
        return last;
    }

    QByteArray path_;
    QTemporaryDir folder_;
    int argc_ = 1;
    char name_[5] = "test";
    char* argv_[2] = {name_, nullptr};
    QCoreApplication application_{argc_, argv_};
};

TEST_F(PackageUpdateCheckerTest, saysHowToGetANewerVersion) {
    install("apt-cache", "printf 'tolvik:\\n  Installed: 0.1.0-1\\n  Candidate: 0.10.0-1\\n  Version table:\\n'");
    const UpdateReport report = check(3);
    EXPECT_EQ(report.kind, UpdateReport::Kind::available);
    EXPECT_NE(report.text.find("0.10.0-1"), std::string::npos);
    EXPECT_NE(report.text.find("sudo apt install tolvik"), std::string::npos);
}

TEST_F(PackageUpdateCheckerTest, doesNotTakeTheInstalledRevisionForNews) {
    install("apt-cache", "printf 'tolvik:\\n  Installed: 0.1.0-1\\n  Candidate: 0.1.0-1\\n'");
    EXPECT_EQ(check().kind, UpdateReport::Kind::upToDate);
}

TEST_F(PackageUpdateCheckerTest, tellsWhenThePackageManagerDoesNotKnowUs) {
    install("apt-cache", "exit 0");
    EXPECT_EQ(check().kind, UpdateReport::Kind::unknown);
    install("apt-cache", "kill -9 $$");
    EXPECT_EQ(check().kind, UpdateReport::Kind::unknown);
}

}  // namespace
}  // namespace tolvik
