#pragma once

#include "runners/AgentProcess.h"
#include "runners/ClaudeText.h"
#include "runners/LineReader.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace lumbro::claude {

/// Reads the event stream of a run. Where the run needs a connector, the `init` event is the gate: a run
/// whose tools don't hold one of the connector's, or hold one that it must not have, is to be stopped before
/// the model can act.
class EventStream {
  public:
    /// Of the request are `requireTools`, `mustNotLoad` and `onText`.
    explicit EventStream(const AgentRequest& request);

    void feed(const QByteArray& piece) { m_lines.feed(piece); }
    void finish();

    /// Why the run is to be stopped, once the `init` event has told.
    const std::optional<Failure>& refusal() const { return m_refusal; }
    /// The last `result` event so far.
    std::optional<QJsonObject> result() const { return m_result; }

  private:
    void take(const QByteArray& line);
    std::optional<Failure> refusalOf(const QJsonArray& tools) const;

    QString m_prefix;
    decltype(AgentRequest::mustNotLoad) m_mustNotLoad;
    decltype(AgentRequest::onText) m_onText;
    ReplyText m_text;
    bool m_isGateAhead;
    std::optional<Failure> m_refusal;
    bool m_isLastLine = false;
    std::optional<QJsonObject> m_result;
    LineReader m_lines;
};

/// The whole output of a plain run as one JSON object, if it is one.
std::optional<QJsonObject> plainResult(const QByteArray& output);

/// What a run comes to once its process has gone. `result` is the result object, if there was one.
Result<QString> judge(const AgentEnd& end, const std::optional<QJsonObject>& result);

}  // namespace lumbro::claude
