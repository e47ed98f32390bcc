#pragma once

#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

namespace lumbro::test {

/// One server of the Model Context Protocol, started as a configuration says. Blocks; ends with its object.
class McpClient {
  public:
    /// `config` holds "command", "args" and "env".
    McpClient(const QString& server, const QJsonObject& config);
    ~McpClient();
    McpClient(const McpClient&) = delete;
    McpClient& operator=(const McpClient&) = delete;

    /// What its tools' full names begin with.
    QString prefix() const { return m_prefix; }
    /// The full names of its tools; empty when it doesn't answer.
    QStringList tools();
    /// The structured result of a tool, by its full name.
    QJsonObject call(const QString& tool, const QJsonObject& arguments);

  private:
    QJsonObject request(const QString& method, const QJsonObject& params);
    void send(const QJsonObject& message);

    QString m_prefix;
    QProcess m_process;
    int m_lastID = 0;
};

}  // namespace lumbro::test
