#pragma once

#include "engines/formats/Engine.h"
#include "library/model/ModelPorts.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

namespace lumbro {

class ContextLibrary;
class EngineRuns;
class LibraryState;
class Pill;

/// The pill's Ask field, and engines whose result is an answer. Main thread.
class AskFlow final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString askDraft READ askDraft WRITE setAskDraft NOTIFY askDraftChanged)
    Q_PROPERTY(QString askScopeID READ askScopeID NOTIFY askScopeIDChanged)
    Q_PROPERTY(QString askThreadID READ askThreadID NOTIFY askThreadIDChanged)

  public:
    struct Services {
        ContextLibrary& library;
        Pill& pill;
        LibraryState& state;
        EngineRuns& runs;
        const ModelPorts& ports;
        std::function<RecordingSession*()> session;
    };

    explicit AskFlow(Services services);

    const QString& askDraft() const { return m_askDraft; }
    void setAskDraft(const QString& text);
    /// Id of the capture that the next question is about; empty for none.
    const QString& askScopeID() const { return m_askScopeID; }
    /// Id of the thread that the pill shows; empty for none.
    const QString& askThreadID() const { return m_askThreadID; }

    /// Opens the pill's home panel with an empty field.
    void openHome();
    /// Opens the field and listens; with the field open, sends what was said or closes it.
    void openAsk();
    /// Opens the field for a question about a capture.
    void openAskAbout(const QString& captureID);
    /// Closes the field, and gives up a question on its way.
    void closeAsk();
    /// Sends the draft; nothing when it is blank.
    void submitAsk();
    /// Runs an engine on a capture, with its result in the pill.
    void runEngineInPill(const Engine& engine, const QString& captureID);
    /// Runs an engine and goes to where its result will appear.
    void runEngineAndShow(const Engine& engine, const AskScope& scope);

  Q_SIGNALS:
    void askDraftChanged();
    void askScopeIDChanged();
    void askThreadIDChanged();

  private:
    void openField();
    void askInPill(AskCall call);
    void showAnswer(int question, const AskAnswer& answer);
    void showError(int question, const Failure& failure);
    void setAskScopeID(const QString& id);
    void setAskThreadID(const QString& id);

    Services m_services;
    QString m_askDraft;
    QString m_askScopeID;
    QString m_askThreadID;
    /// Counts the pill's questions: only the newest may show its answer.
    int m_question = 0;
};

}  // namespace lumbro
