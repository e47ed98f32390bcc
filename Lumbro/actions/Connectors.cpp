#include "actions/Connectors.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "actions/ConnectorProbe.h"

#include <QDir>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

constexpr std::chrono::seconds longestValid{3600};

template <typename Wanted>
QList<Connector> chosen(const QList<Connector>& all, const Wanted& isWanted) {
    QList<Connector> list;
    std::ranges::copy_if(all, std::back_inserter(list), isWanted);
    return list;
}

QString logLine(const QList<Connector>& connectors) {
    QStringList words;
    for (const Connector& each : connectors) {
        words << each.app + (each.config ? u"="_s : u" (account)="_s) + Connector::rawValue(each.status);
    }
    return u"connectors: "_s + words.join(u", "_s);
}

}  // namespace

Connectors::Connectors(Clock& clock, Locate locate, const QString& configFile)
    : m_clock(clock), m_locate(std::move(locate)), m_configFile(configFile) {}

QString Connectors::defaultConfigFile() {
    return QDir::homePath() + u"/.claude.json"_s;
}

QList<Connector> Connectors::usable() const {
    return chosen(m_all, [](const Connector& each) { return each.isUsable(); });
}

QList<Connector> Connectors::featured() const {
    return chosen(m_all, [](const Connector& each) { return each.isUsable() && each.featured; });
}

QList<Connector> Connectors::others() const {
    return chosen(m_all, [](const Connector& each) { return each.isUsable() && !each.featured; });
}

std::optional<Connector> Connectors::find(const QString& id) const {
    const auto found = std::ranges::find(m_all, id, &Connector::id);
    return found == m_all.end() ? std::nullopt : std::optional(*found);
}

void Connectors::refresh() {
    if (m_checking || (m_lastCheck && m_clock.elapsed() - *m_lastCheck <= longestValid)) {
        return;
    }
    m_checking = true;
    Q_EMIT checkingChanged();
    runDetached(check());
}

Task<> Connectors::check() {
    const QPointer<Connectors> alive(this);
    Clock& clock = m_clock;
    const auto executable = co_await m_locate();
    ConnectorInit init;
    if (executable) {
        init = co_await probeConnectors(*executable, clock);
    }
    if (!alive) {
        co_return;
    }
    const auto configs = localConnectorConfigs(readFile(m_configFile).value_or(QByteArray()));
    m_lastCheck = m_clock.elapsed();
    const auto before = std::exchange(m_all, connectorList(init, configs));
    AppLog::info(u"action"_s, logLine(m_all));
    if (before != m_all) {
        Q_EMIT allChanged();
    }
    m_checking = false;
    Q_EMIT checkingChanged();
}

}  // namespace lumbro
