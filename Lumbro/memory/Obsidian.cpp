#include "memory/Obsidian.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

/// The path with its links resolved; as it is when it leads nowhere.
QString resolved(const QString& path) {
    const QString real = QFileInfo(path).canonicalFilePath();
    return real.isEmpty() ? QDir::cleanPath(path) : real;
}

/// Only letters and digits stay as they are.
QString percentEncoded(const QString& path) {
    return QString::fromLatin1(path.toUtf8().toPercentEncoding({}, "-._~"));
}

bool isThere(const QStringList& folders, const QStringList& names, bool isProgram) {
    return std::ranges::any_of(folders, [&](const QString& folder) {
        return std::ranges::any_of(names, [&](const QString& name) {
            const QFileInfo file(folder + u'/' + name);
            return file.isFile() && (!isProgram || file.isExecutable());
        });
    });
}

}  // namespace

Obsidian::Obsidian(Ports ports, QString library, QString home)
    : m_ports(std::move(ports)), m_library(std::move(library)), m_home(std::move(home)) {}

bool Obsidian::isInstalled(const QStringList& dataFolders, const QStringList& programFolders) {
    const QStringList entries{u"applications/obsidian.desktop"_s,
                              u"applications/md.obsidian.Obsidian.desktop"_s,
                              u"applications/obsidian_obsidian.desktop"_s};
    const QStringList programs{u"obsidian"_s, u"md.obsidian.Obsidian"_s};
    return isThere(dataFolders, entries, false) || isThere(programFolders, programs, true);
}

QStringList Obsidian::vaults() const {
    QStringList paths;
    for (const QString& list : {u"/.config/obsidian/obsidian.json"_s,
                                u"/.var/app/md.obsidian.Obsidian/config/obsidian/obsidian.json"_s,
                                u"/.var/app/md.obsidian/config/obsidian/obsidian.json"_s,
                                u"/snap/obsidian/current/.config/obsidian/obsidian.json"_s}) {
        const QJsonObject known = json::object(readFile(m_home + list).value_or(QByteArray()));
        const QJsonObject vaults = known.value(u"vaults"_s).toObject();
        for (const auto& vault : vaults) {
            const QString path = vault.toObject().value(u"path"_s).toString();
            if (!path.isEmpty()) {
                paths.append(resolved(path));
            }
        }
    }
    return paths;
}

Obsidian::Outcome Obsidian::open(const QString& page) const {
    if (!m_ports.isInstalled()) {
        return m_ports.open(QUrl::fromLocalFile(page)) ? Outcome::openedElsewhere : Outcome::failed;
    }
    const QString file = resolved(page);
    const QStringList known = vaults();
    const bool isInVault =
        std::ranges::any_of(known, [&file](const QString& vault) { return file.startsWith(vault + u'/'); });
    if (!isInVault) {
        return Outcome::notInVault;
    }
    const QUrl address(u"obsidian://open?path="_s + percentEncoded(file));
    return m_ports.open(address) ? Outcome::opened : Outcome::failed;
}

Obsidian::Explanation Obsidian::explanation() const {
    return {.title = u"Add your Lumbro folder to Obsidian"_s,
            .body =
                u"Obsidian opens a page only from a vault it knows. Do this once: in Obsidian, choose Open "
                "folder as vault, then pick "_s +
                m_library + u". After that, this button opens the page you are on."_s,
            .accept = u"Open Obsidian"_s,
            .cancel = u"Cancel"_s};
}

void Obsidian::addVault() const {
    m_ports.start();
    m_ports.reveal(m_library);
}

}  // namespace lumbro
