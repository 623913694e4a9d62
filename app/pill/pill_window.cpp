#include "app/pill/pill_window.h"

#include <QCursor>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QVariantMap>
#include <spdlog/spdlog.h>
#include <utility>

#include "app/pill/pill_place.h"

namespace tolvik {

namespace {

// Only while the pill offers Undo; a hand that moves to it takes longer.
constexpr int pointerPollMs = 100;

}  // namespace

PillWindow::PillWindow(QQmlEngine& engine, QUrl content, VoiceManager& voice, PillDesktop& desktop, QObject* pill)
    : engine_(engine), url_(std::move(content)), voice_(voice), desktop_(desktop), pill_(pill) {
    pointer_.setInterval(pointerPollMs);
    connect(&pointer_, &QTimer::timeout, this, &PillWindow::followPointer);
    voiceChanged_ = voice_.onChanged([this] { update(); });
    compositorChanged_ = desktop_.onCompositorChanged([this] {
        if (content_) {
            content_->setProperty("composited", desktop_.hasCompositor());
            place();
        }
    });
}

PillWindow::~PillWindow() = default;

void PillWindow::prepare() {
    if (window_ || failed_) {
        return;
    }
    QQmlComponent component(&engine_, url_);
    const QVariantMap properties{{"pill", QVariant::fromValue(pill_)},
                                 {"composited", desktop_.hasCompositor()},
                                 {"reducedMotion", reducedMotion_}};
    // Qt 6.4 follows a null pointer when it is asked to create what did not load.
    if (component.isReady()) {
        content_.reset(qobject_cast<QQuickItem*>(component.createWithInitialProperties(properties)));
    }
    if (!content_) {
        failed_ = true;
        spdlog::error("the pill cannot be shown: {}", component.errorString().toStdString());
        return;
    }
    window_ = std::make_unique<QQuickWindow>();
    window_->setTitle("Tolvik voice");
    // The window manager is left out: it could give the focus, a border or another place.
    window_->setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                      Qt::X11BypassWindowManagerHint | Qt::ToolTip);
    QSurfaceFormat format = window_->requestedFormat();
    format.setAlphaBufferSize(8);
    window_->setFormat(format);
    window_->setColor(Qt::transparent);
    content_->setParentItem(window_->contentItem());
    connect(content_.get(), &QQuickItem::widthChanged, this, &PillWindow::place);
    connect(content_.get(), &QQuickItem::heightChanged, this, &PillWindow::place);
    connect(content_.get(), SIGNAL(gone()), this, SLOT(hideWindow()));
    window_->create();
    desktop_.prepare(*window_);
    updateClickable();
}

void PillWindow::setReducedMotion(bool reduced) {
    reducedMotion_ = reduced;
    if (content_) {
        content_->setProperty("reducedMotion", reduced);
    }
}

void PillWindow::update() {
    const bool wanted = voice_.phase() != VoicePhase::idle || voice_.error().has_value();
    if (wanted && !shown_) {
        show();
    } else if (!wanted && shown_ && content_) {
        // The content leaves and then reports `gone`.
        shown_ = false;
        content_->setProperty("shown", false);
    }
    if (window_) {
        updateClickable();
    }
}

void PillWindow::show() {
    prepare();
    if (!window_) {
        return;
    }
    shown_ = true;
    content_->setProperty("composited", desktop_.hasCompositor());
    const QPoint pointer = QCursor::pos();
    if (QScreen* screen = QGuiApplication::screenAt(pointer); screen != nullptr && screen != window_->screen()) {
        window_->setScreen(screen);
    }
    content_->setProperty("shown", true);
    place();
    window_->show();
    desktop_.raise(*window_);
}

void PillWindow::hideWindow() {
    if (!shown_ && window_) {
        window_->hide();
    }
}

void PillWindow::place() {
    const QScreen* screen = window_ ? window_->screen() : nullptr;
    if (screen == nullptr) {
        return;
    }
    const QSize size(qRound(content_->width()), qRound(content_->height()));
    if (size.isEmpty()) {
        return;
    }
    // Around the pill itself the content may keep room for a shadow.
    const int margin = content_->property("margin").toInt();
    const QPoint pill = pillPosition(screen->availableGeometry(), size - QSize(2 * margin, 2 * margin));
    window_->setGeometry(QRect(pill - QPoint(margin, margin), size));
    updateClickable();
}

void PillWindow::updateClickable() {
    const bool offers = shown_ && voice_.offersUndo();
    desktop_.setClickable(*window_, offers ? content_->property("undoArea").toRectF().toAlignedRect() : QRect());
    if (offers != pointer_.isActive()) {
        offers ? pointer_.start() : pointer_.stop();
    }
}

void PillWindow::followPointer() {
    const int margin = content_->property("margin").toInt();
    const QRect pill = window_->geometry().marginsRemoved({margin, margin, margin, margin});
    if (pill.contains(QCursor::pos())) {
        voice_.keepUndoOffer();
    }
    // The Undo may have moved while the content grew.
    updateClickable();
}

}  // namespace tolvik
