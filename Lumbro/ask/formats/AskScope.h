#pragma once

#include "engines/formats/Engine.h"

#include <QList>
#include <QString>

#include <functional>
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

    /// Where in the application engines for this are offered: "live" for the capture that is being recorded,
    /// whose id may be empty for none, else "notes", "person", "company" or "home".
    QString suggestPlace(const QString& liveCaptureID) const;
    /// What engines for this may work on.
    QList<EngineScope> allowedScopes() const;
    /// Of the engines suggested at the place, those to offer as chips. `hasHandoff` tells whether an engine
    /// has already written its result into this capture.
    QList<Engine> chipEngines(const QList<Engine>& suggested,
                              const std::function<bool(const QString& engineID)>& hasHandoff) const;
};

}  // namespace lumbro
