#pragma once

#include "runners/AgentProcess.h"
#include "runners/LineReader.h"

#include <QJsonObject>
#include <QString>

#include <optional>

namespace lumbro::claude {

/// Reads the event stream of a run that needs a connector. The `init` event is the gate: a run whose tools
/// don't hold one of the connector's must be stopped before the model can act without it.
class EventStream {
  public:
    /// `connector` is the prefix of the tool names, without the "__" that follows it.
    explicit EventStream(const QString& connector);

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
