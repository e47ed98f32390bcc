#pragma once

#include "LumbroCore/Literals.h"

#include <QString>

#include <expected>
#include <utility>

namespace lumbro {

/// What went wrong, for code that must tell cases apart. Users only ever see the sentence.
enum class FailureKind {
    failed,
    limit,
    notInstalled,
    notLoggedIn,
    timedOut,
    cancelled,
    toolsNotReady,
    micUnavailable,
    micDenied,
    systemAudio,
    speech,
    notFound,
};

/// A failure: its kind, and one sentence that can be shown to the user as it stands.
struct [[nodiscard]] Failure {
    FailureKind kind = FailureKind::failed;
    QString message;
    /// What else is known of it, for the log and a second line: a few words, mostly empty.
    QString detail = {};

    bool operator==(const Failure&) const = default;
};

/// The result of an operation that can fail. Nothing of ours throws.
template <typename T = void>
using Result = std::expected<T, Failure>;

/// Shorthand for `return fail(kind, message);` in a function that returns a Result.
inline std::unexpected<Failure> fail(FailureKind kind, QString message) {
    return std::unexpected(Failure{kind, std::move(message)});
}

/// A failure without a kind of its own.
inline std::unexpected<Failure> fail(QString message) {
    return fail(FailureKind::failed, std::move(message));
}

}  // namespace lumbro
