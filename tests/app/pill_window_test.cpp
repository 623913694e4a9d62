#include "app/pill/pill_window.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QTemporaryDir>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>
#include <xcb/shape.h>
#include <xcb/xcb.h>

#include "adapters/desktop/x11_pill_desktop.h"
#include "adapters/desktop/x11_selection.h"
#include "adapters/qt/qt_main_loop.h"
#include "tests/fakes/fake_audio_file_codec.h"
#include "tests/fakes/fake_chord_monitor.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_media_players.h"
#include "tests/fakes/fake_microphone.h"
#include "tests/fakes/fake_speech_recognizer.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {
namespace {

constexpr std::uint32_t chord = modifier::control | modifier::option | modifier::shift;

constexpr auto contentQml = R"(
import QtQuick
Rectangle {
    property QtObject pill
    property bool composited
    property bool reducedMotion
    property bool shown
    property int margin: composited ? 40 : 0
    property rect undoArea: Qt.rect(margin + 200, margin + 8, 60, 32)
    signal gone
    width: 300 + 2 * margin
    height: 60 + 2 * margin
    onShownChanged: if (!shown) gone()
}
)";

/// A second client of the display, as another application is one.
class OtherClient {
public:
    OtherClient() : connection_(xcb_connect(nullptr, nullptr)) {}
    ~OtherClient() { xcb_disconnect(connection_); }
    OtherClient(const OtherClient&) = delete;
    OtherClient& operator=(const OtherClient&) = delete;

    [[nodiscard]] xcb_window_t openWindow() {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        const xcb_window_t window = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen->root, 100, 100, 600, 400, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_map_window(connection_, window);
        xcb_flush(connection_);
        return window;
    }
    [[nodiscard]] xcb_window_t focused() const {
        auto* reply = xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr);
        const xcb_window_t window = reply != nullptr ? reply->focus : 0;
        std::free(reply);
        return window;
    }
    [[nodiscard]] std::vector<QRect> inputRegion(WId window) const {
        auto* reply = xcb_shape_get_rectangles_reply(
            connection_, xcb_shape_get_rectangles(connection_, static_cast<xcb_window_t>(window), XCB_SHAPE_SK_INPUT),
            nullptr);
        std::vector<QRect> out;
        const xcb_rectangle_t* rectangles = xcb_shape_get_rectangles_rectangles(reply);
        for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply); ++i) {
            out.emplace_back(rectangles[i].x, rectangles[i].y, rectangles[i].width, rectangles[i].height);
        }
        std::free(reply);
        return out;
    }
    void beCompositor(xcb_window_t owner) {
        xcb_set_selection_owner(connection_, owner, atomNamed(connection_, "_NET_WM_CM_S0"), XCB_CURRENT_TIME);
        xcb_flush(connection_);
    }

private:
    xcb_connection_t* connection_;
};

class PillWindowTest : public testing::Test {
protected:
    PillWindowTest() {
        QFile file(folder_.filePath("Content.qml"));
        if (file.open(QIODevice::WriteOnly)) {
            file.write(contentQml);
        }
        file.close();
        pill_ =
            std::make_unique<PillWindow>(engine_, QUrl::fromLocalFile(file.fileName()), *voice_, desktop_, &pillModel_);
        voice_->setEnabled(true);
    }

