#pragma once

#include "LumbroCore/Clock.h"
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

    /// `configFile` is the user's ".claude.json".
    Connectors(Clock& clock, Locate locate, const QString& configFile = defaultConfigFile());

    static QString defaultConfigFile();

    const QList<Connector>& all() const { return m_all; }
    /// Those that aren't failed.
    QList<Connector> usable() const;
    /// Of the usable ones, those of known apps, and the rest.
    QList<Connector> featured() const;
    QList<Connector> others() const;
    std::optional<Connector> find(const QString& id) const;

    bool checking() const { return m_checking; }
    /// Starts a check when none is under way and the last one, failed or not, is over an hour old. To wait
    /// for its end, wait for `checkingChanged`.
    void refresh();

  Q_SIGNALS:
    void allChanged();
    void checkingChanged();

  private:
    Task<> check();

    Clock& m_clock;
    Locate m_locate;
    QString m_configFile;
    QList<Connector> m_all;
    bool m_checking = false;
    std::optional<Clock::Duration> m_lastCheck;
};

}  // namespace lumbro
