#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/AskContext.h"
#include "ask/SearchIndex.h"
#include "cli/Output.h"
#include "library/ContextLibrary.h"
#include "library/LinkFence.h"
#include "mcp/McpTool.h"
#include "memory/MemoryStore.h"

#include <QJsonObject>
#include <QList>
#include <QString>

namespace lumbro::cli {

/// What other agents may read of the library: nothing beside it, whatever links lead there. Each call looks
/// at the files as they are then; what has not changed since the last one is not read again. Changes nothing.
/// Main thread.
class McpTools {
  public:
    /// Touches nothing yet. `clock` and `settings` must outlive this.
    McpTools(Clock& clock, const Settings& settings, const QString& libraryRoot);

    /// The tools; they must not outlive this.
    QList<McpTool> table();
    /// What the model is told of the server.
    static QString instructions();

  private:
    using Answer = Result<McpToolResult>;

    Answer search(const QJsonObject& arguments);
    Answer readCapture(const QJsonObject& arguments) const;
    Answer listPeople(const QJsonObject& arguments);
    Answer listPromises(const QJsonObject& arguments);
    Answer askContext(const QJsonObject& arguments);
    Result<> open() const;

    Clock& m_clock;
    LinkFence m_fence;
    ContextLibrary m_library;
    MemoryStore m_memory;
    SearchIndex m_index;
    AskContext m_context;
    Output m_output;
};

}  // namespace lumbro::cli
