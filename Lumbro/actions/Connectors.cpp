#include "actions/Connectors.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "actions/ConnectorProbe.h"
#include "runners/AgentText.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

constexpr std::chrono::seconds longestValid{3600};
constexpr qint64 mostRemembered = qint64(1024) * 1024;

QString logLine(const QList<Connector>& connectors) {
    QStringList words;
    for (const Connector& each : connectors) {
        words << each.app + (each.config ? u"="_s : u" (account)="_s) + Connector::rawValue(each.status);
    }
    return u"connectors: "_s + words.join(u", "_s);
}

}  // namespace

Connectors::Connectors(Clock& clock, Locate locate, Files files)
    : m_clock(clock), m_locate(std::move(locate)), m_files(std::move(files)) {}

Connectors::Files Connectors::defaultFiles() {
    return {.config = QDir::homePath() + u"/.claude.json"_s,
            .found = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
                     u"/lumbro/connectors.json"_s};
}

QList<Connector> Connectors::usable() const {
    return chosen(m_all, [](const Connector& each) { return each.isUsable(); });
}

QList<Connector> Connectors::remembered() const {
    const auto init = ConnectorInit::fromLine(readFile(m_files.found, mostRemembered).value_or(QByteArray()));
    return chosen(listFrom(init.value_or(ConnectorInit())),
                  [](const Connector& each) { return each.isUsable(); });
}

QList<Connector> Connectors::listFrom(const ConnectorInit& init) const {
    return connectorList(init, localConnectorConfigs(readFile(m_files.config).value_or(QByteArray())));
}

void Connectors::remember(const ConnectorInit& init) const {
    const QString folder = QFileInfo(m_files.found).path();
    makePrivateFolder(folder);
    if (const auto written = writeFileAtomically(m_files.found, init.toLine()); !written) {
        AppLog::error(u"action"_s, written.error().message);
    }
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
    Result<ConnectorInit> init = std::unexpected(agents::notInstalled());
    if (executable) {
        init = co_await probeConnectors(*executable, clock);
    }
    if (!alive) {
        co_return;
    }
    m_lastCheck = m_clock.elapsed();
    m_failure = init ? std::nullopt : std::optional(init.error());
    if (init) {
        remember(*init);
    }
    const auto before = std::exchange(m_all, listFrom(init.value_or(ConnectorInit())));
    AppLog::info(u"action"_s, logLine(m_all));
    if (before != m_all) {
        Q_EMIT allChanged();
    }
    m_checking = false;
    Q_EMIT checkingChanged();
}

}  // namespace lumbro
