#pragma once

#include "engines/formats/Engine.h"
#include "engines/formats/EngineText.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// The editable form of an engine file. It writes itself back onto the file's text and leaves alone what it
/// does not know. A value.
struct EngineDraft {
    enum class Output { chat, handoff, action };

    EngineDraft() = default;
    /// Filled from an engine and its file's text.
    EngineDraft(const Engine& engine, const QString& text);

    QString name;
    QString shortcut;
    QString icon;
    QString description;
    EngineScope scope = EngineScope::meeting;
    Output output = Output::handoff;
    /// The application of an action; "mail" while the output is none.
    QString app;
    QSet<QString> suggest;
    bool automatic = false;
    QString model;
    bool voice = false;
    QString prompt;

    // Fixed when the draft is made.
    QString id;
    bool hidden = false;
    QString url;
    /// The file's text as read.
    QString original;
    QStringList inputs;
    QStringList places;
    QList<EngineField> start;
    QString startPrompt;

    bool operator==(const EngineDraft&) const = default;

    /// What the draft stands for, in the order of a new engine's file.
    QList<EngineField> fields() const;
    /// The text with what has changed since the draft was made; the text as it is when nothing has.
    QString written(const QString& onto) const;
    /// The engine of the written text; nothing when it is none.
    std::optional<Engine> engine() const;
    /// Changes the scope, and with it the places and what the new scope has no room for.
    void change(EngineScope to);
};

}  // namespace lumbro
