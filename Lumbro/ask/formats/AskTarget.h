#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// An application of the user's account that answers can be sent to, as far as Ask is concerned.
struct AskConnector {
    QString id;
    /// The application's name, for example "Slack".
    QString app;

    bool operator==(const AskConnector&) const = default;
};

/// Where an answer can be sent.
struct AskTarget {
    enum class Kind { connector, reminders, mail, calendar };

    Kind kind = Kind::connector;
    /// The connector's, for that kind only.
    AskConnector connector{};

    bool operator==(const AskTarget&) const = default;

    /// The target that an action's word means: first the system's own applications, then the first connector
    /// that fits. Nothing when none does.
    static std::optional<AskTarget> forAction(const QString& action, const QList<AskConnector>& usable);
};

}  // namespace lumbro
