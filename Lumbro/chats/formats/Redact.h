#pragma once

#include <QString>

namespace lumbro {

/// Hides keys, tokens and passwords.
struct Redact {
    Redact() = delete;

    /// `text` with every secret replaced by "[hidden key]", "[hidden token]" or "[hidden]"; the name before
    /// it stays. Any thread; linear in the text.
    static QString secrets(const QString& text);
};

}  // namespace lumbro
