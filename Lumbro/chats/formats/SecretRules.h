#pragma once

#include <cstddef>
#include <span>

namespace lumbro {

/// One form of secret.
struct SecretRule {
    /// Words divided by blanks: a text with none of them can't match. A lower-case letter stands for either
    /// case, a capital for itself. Each has two characters or more, of which the first two are ASCII; behind
    /// one of two the pattern has more.
    const char* hints;
    const char* pattern;
    const char* replacement;
};

/// There are no more forms than that.
inline constexpr size_t mostSecretRules = 160;

/// All forms, in the order in which they are replaced.
std::span<const SecretRule> secretRules();

}  // namespace lumbro
