#pragma once

#include "runners/AgentProcess.h"
#include "runners/ClaudeText.h"
#include "runners/LineReader.h"

#include <QJsonObject>
#include <QString>

#include <functional>
#include <optional>

namespace lumbro::claude {

/// Reads the event stream of a run. Where the run needs a connector, the `init` event is the gate: a run
/// whose tools don't hold one of the connector's must be stopped before the model can act without it.
class EventStream {
  public:
    using OnText = std::function<void(const QString& piece, bool isNew)>;

    /// `connector` is the prefix of the tool names that the run needs, without the "__" that follows it.
    /// `onText` is called with the words of the reply as they come; may be empty.
    explicit EventStream(const std::optional<QString>& connector, OnText onText = {});

    void feed(const QByteArray& piece) { m_lines.feed(piece); }
    void finish();

    /// The `init` event came without a tool of the connector.
    bool toolsAreMissing() const { return m_gate == Gate::refused; }
    /// The last `result` event so far.
    std::optional<QJsonObject> result() const { return m_result; }

  private:
    enum class Gate { waiting, passed, refused };

    void take(const QByteArray& line);

    QString m_prefix;
    OnText m_onText;
    ReplyText m_text;
    Gate m_gate = Gate::waiting;
    bool m_isLastLine = false;
    std::optional<QJsonObject> m_result;
    LineReader m_lines;
};

/// The whole output of a plain run as one JSON object, if it is one.
std::optional<QJsonObject> plainResult(const QByteArray& output);

/// What a run comes to once its process has gone. `result` is the result object, if there was one.
Result<QString> judge(const AgentEnd& end, const std::optional<QJsonObject>& result);

}  // namespace lumbro::claude