    VoiceManager::Ports ports() {
        return {.loop = loop_,
                .workers = workers_,
                .clock = clock_,
                .random = random_,
                .values = values_,
                .chord = keys_,
                .microphone = microphone_,
                .recognizer = recognizer_,
                .media = media_,
                .codec = codec_,
                .temporaryFolder = folder_.path().toStdString(),
                .vocabulary = [] { return SpeechVocabulary{}; },
                .execute = [](const std::string& transcript, const auto& done) { done(outcome(transcript)); },
                .preview = [](const std::string& transcript) { return outcome(transcript); },
                .undo = [this]() -> std::optional<std::string> {
                    ++undone_;
                    return "Started x";
                }};
    }
    static CommandOutcome outcome(const std::string& transcript) {
        CommandOutcome out;
        out.action = "start";
        out.taskTitle = out.transcript = transcript;
        out.feedback = "▶ " + transcript;
        return out;
    }
    static bool runUntil(const std::function<bool()>& condition) {
        QElapsedTimer watch;
        watch.start();
        while (!condition() && watch.elapsed() < 10'000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        }
        return condition();
    }
    [[nodiscard]] QQuickItem* content() const { return pill_->window()->contentItem()->childItems().value(0); }
    void settle() {
        const Timer timer = loop_.after(Millis{150}, [this] { settled_ = true; });
        settled_ = false;
        ASSERT_TRUE(runUntil([this] { return settled_; }));
    }
    /// Presses the chord and waits until the press counts as one.
    void speak() {
        keys_.hold(chord);
        ASSERT_TRUE(runUntil([this] { return voice_->phase() == VoicePhase::listening; }));
        settle();
        settle();
    }

    QTemporaryDir folder_;
    QtMainLoop loop_;
    ImmediateWorkers workers_;
    FakeClock clock_;
    FakeRandom random_;
    MemoryValueStore values_;
    FakeChordMonitor keys_;
    FakeMicrophone microphone_;
    FakeSpeechRecognizer recognizer_;
    FakeMediaPlayers media_;
    FakeAudioFileCodec codec_;
    int undone_ = 0;
    bool settled_ = false;
    std::unique_ptr<VoiceManager> voice_ = std::make_unique<VoiceManager>(ports());
    QObject pillModel_;
    QQmlEngine engine_;
    X11PillDesktop desktop_;
    std::unique_ptr<PillWindow> pill_;
    OtherClient other_;
};

TEST_F(PillWindowTest, floatsInItsPlaceAndLeavesTheFocusAlone) {
    const xcb_window_t editor = other_.openWindow();
    ASSERT_TRUE(runUntil([&] { return other_.focused() == editor; })) << "the window manager gave no focus";
    speak();
    ASSERT_NE(pill_->window(), nullptr);
    EXPECT_TRUE(pill_->window()->isVisible());
    const QRect workArea = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect expected(workArea.center().x() - 149, workArea.bottom() + 1 - 32 - 60, 300, 60);
    EXPECT_NEAR(pill_->window()->x(), expected.x(), 1);
    EXPECT_EQ(pill_->window()->y(), expected.y());
    EXPECT_EQ(pill_->window()->size(), expected.size());
    EXPECT_EQ(other_.focused(), editor);
    EXPECT_TRUE(other_.inputRegion(pill_->window()->winId()).empty());

    // Let go and heard: only the Undo takes clicks.
    keys_.hold(0);
    ASSERT_TRUE(runUntil([this] { return voice_->phase() == VoicePhase::transcribing; }));
    recognizer_.hearAll("start tide tables");
    ASSERT_TRUE(runUntil([this] { return voice_->offersUndo(); }));
    settle();
    EXPECT_EQ(other_.inputRegion(pill_->window()->winId()), (std::vector{QRect(200, 8, 60, 32)}));
    EXPECT_EQ(other_.focused(), editor);

    ASSERT_TRUE(runUntil([this] { return voice_->phase() == VoicePhase::idle; }));
    EXPECT_TRUE(runUntil([this] { return !pill_->window()->isVisible(); }));
    EXPECT_EQ(other_.focused(), editor);
    EXPECT_TRUE(other_.inputRegion(pill_->window()->winId()).empty());
}

TEST_F(PillWindowTest, changesItsFormAsCompositorsComeAndGo) {
    speak();
    EXPECT_FALSE(content()->property("composited").toBool());
    const QRect square = pill_->window()->geometry();
    other_.beCompositor(other_.openWindow());
    ASSERT_TRUE(runUntil([this] { return content()->property("composited").toBool(); }));
    // The pill itself stays where it was; its window grows by the shadow.
    EXPECT_EQ(pill_->window()->geometry(), square.marginsAdded({40, 40, 40, 40}));
    other_.beCompositor(XCB_WINDOW_NONE);
    ASSERT_TRUE(runUntil([this] { return !content()->property("composited").toBool(); }));
    EXPECT_EQ(pill_->window()->geometry(), square);
}

}  // namespace
}  // namespace tolvik

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QUICK_BACKEND", "software");
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
