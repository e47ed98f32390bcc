#pragma once

#include "LumbroCore/Settings.h"

namespace lumbro {

/// Who writes notes, titles, memory and answers.
enum class AIProvider { claude, codex };

/// The user's choice, by the setting `aiProvider`: "codex", or Claude for anything else.
AIProvider preferredProvider(const Settings& settings);

}  // namespace lumbro
