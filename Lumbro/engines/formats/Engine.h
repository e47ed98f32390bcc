#pragma once

#include "engines/formats/EngineResult.h"

#include <QString>
#include <QStringList>

#include <expected>
#include <optional>

namespace lumbro {

/// What an engine works on.
enum class EngineScope { meeting, library, person, company, selection };

QString rawValue(EngineScope scope);
std::optional<EngineScope> engineScope(const QString& rawValue);
/// Where engines of a scope are offered unless their file says otherwise.
QStringList defaultPlaces(EngineScope scope);

/// A saved prompt, read from a markdown file with a front matter block.
struct Engine {
    /// Why a file is no engine, for people.
    struct LoadError {
        QString message;

        bool operator==(const LoadError&) const = default;
    };

    /// The file's name without its extension.
    QString id;
    QString name;
    QString icon;
    QString description;
    QString model;
    /// True when `inputs` holds "voice".
    bool usesVoice = false;
    qint64 order = 100;
    bool hidden = false;
    QString prompt;
    QString shortcut;
    EngineScope scope = EngineScope::meeting;
    EngineResult result;
    /// Places where the engine is offered: "notes", "ask", "home", "person", "company", "live".
    QStringList suggest;
    /// Runs by itself after every meeting.
    bool automatic = false;
    QStringList inputs;
    qint64 version = 1;
    /// The file's path.
    QString url;
    /// An absolute folder whose new files start the engine.
    std::optional<QString> watch;
    QStringList tools;
    /// An absolute folder to run in.
    std::optional<QString> workdir;
    /// Seconds; for runs that a watched folder starts.
    std::optional<double> timeout;

    bool operator==(const Engine&) const = default;

    /// Reads an engine file's text. Only a missing block, name or prompt is an error; a bad value of any
    /// other field counts as absent.
    static std::expected<Engine, LoadError> parse(const QString& text, const QString& url);

    /// When or where the engine's result appears, for people.
    QString resultLabel() const;
    /// True when the query, without "/" and blanks around it, occurs in name, shortcut or id; also when
    /// empty.
    bool matches(const QString& query) const;
};

}  // namespace lumbro
