#pragma once

#include "LumbroCore/Failure.h"
#include "cli/Arguments.h"
#include "engines/formats/EngineDraft.h"

#include <QList>
#include <QString>

#include <optional>

namespace lumbro::cli {

/// What the options of `engine new` and `engine edit` say.
struct EngineOptions {
    /// Puts them onto a draft, all but the prompt. Fails with a sentence on a value that its option doesn't
    /// take.
    static Result<> apply(const Arguments& arguments, EngineDraft& draft);
    /// The prompt, read once; nothing when there is none.
    static Result<std::optional<QString>> prompt(const Arguments& arguments);
    /// Those that a draft doesn't know.
    static Result<QList<EngineField>> more(const Arguments& arguments);
    /// Whether there is any.
    static bool hasAny(const Arguments& arguments);
};

/// A text from the command line, or all of standard input for "-". Fails with a sentence when that is a
/// terminal, no UTF-8, empty, or longer than a megabyte.
Result<QString> argumentText(const QString& argument);

}  // namespace lumbro::cli
