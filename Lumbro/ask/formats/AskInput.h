#pragma once

#include "ask/formats/AskThread.h"
#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"
#include "library/formats/TranscriptSegment.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// A call that is being recorded, with its words so far.
struct AskLiveCall {
    /// The capture's folder name.
    QString folder;
    TranscriptSegments segments;
};

/// A meeting to come, as the input tells it.
struct AskMeeting {
    QString title;
    QDateTime start;
    QStringList names;
    /// Folder name of the capture that holds the brief for it, if there is one.
    std::optional<QString> brief;
};

/// Everything that one question tells the model beside the fixed texts. Absent parts have no section.
struct AskInput {
    QString question;
    /// The thread's earlier turns; the last 4 are told.
    QList<AskTurn> turns;
    std::optional<AskLiveCall> live;
    /// The section on what the question is about, with its heading; may be empty.
    QString scopeBlock;
    std::optional<Engine> engine;
    /// The voice for an engine that uses one.
    std::optional<Voice> voice;
    /// Applications that an answer can be prepared for.
    QStringList apps;
    /// Today's date and the free times, with their heading.
    QString calendar;
    QList<AskMeeting> meetings;

    /// The text for the model.
    QString text() const;

    /// The section on an engine, without its heading's blank lines.
    static QString engineBlock(const Engine& engine, const std::optional<Voice>& voice);
};

}  // namespace lumbro
