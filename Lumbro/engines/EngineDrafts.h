#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "engines/formats/EngineDraft.h"
#include "runners/AgentRequest.h"

#include <QList>
#include <QString>

#include <memory>

namespace lumbro {

class ContextLibrary;

/// Saves a draft onto the text that it was made from, as the file `path`. `more` are fields that a draft does
/// not know. Fails with a sentence, and writes nothing, when the catalogue would not read it back as it is
/// meant.
Result<Engine> saveDraft(ContextLibrary& library, const EngineDraft& draft, const QList<EngineField>& more,
                         const QString& path);

/// Makes new engines, with the agent's help where that is wanted. Main thread.
class EngineDrafts {
  public:
    using Cancel = std::shared_ptr<CancellationHandle>;

    /// What is passed in must outlive this.
    EngineDrafts(ContextLibrary& library, AgentProvider& agent) : m_library(library), m_agent(agent) {}

    /// A new engine that nobody has touched; not yet a file.
    EngineDraft blank() const;
    /// Has the agent write an engine from what the user wants, in the user's words; an answer that is no
    /// engine is asked for once more. Not yet a file.
    Task<Result<EngineDraft>> fromWish(QString wish, Cancel cancel);

    /// Saves a new engine as a file of its own, named after it. `more` are fields that a draft doesn't know.
    Result<Engine> create(const EngineDraft& draft, const QList<EngineField>& more);

  private:
    QString freePath(const QString& name) const;

    ContextLibrary& m_library;
    AgentProvider& m_agent;
};

}  // namespace lumbro
