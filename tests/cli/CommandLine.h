#pragma once

#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "tests/support/FakeAgents.h"
#include "tests/support/ScratchFolder.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace lumbro::test {

/// How a run of the program ended.
struct Finished {
    int status = -1;
    QString output;
    QString errors;

    QJsonObject object() const { return json::object(output.toUtf8()); }
    QJsonArray array() const { return json::array(output.toUtf8()); }
};

/// The real program in a home folder of its own, with a stand-in for the agent's command line where it is
/// customarily installed.
class CommandLine {
  public:
    CommandLine() {
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(u"HOME"_s, m_home.path());
        m_environment.insert(u"PULSE_SERVER"_s, u"unix:"_s + m_home.path(u"no-server"_s));
        m_environment.insert(u"XDG_RUNTIME_DIR"_s, m_home.path());
        m_environment.insert(u"SHELL"_s, u"/bin/false"_s);
        m_environment.insert(u"FAKE_AGENT_LOG"_s, m_home.path(u"agent.log"_s));
    }

    void installAgent() const {
        QDir().mkpath(m_home.path(u".local/bin"_s));
        QFile::link(FakeAgents::claude(), m_home.path(u".local/bin/claude"_s));
    }
    void set(const QString& variable, const QString& value) { m_environment.insert(variable, value); }

    /// Runs the program to its end.
    Finished run(const QStringList& arguments) const {
        QProcess process;
        process.setProcessEnvironment(m_environment);
        process.start(program(), arguments);
        process.closeWriteChannel();
        process.waitForFinished(-1);
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    /// Writes a capture's `meta.json`, finished half an hour after its start.
    void addCapture(const QString& id, const QByteArray& title, const QByteArray& startedAt) const {
        m_home.write(u"Quillet/captures/%1/meta.json"_s.arg(id),
                     R"({"endedAt":"2026-03-02T23:00:00Z","kind":"meeting","sources":["mic"],"startedAt":")" +
                         startedAt + R"(","title":")" + title + R"("})");
    }
    void write(const QString& id, const QString& name, const QByteArray& bytes) const {
        m_home.write(u"Quillet/captures/%1/%2"_s.arg(id, name), bytes);
    }

    const QProcessEnvironment& environment() const { return m_environment; }
    const ScratchFolder& home() const { return m_home; }
    static QString program() { return QStringLiteral(LUMBRO_BINARY_DIR "/lumbro"); }
    static QString demoSide(const QString& side) {
        return QStringLiteral(LUMBRO_SOURCE_DIR "/resources/demo/") + side + u".flac"_s;
    }

  private:
    ScratchFolder m_home;
    QProcessEnvironment m_environment;
};

}  // namespace lumbro::test
