#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include "app/models/account_ports.h"
#include "base/clock.h"

namespace tolvik {

/// The account and sign-in pages, and the foot of the side bar. Main thread only.
class AccountModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// There are account pages at all.
    Q_PROPERTY(bool available READ available CONSTANT)
    Q_PROPERTY(bool signedIn READ signedIn NOTIFY changed)
    /// The user's name, else the e-mail, else "Sign in", which its place in the window offers.
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString name READ name NOTIFY changed)
    Q_PROPERTY(QString email READ email NOTIFY changed)
    /// The first letter of the title; empty signed out.
    Q_PROPERTY(QString initial READ initial NOTIFY changed)
    /// "Up to date", "3 waiting to sync", "On this device only".
    Q_PROPERTY(QString stateText READ stateText NOTIFY changed)
    Q_PROPERTY(QString stateIcon READ stateIcon NOTIFY changed)
    Q_PROPERTY(bool waiting READ waiting NOTIFY changed)
    /// Why changes wait; empty when they do not.
    Q_PROPERTY(QString reasonText READ reasonText NOTIFY changed)
    /// "Last synced 14:31"; empty while that is not known.
    Q_PROPERTY(QString lastSyncedText READ lastSyncedText NOTIFY changed)
    /// Why what needs the network cannot be done now; empty when it can.
    Q_PROPERTY(QString networkProblem READ networkProblem NOTIFY changed)
    /// A change that the server refused; stands for eight seconds.
    Q_PROPERTY(QString rejection READ rejection NOTIFY rejectionChanged)

    /// "email" or "code".
    Q_PROPERTY(QString step READ step NOTIFY signInChanged)
    Q_PROPERTY(QString enteredEmail READ enteredEmail WRITE setEnteredEmail NOTIFY signInChanged)
    /// Digits only, six at most. The sixth submits.
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY signInChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY signInChanged)
    Q_PROPERTY(QString error READ error NOTIFY signInChanged)
    Q_PROPERTY(QString hint READ hint CONSTANT)

    /// Something of the account page is under way.
    Q_PROPERTY(bool working READ working NOTIFY workChanged)
    Q_PROPERTY(QString nameProblem READ nameProblem NOTIFY workChanged)
    Q_PROPERTY(QString accountProblem READ accountProblem NOTIFY workChanged)
    Q_PROPERTY(QString deleteText READ deleteText CONSTANT)
    Q_PROPERTY(QString deleteWarning READ deleteWarning CONSTANT)
public:
    /// Both outlive the model; without a gateway there are no account pages.
    AccountModel(AccountGateway* gateway, const TimeZone& zone, QObject* parent = nullptr);

    [[nodiscard]] bool available() const { return gateway_ != nullptr; }
    [[nodiscard]] bool signedIn() const { return gateway_ != nullptr && gateway_->isSignedIn(); }
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString name() const;
    [[nodiscard]] QString email() const;
    [[nodiscard]] QString initial() const;
    [[nodiscard]] QString stateText() const;
    [[nodiscard]] QString stateIcon() const;
    [[nodiscard]] bool waiting() const { return signedIn() && gateway_->sync().pending > 0; }
    [[nodiscard]] QString reasonText() const;
    [[nodiscard]] QString lastSyncedText() const;
    [[nodiscard]] QString networkProblem() const;
    [[nodiscard]] QString rejection() const { return rejection_; }

    [[nodiscard]] QString step() const { return onCode_ ? QStringLiteral("code") : QStringLiteral("email"); }
    [[nodiscard]] QString enteredEmail() const { return enteredEmail_; }
    void setEnteredEmail(const QString& text);
    [[nodiscard]] QString code() const { return code_; }
    void setCode(const QString& text);
    [[nodiscard]] bool busy() const { return busy_; }
    [[nodiscard]] QString error() const { return error_; }
    [[nodiscard]] QString hint() const;

    [[nodiscard]] bool working() const { return working_; }
    [[nodiscard]] QString nameProblem() const { return nameProblem_; }
    [[nodiscard]] QString accountProblem() const { return accountProblem_; }
    [[nodiscard]] QString deleteText() const;
    [[nodiscard]] QString deleteWarning() const;

    /// Asks the server to mail a code. Ignored while something is under way.
    Q_INVOKABLE void sendCode();
    Q_INVOKABLE void verify();
    Q_INVOKABLE void back();
    /// Starts the sign-in page anew; what was typed as e-mail stays.
    Q_INVOKABLE void beginSignIn();

    Q_INVOKABLE void saveName(const QString& name);
    Q_INVOKABLE void syncNow();
    Q_INVOKABLE [[nodiscard]] QString signOutText() const;
    Q_INVOKABLE void signOut();
    Q_INVOKABLE void deleteAccount();
    Q_INVOKABLE void dismissRejection();

signals:
    void changed();
    void rejectionChanged();
    void signInChanged();
    void workChanged();
    /// A code was accepted.
    void signInDone();

private:
    void fail(const std::string& problem);

    AccountGateway* gateway_;
    const TimeZone& zone_;
    QString rejection_;
    QTimer rejectionLife_;
    bool onCode_ = false;
    QString enteredEmail_;
    QString code_;
    bool busy_ = false;
    QString error_;
    /// Counts requests of the sign-in page, so that a late answer to one that was left behind changes nothing.
    int request_ = 0;
    bool working_ = false;
    QString nameProblem_;
    QString accountProblem_;
    Subscription changedSubscription_;
    Subscription rejectedSubscription_;
};

}  // namespace tolvik
