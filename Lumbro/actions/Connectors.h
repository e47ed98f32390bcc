#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "actions/formats/Connector.h"
#include "actions/formats/ConnectorList.h"

#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

namespace lumbro {

/// The apps that the user's own Claude Code can reach. Empty until the first check has ended. Main thread.
/// The clock must outlive every check.
class Connectors final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool checking READ checking NOTIFY checkingChanged)

  public:
    /// The path of Claude Code's executable, if there is one.
    using Locate = std::function<Task<std::optional<QString>>()>;

    /// Files in the user's home folder.
    struct Files {
        /// ".claude.json", with the servers that the user has set up.
        QString config;
        /// Keeps what a check found, for processes that end too soon to check by themselves.
        QString found;
    };

    Connectors(Clock& clock, Locate locate, Files files = defaultFiles());

    static Files defaultFiles();

    const QList<Connector>& all() const { return m_all; }
    /// Those that aren't failed.
    QList<Connector> usable() const;
    /// Of the usable ones, those of known apps, and the rest.
    QList<Connector> featured() const;
    QList<Connector> others() const;
    std::optional<Connector> find(const QString& id) const;

    /// Usable ones that the last check of any process found, this one included. Reads a file; not for
    /// sending.
    QList<Connector> remembered() const;
    /// Why the last check found nothing, in a sentence; nothing when it went well.
    std::optional<Failure> failure() const { return m_failure; }

    bool checking() const { return m_checking; }
    /// Starts a check when none is under way and the last one, failed or not, is over an hour old. To wait
    /// for its end, wait for `checkingChanged`.
    void refresh();

  Q_SIGNALS:
    void allChanged();
    void checkingChanged();

  private:
    Task<> check();
    QList<Connector> listFrom(const ConnectorInit& init) const;
    void remember(const ConnectorInit& init) const;

    Clock& m_clock;
    Locate m_locate;
    Files m_files;
    QList<Connector> m_all;
    std::optional<Failure> m_failure;
    bool m_checking = false;
    std::optional<Clock::Duration> m_lastCheck;
};

}  // namespace lumbro
