#include "app/models/account_model.h"

#include <QPointer>

#include "app/models/wording.h"
#include "backend/sign_in_form.h"

namespace tolvik {
namespace {

constexpr int kRejectionMs = 8000;

}  // namespace

AccountModel::AccountModel(AccountGateway* gateway, const TimeZone& zone, QObject* parent)
    : QObject(parent), gateway_(gateway), zone_(zone) {
    rejectionLife_.setSingleShot(true);
    rejectionLife_.setInterval(kRejectionMs);
    connect(&rejectionLife_, &QTimer::timeout, this, &AccountModel::dismissRejection);
    if (gateway_ != nullptr) {
        changedSubscription_ = gateway_->onChanged([this] { Q_EMIT changed(); });
        rejectedSubscription_ = gateway_->onRejected([this](const std::string& text) {
            rejection_ = wording::fromUtf8(text);
            rejectionLife_.start();
            Q_EMIT rejectionChanged();
        });
    }
}

QString AccountModel::title() const {
    if (!signedIn()) {
        return QStringLiteral("Sign in");
    }
    return name().isEmpty() ? email() : name();
}

QString AccountModel::name() const {
    return signedIn() ? wording::fromUtf8(gateway_->name()) : QString();
}

QString AccountModel::email() const {
    return signedIn() ? wording::fromUtf8(gateway_->email()) : QString();
}

QString AccountModel::initial() const {
    return signedIn() ? title().left(1).toUpper() : QString();
}

QString AccountModel::stateText() const {
    if (!signedIn()) {
        return QStringLiteral("On this device only");
    }
    const auto pending = gateway_->sync().pending;
    return pending == 0 ? QStringLiteral("Up to date") : QStringLiteral("%1 waiting to sync").arg(pending);
}

QString AccountModel::stateIcon() const {
    return !signedIn() ? QString() : waiting() ? QStringLiteral("cloud-slash") : QStringLiteral("cloud-check");
}

QString AccountModel::reasonText() const {
    return signedIn() ? wording::fromUtf8(gateway_->sync().reason) : QString();
}

QString AccountModel::lastSyncedText() const {
    const auto last = signedIn() ? gateway_->sync().lastSynced : std::nullopt;
    return last ? QStringLiteral("Last synced %1").arg(wording::timeOfDay(*last, zone_)) : QString();
}

QString AccountModel::networkProblem() const {
    if (gateway_ == nullptr) {
        return {};
    }
    if (const std::string why = gateway_->unavailable(); !why.empty()) {
        return wording::fromUtf8(why);
    }
    return signedIn() && gateway_->sync().offline ? QStringLiteral("Offline. This needs the network.") : QString();
}

void AccountModel::dismissRejection() {
    rejectionLife_.stop();
    rejection_.clear();
    Q_EMIT rejectionChanged();
}

// --- signing in ------------------------------------------------------------------------------------------------------

QString AccountModel::hint() const {
    return QString::fromUtf8(codeSentText);
}

void AccountModel::setEnteredEmail(const QString& text) {
    if (text != enteredEmail_) {
        enteredEmail_ = text;
        error_.clear();
        Q_EMIT signInChanged();
    }
}

void AccountModel::setCode(const QString& text) {
    const QString digits = wording::fromUtf8(codeDigits(text.toStdString()));
    if (digits == code_) {
        // The field may hold something else than what is kept.
        Q_EMIT signInChanged();
        return;
    }
    code_ = digits;
    error_.clear();
    Q_EMIT signInChanged();
    if (code_.size() == static_cast<qsizetype>(codeLength)) {
        verify();
    }
}

void AccountModel::fail(const std::string& problem) {
    busy_ = false;
    error_ = wording::fromUtf8(problem);
    Q_EMIT signInChanged();
}

void AccountModel::sendCode() {
    if (busy_ || gateway_ == nullptr) {
        return;
    }
    const auto address = acceptedEmail(enteredEmail_.toStdString());
    if (!address) {
        fail(invalidEmailText);
        return;
    }
    enteredEmail_ = wording::fromUtf8(*address);
    busy_ = true;
    error_.clear();
    Q_EMIT signInChanged();
    gateway_->sendCode(*address, [model = QPointer(this), request = ++request_](const std::string& problem) {
        if (!model || model->request_ != request) {
            return;
        }
        model->onCode_ = model->onCode_ || problem.empty();
        model->code_.clear();
        model->fail(problem);
    });
}

void AccountModel::verify() {
    if (busy_ || gateway_ == nullptr || code_.size() != static_cast<qsizetype>(codeLength)) {
        return;
    }
    busy_ = true;
    error_.clear();
    Q_EMIT signInChanged();
    gateway_->verify(enteredEmail_.toStdString(), code_.toStdString(),
                     [model = QPointer(this), request = ++request_](const std::string& problem) {
                         if (!model || model->request_ != request) {
                             return;
                         }
                         model->fail(problem);
                         if (problem.empty()) {
                             model->beginSignIn();
                             model->enteredEmail_.clear();
                             Q_EMIT model->changed();
                             Q_EMIT model->signInDone();
                         }
                     });
}

void AccountModel::back() {
    beginSignIn();
}

void AccountModel::beginSignIn() {
    ++request_;
    onCode_ = false;
    busy_ = false;
    code_.clear();
    error_.clear();
    Q_EMIT signInChanged();
}

// --- the account -----------------------------------------------------------------------------------------------------

void AccountModel::saveName(const QString& name) {
    if (working_ || gateway_ == nullptr) {
        return;
    }
    working_ = true;
    nameProblem_.clear();
    Q_EMIT workChanged();
    gateway_->changeName(name.trimmed().toStdString(), [model = QPointer(this)](const std::string& problem) {
        if (model) {
            model->working_ = false;
            model->nameProblem_ = wording::fromUtf8(problem);
            Q_EMIT model->workChanged();
            Q_EMIT model->changed();
        }
    });
}

void AccountModel::syncNow() {
    if (gateway_ != nullptr) {
        gateway_->syncNow();
    }
}

QString AccountModel::signOutText() const {
    return wording::fromUtf8(signOutQuestion(signedIn() ? gateway_->sync().pending : 0));
}

void AccountModel::signOut() {
    if (working_ || gateway_ == nullptr) {
        return;
    }
    working_ = true;
    accountProblem_.clear();
    nameProblem_.clear();
    Q_EMIT workChanged();
    gateway_->signOut([model = QPointer(this)](const std::string& problem) {
        if (model) {
            model->working_ = false;
            model->accountProblem_ = wording::fromUtf8(problem);
            Q_EMIT model->workChanged();
            Q_EMIT model->changed();
        }
    });
}

QString AccountModel::deleteText() const {
    return QString::fromUtf8(deleteAccountQuestion);
}

QString AccountModel::deleteWarning() const {
    return QString::fromUtf8(deleteAccountWarning);
}

void AccountModel::deleteAccount() {
    if (working_ || gateway_ == nullptr) {
        return;
    }
    working_ = true;
    accountProblem_.clear();
    Q_EMIT workChanged();
    gateway_->deleteAccount([model = QPointer(this)](const std::string& problem) {
        if (model) {
            model->working_ = false;
            model->accountProblem_ = wording::fromUtf8(problem);
            Q_EMIT model->workChanged();
            Q_EMIT model->changed();
        }
    });
}

}  // namespace tolvik
