#pragma once

#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace lumbro {

/// The texts that a run of an engine receives.
class EngineInput {
  public:
    /// The capture as one text: title, notes, screen text, then its chats or its transcript. Reads
    /// `screen.md` and `session.md` from the capture's folder; unreadable ones count as empty.
    static QString build(const CaptureRecord& record, const TranscriptSegments& segments,
                         const QString& notes);
    /// The prompt names MY FREE TIMES.
    static bool wantsCalendar(const Engine& engine);
    /// What the engine's prompt asks for beside the capture, to be appended to it: the free times where it
    /// wants them.
    static QString extras(const Engine& engine, const QString& calendarContext);
    /// How long a run may take: the engine's own time, else ten minutes, at most a week.
    static std::chrono::milliseconds timeout(const Engine& engine);
    /// The engine's prompt, its voice when it uses one, and the word on the output's form.
    static QString systemPrompt(const Engine& engine, const std::optional<Voice>& voice);
};

}  // namespace lumbro
