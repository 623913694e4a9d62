#include "adapters/secrets/libsecret_store.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace tolvik {
namespace {

namespace fs = std::filesystem;

constexpr const char* kAccount = "tolvik.auth.token";

/// Runs one of the tests below in a session of its own, after `prepare`.
int inSession(const std::string& prepare, const std::string& test, bool startsServices = true) {
    const fs::path home = fs::path(testing::TempDir()) / ("keyring-" + test + std::to_string(::getpid()));
    fs::create_directories(home / "run");
    fs::permissions(home / "run", fs::perms::owner_all);
    const std::string self = fs::read_symlink("/proc/self/exe").string();
    std::ofstream(home / "bus.conf")
        << "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
           "<policy context='default'><allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/>"
           "<allow own='*'/></policy></busconfig>";
    const std::string bus = startsServices ? "" : "--config-file=" + (home / "bus.conf").string();
    const std::string command = "HOME=" + home.string() + " XDG_RUNTIME_DIR=" + home.string() +
                                "/run XDG_DATA_HOME= XDG_CONFIG_HOME= DISPLAY= WAYLAND_DISPLAY= "
                                "dbus-run-session " +
                                bus + " -- sh -c '" + prepare + " exec " + self +
                                " --gtest_also_run_disabled_tests --gtest_filter=*" + test + "' >" + home.string() +
                                "/out 2>&1";
    const int status = std::system(command.c_str());
    const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (exit != 0) {
        const int shown = std::system(("cat " + home.string() + "/out").c_str());
        static_cast<void>(shown);
    }
    fs::remove_all(home);
    return exit;
}

const std::string unlocked = "printf secret | gnome-keyring-daemon --unlock --components=secrets --daemonize;";

TEST(Libsecret, keepsReplacesAndErasesASecret) {
    EXPECT_EQ(inSession(unlocked, "keyringIsOpen"), 0);
}
TEST(LibsecretInside, DISABLED_keyringIsOpen) {
    LibsecretStore store;
    EXPECT_EQ(store.read(kAccount).value(), std::nullopt);
    ASSERT_TRUE(store.write(kAccount, "first"));
    const auto written = store.write(kAccount, "sécond");
    ASSERT_TRUE(written) << written.error().text;
    EXPECT_EQ(LibsecretStore().read(kAccount).value(), "sécond");
    EXPECT_EQ(store.read("another").value(), std::nullopt);
    EXPECT_TRUE(store.erase("another"));
    EXPECT_TRUE(store.erase(kAccount));
    EXPECT_EQ(store.read(kAccount).value(), std::nullopt);
}

TEST(Libsecret, saysThatTheKeyringIsLocked) {
    const std::string lock =
        "dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets "
        "org.freedesktop.Secret.Service.Lock array:objpath:/org/freedesktop/secrets/collection/login;";
    EXPECT_EQ(inSession(unlocked + lock, "keyringIsLocked"), 0);
}
TEST(LibsecretInside, DISABLED_keyringIsLocked) {
    LibsecretStore store;
    const auto kept = store.write(kAccount, "s3cret");
    ASSERT_FALSE(kept);
    EXPECT_NE(kept.error().text.find("locked"), std::string::npos) << kept.error().text;
    EXPECT_EQ(kept.error().text.find("s3cret"), std::string::npos);
    const auto read = store.read(kAccount);
    ASSERT_FALSE(read);
    EXPECT_NE(read.error().text.find("locked"), std::string::npos) << read.error().text;
}

TEST(Libsecret, saysHowToGetAService) {
    EXPECT_EQ(inSession("", "noService", false), 0);
    // Without a bus none is started either.
    EXPECT_EQ(inSession("unset DBUS_SESSION_BUS_ADDRESS;", "noService", false), 0);
}
TEST(LibsecretInside, DISABLED_noService) {
    LibsecretStore store;
    for (const auto& text : {store.write(kAccount, "x").error().text, store.read(kAccount).error().text,
                             store.erase(kAccount).error().text}) {
        EXPECT_NE(text.find("no secret service"), std::string::npos) << text;
        EXPECT_NE(text.find("gnome-keyring"), std::string::npos) << text;
    }
}

TEST(Libsecret, refusesAServiceThatKeepsNothing) {
    // The bus starts the service, which has no keyring and nowhere to ask for a password for one.
    EXPECT_EQ(inSession("", "noKeyring"), 0);
}
TEST(LibsecretInside, DISABLED_noKeyring) {
    LibsecretStore store;
    EXPECT_EQ(store.read(kAccount).value(), std::nullopt);
    const auto kept = store.write(kAccount, "x");
    ASSERT_FALSE(kept);
    EXPECT_NE(kept.error().text.find("keyring"), std::string::npos) << kept.error().text;
    EXPECT_NE(kept.error().text.find("try once more"), std::string::npos) << kept.error().text;
}

}  // namespace
}  // namespace tolvik
