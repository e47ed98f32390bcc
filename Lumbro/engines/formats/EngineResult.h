#pragma once

#include <QString>

#include <optional>

namespace lumbro {

/// Where an engine's output goes: into an application, into the chat, or into a file of the capture.
struct EngineResult {
    enum class Kind { action, chat, handoff };

    Kind kind = Kind::handoff;
    /// The application's id in lower case, for actions only.
    QString app;

    bool operator==(const EngineResult&) const = default;

    static EngineResult action(const QString& app) { return {Kind::action, app}; }
    static EngineResult chat() { return {Kind::chat, {}}; }
    static EngineResult handoff() { return {Kind::handoff, {}}; }

    /// Reads "chat", "handoff" or "action: app". Anything else, also an absent value, is a hand-off.
    static EngineResult parsing(const std::optional<QString>& value);
    /// The form that `parsing` reads.
    QString text() const;
    /// An application id for people: "mail" and "email" are "Mail", "google calendar" is "Google Calendar".
    static QString appName(const QString& id);
};

}  // namespace lumbro
