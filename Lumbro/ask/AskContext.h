#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/AskQuestion.h"
#include "ask/formats/AskInput.h"
#include "ask/formats/AskLookup.h"
#include "ask/formats/AskScope.h"
#include "ask/formats/AskThread.h"

#include <QString>

#include <optional>

namespace lumbro {

class ContextLibrary;
class MemoryStore;

/// What one question tells of the calendar.
struct AskDates {
    /// Today's date and the free times, with their heading; empty tells the date alone.
    QString text;
    QList<AskMeeting> meetings;
};

/// What the library and the memory know for a question and its answer. Main thread. Everything borrowed must
/// outlive it.
class AskContext {
  public:
    AskContext(const Clock& clock, const Settings& settings, const ContextLibrary& library,
               const MemoryStore& memory, AskPorts ports);

    /// What the calendar says now. It runs on when this object goes.
    Task<AskDates> dates() const { return read(m_ports); }
    /// The text for the model. `thread` has the earlier turns and the scope.
    QString input(const AskQuestion& question, const AskThread& thread, const AskDates& dates) const;
    /// What the names in answers mean now. It must not outlive this.
    AskLookup lookup() const;
    /// What the scope is called, for people; nothing for the library and unknown captures.
    std::optional<QString> title(const AskScope& scope) const;
    /// The section that says what the question is about; may be empty.
    QString scopeBlock(const AskScope& scope) const;

  private:
    static Task<AskDates> read(AskPorts ports);
    QString nameOf(const AskScope& scope) const;
    QStringList apps() const;
    std::optional<Voice> voice() const;

    const Clock& m_clock;
    const Settings& m_settings;
    const ContextLibrary& m_library;
    const MemoryStore& m_memory;
    AskPorts m_ports;
};

}  // namespace lumbro
