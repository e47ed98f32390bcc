#pragma once

#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"
#include "runners/AgentRequest.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace lumbro {

class Background;
class ContextLibrary;

/// Gives a capture that still has its default title a title from its content. Main thread.
class CaptureNaming final : public QObject {
    Q_OBJECT

  public:
    /// The two default titles, which mark a capture as unnamed.
    static QString newNote() { return QStringLiteral("New note"); }
    static QString meeting() { return QStringLiteral("Meeting"); }

    CaptureNaming(ContextLibrary& library, AgentProvider& agent, Background& background);

    /// Starts the naming when the capture is unnamed and has words or notes. They are read from its files
    /// where they are not given.
    void nameIfNeeded(const CaptureRecord& record, std::optional<TranscriptSegments> segments = std::nullopt,
                      std::optional<QString> notes = std::nullopt);
    /// Starts the naming. A failed call is silent, and a title that the user gives meanwhile stays.
    void autoTitle(const CaptureRecord& record, const TranscriptSegments& segments, const QString& notes);

    /// Asks every naming under way to end; the captures keep their default titles.
    void cancelAll();

    /// The title in a model's reply; nothing when it is empty or too long to be one.
    static std::optional<QString> titleFrom(const QString& reply);

  Q_SIGNALS:
    void renamed(const QString& captureID, const QString& title);

  private:
    using Handle = std::shared_ptr<CancellationHandle>;

    Task<> askForTitle(QString captureID, AgentRequest request, Handle handle);

    ContextLibrary& m_library;
    AgentProvider& m_agent;
    Background& m_background;
    /// Of the calls under way.
    QList<Handle> m_handles;
};

}  // namespace lumbro
