#pragma once

#include "LumbroCore/Failure.h"
#include "actions/ActionRunner.h"
#include "app/Services.h"

#include <QString>

#include <optional>

namespace lumbro::cli {

/// What is sent to an app, and where it comes from.
struct SendContent {
    QString text;
    /// A line for the agent; of an answer it depends on the connector.
    QString about{};
    std::optional<QString> captureID{};
    std::optional<QString> askThread{};
    /// Of an answer: what was asked, in one line, and the word of the application it was prepared for.
    QString question{};
    QString action{};
};

/// The content that `--from` names: `capture:ID` (its enhanced notes, else the user's own, else the words
/// that were said), `ask:ID` (the last answer of a conversation) or `-` for standard input. The library is
/// open. Fails with a sentence; as `notFound` when the word names no such place.
Result<SendContent> sendContent(Services& services, const QString& from);

/// The content as work for a connector. Without an instruction an answer is used as it was asked for, and
/// anything else as suits the app.
ActionRequest requestFor(const SendContent& content, const Connector& connector,
                         const std::optional<QString>& instruction);

}  // namespace lumbro::cli
