#include "library/EngineInstaller.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "engines/formats/Frontmatter.h"
#include "library/BrokenFiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>

#include <optional>
#include <utility>

namespace lumbro {

namespace {

const QString edited = u"edited"_s;
const QString deleted = u"deleted"_s;

/// True when the text is in the file afterwards. A failure is logged.
bool put(const QString& path, const QString& text) {
    const auto written = writeFileAtomically(path, text.toUtf8());
    if (!written) {
        AppLog::error(u"library"_s, written.error().message);
    }
    return written.has_value();
}

std::optional<QMap<QString, QString>> decodeInstalled(const QByteArray& bytes) {
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject()) {
        return std::nullopt;
    }
    QMap<QString, QString> installed;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it->isString()) {
            return std::nullopt;
        }
        installed[it.key()] = it->toString();
    }
    return installed;
}

QString keyOf(const QString& line) {
    return trimmedBlanks(QStringView(line).first(line.indexOf(u':'))).toString().toLower();
}

}  // namespace

EngineInstaller::EngineInstaller(QString builtIns, QString folder, PriorBuiltIns prior)
    : m_builtIns(std::move(builtIns)), m_folder(std::move(folder)), m_prior(std::move(prior)) {}

EngineInstaller::PriorBuiltIns EngineInstaller::priorBuiltIns() {
    // Each release adds the digest of every version that it replaces.
    return {{u"content.md"_s, {}},
            {u"followup.md"_s, {}},
            {u"ideas.md"_s, {}},
            {u"notes.md"_s, {}},
            {u"prep.md"_s, {}}};
}

QString EngineInstaller::digest(const QString& text) {
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex());
}

qint64 EngineInstaller::version(const QString& text) {
    bool ok = false;
    const qint64 version =
        Frontmatter::parse(text).value(u"version"_s).value_or(QString()).toLongLong(&ok, 10);
    return ok ? version : 1;
}

QString EngineInstaller::mergeFields(const QString& source, const QString& target) {
    const Frontmatter::Parsed known = Frontmatter::parse(target);
    QStringList lines = Frontmatter::lines(target);
    const qsizetype end = Frontmatter::closingFence(lines);
    if (!known.found || end < 0) {
        return target;
    }
    QStringList header{lines.first()};
    for (const QString& line : lines.sliced(1, end - 1)) {
        if (!line.toLower().startsWith(u"version:")) {
            header.append(line);
        }
    }
    const QStringList sourceLines = Frontmatter::lines(source);
    const qsizetype sourceEnd = Frontmatter::closingFence(sourceLines);
    for (qsizetype i = 1; i < sourceEnd; ++i) {
        const QString& line = sourceLines[i];
        if (line.contains(u':') && keyOf(line) != u"version" && !known.fields.contains(keyOf(line))) {
            header.append(line);
        }
    }
    header.append(u"version: "_s + Frontmatter::parse(source).value(u"version"_s).value_or(u"1"_s));
    return (header + lines.sliced(end)).join(u'\n');
}

QSet<QString> EngineInstaller::builtInFiles() const {
    const QStringList names = QDir(m_builtIns).entryList({u"*.md"_s}, QDir::Files | QDir::CaseSensitive);
    return {names.begin(), names.end()};
}

void EngineInstaller::install() {
    const QDir builtIns(m_builtIns);
    if (!builtIns.exists()) {
        AppLog::error(u"library"_s, u"the built-in engines are missing"_s);
        return;
    }
    Installed installed = readInstalled();
    const QStringList names = builtIns.entryList({u"*.md"_s}, QDir::Files | QDir::CaseSensitive, QDir::Name);
    for (const QString& name : names) {
        installOne(name, installed);
    }
    writeInstalled(installed);
}

void EngineInstaller::installOne(const QString& name, Installed& installed) const {
    const auto shipped = readTextFile(m_builtIns + u'/' + name);
    if (installed.value(name) == deleted || !shipped) {
        return;
    }
    const QString path = m_folder + u'/' + name;
    const QFileInfo file(path);
    if (!file.exists() && !file.isSymLink()) {
        if (put(path, *shipped)) {
            installed[name] = digest(*shipped);
        }
        return;
    }
    const auto own = readTextFile(path);
    if (!own) {
        return;
    }
    if (*own == *shipped) {
        installed[name] = digest(*own);
    } else if (version(*own) < version(*shipped)) {
        upgrade(name, *shipped, *own, installed);
    }
}

void EngineInstaller::upgrade(const QString& name, const QString& shipped, const QString& own,
                              Installed& installed) const {
    const QString path = m_folder + u'/' + name;
    const QString current = digest(own);
    if (installed.value(name) == current || m_prior.value(name).contains(current)) {
        if (put(path, shipped)) {
            installed[name] = digest(shipped);
            AppLog::info(u"library"_s, u"upgraded engine "_s + name);
        }
        return;
    }
    installed[name] = edited;
    const QString merged = mergeFields(shipped, own);
    if (merged != own && put(path, merged)) {
        AppLog::info(u"library"_s, u"added new fields to edited engine "_s + name);
    }
}

void EngineInstaller::markDeleted(const QString& fileName) {
    Installed installed = readInstalled();
    installed[fileName] = deleted;
    writeInstalled(installed);
}

EngineInstaller::Installed EngineInstaller::readInstalled() const {
    const auto bytes = readFile(installedPath());
    auto installed = bytes ? decodeInstalled(*bytes) : std::nullopt;
    if (!installed && QFileInfo::exists(installedPath())) {
        const bool kept = BrokenFiles::keepCopy(installedPath());
        AppLog::error(u"library"_s, u"engines/.installed.json can't be read and starts empty; "_s +
                                        (kept ? u"a copy is beside it"_s : u"no copy could be made"_s));
    }
    return std::move(installed).value_or(Installed());
}

void EngineInstaller::writeInstalled(const Installed& installed) const {
    QJsonObject object;
    for (auto it = installed.begin(); it != installed.end(); ++it) {
        object[it.key()] = *it;
    }
    const QByteArray bytes = json::encode(object);
    if (readFile(installedPath()) == bytes) {
        return;
    }
    if (const auto written = writeFileAtomically(installedPath(), bytes); !written) {
        AppLog::error(u"library"_s, written.error().message);
    }
}

}  // namespace lumbro
