#pragma once

#include "LumbroCore/Failure.h"
#include "app/Services.h"

#include <QString>

#include <optional>

namespace lumbro::cli {

/// What is sent to an app, and where it comes from.
struct SendContent {
    QString text;
    /// A line for the agent.
    QString about;
    std::optional<QString> captureID;
    std::optional<QString> askThread;
};

/// The content that `--from` names: `capture:ID` (its enhanced notes, else the user's own, else the words
/// that were said), `ask:ID` (the last answer of a conversation) or `-` for standard input. The library is
/// open. Fails with a sentence; as `notFound` when the word names no such place.
Result<SendContent> sendContent(Services& services, const QString& from);

}  // namespace lumbro::cli
