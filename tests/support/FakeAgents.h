#pragma once

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "tests/support/ScratchFolder.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace lumbro::test {

/// The fake agents' programs, and what steers them, for one test. Every variable is unset at its end.
class FakeAgents {
  public:
    FakeAgents() { qputenv("FAKE_AGENT_LOG", log().toUtf8()); }
    ~FakeAgents() {
        for (const char* name : {"LOG", "MODE", "REPLY", "MEMORY", "TEXT", "STATUS", "GATE", "TOOLS"}) {
            qunsetenv(QByteArray("FAKE_AGENT_") + name);
        }
    }
    FakeAgents(const FakeAgents&) = delete;
    FakeAgents& operator=(const FakeAgents&) = delete;

    static QString claude() { return QStringLiteral(LUMBRO_BINARY_DIR "/tests/support/agents/fake-claude"); }
    static QString codex() { return QStringLiteral(LUMBRO_BINARY_DIR "/tests/support/agents/fake-codex"); }

    void mode(const QByteArray& name) const { qputenv("FAKE_AGENT_MODE", name); }
    void set(const QByteArray& variable, const QByteArray& value) const {
        qputenv("FAKE_AGENT_" + variable, value);
    }

    /// The runs that have read their input, oldest first: "argv", "stdin", "cwd", "pid", "env".
    QList<QJsonObject> runs() const {
        QList<QJsonObject> found;
        const QByteArray lines = readFile(log()).value_or(QByteArray());
        for (const QByteArray& line : lines.split('\n')) {
            if (!line.isEmpty()) {
                found << json::object(line);
            }
        }
        return found;
    }

    /// Until `open` is called, no agent answers.
    void close() const { qputenv("FAKE_AGENT_GATE", m_folder.path(u"gate"_s).toUtf8()); }
    void open() const { m_folder.write(u"gate"_s, ""); }

  private:
    QString log() const { return m_folder.path(u"log"_s); }

    ScratchFolder m_folder;
};

}  // namespace lumbro::test
