#pragma once

#include <QString>

#include <optional>

namespace lumbro {

/// What a question is about.
struct AskScope {
    enum class Kind { capture, person, company, project, library };

    Kind kind = Kind::library;
    /// Folder name of a capture, slug of a person or project, domain of a company; empty for the library.
    QString id;

    bool operator==(const AskScope&) const = default;

    static AskScope capture(const QString& captureID) { return {Kind::capture, captureID}; }
    /// "capture:<folder>", "person:<slug>", "company:<domain>", "project:<slug>" or "library".
    QString token() const;
    /// The reverse of `token`; blanks around it are ignored. Nothing for any other text.
    static std::optional<AskScope> fromToken(const QString& token);
};

}  // namespace lumbro
