#include "library/EngineCatalogue.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "LumbroCore/Trash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <tuple>
#include <utility>

namespace lumbro {

namespace {

std::optional<Engine> find(const QList<Engine>& engines, const QString& id) {
    const auto it = std::ranges::find(engines, id, &Engine::id);
    return it == engines.end() ? std::nullopt : std::optional(*it);
}

bool runsAfterMeetings(const Engine& engine) {
    return engine.automatic && engine.scope == EngineScope::meeting;
}

}  // namespace

EngineCatalogue::EngineCatalogue(const QString& builtIns, QString folder)
    : m_folder(std::move(folder)), m_installer(builtIns, m_folder) {}

std::optional<Engine> EngineCatalogue::engine(const QString& id) const {
    auto engine = find(m_engines, id);
    return engine ? engine : find(m_systemEngines, id);
}

std::optional<Engine> EngineCatalogue::enhanceEngine() const {
    std::optional<Engine> first;
    for (const Engine& candidate : m_engines) {
        if (runsAfterMeetings(candidate) && (!first || candidate.id == u"notes")) {
            first = candidate;
        }
    }
    return first ? first : engine(u"notes"_s);
}

EngineCatalogue::Listing EngineCatalogue::list() const {
    Listing listing;
    // Hidden files are editors' own: locks and swap files.
    const QFileInfoList files = QDir(m_folder).entryInfoList(
        {u"*.md"_s}, QDir::Files | QDir::Dirs | QDir::System | QDir::CaseSensitive);
    for (const QFileInfo& file : files) {
        listing[file.fileName()] = file.lastModified();
    }
    return listing;
}

void EngineCatalogue::reload(bool force) {
    Listing stamp = list();
    if (!force && m_stamp == stamp) {
        return;
    }
    QList<Engine> visible;
    QList<Engine> hidden;
    QStringList warnings;
    for (auto it = stamp.constBegin(); it != stamp.constEnd(); ++it) {
        const QString path = m_folder + u'/' + it.key();
        const auto text = readTextFile(path);
        auto engine =
            text ? Engine::parse(*text, path) : std::unexpected(Engine::LoadError{u"can't read the file"_s});
        if (engine) {
            (engine->hidden ? hidden : visible).append(std::move(*engine));
        } else {
            warnings.append(it.key() + u": "_s + engine.error().message);
        }
    }
    m_stamp = std::move(stamp);
    const auto place = [](const Engine& engine) { return std::tie(engine.order, engine.name); };
    std::ranges::stable_sort(visible, {}, place);
    std::ranges::stable_sort(hidden, {}, place);
    if (visible == m_engines && hidden == m_systemEngines && warnings == m_warnings) {
        return;
    }
    for (const QString& warning : std::as_const(warnings)) {
        if (!m_warnings.contains(warning)) {
            AppLog::error(u"library"_s, u"engine "_s + warning);
        }
    }
    m_engines = std::move(visible);
    m_systemEngines = std::move(hidden);
    m_warnings = std::move(warnings);
    if (onChanged) {
        onChanged();
    }
}

QString EngineCatalogue::target(const QString& url, const QString& renameTo) const {
    // A name with a folder in it would leave the folder of engines.
    const QString slug = renameTo.contains(u'/') ? slugified(renameTo) : renameTo;
    const QString renamed = m_folder + u'/' + slug + u".md"_s;
    const bool renames = !slug.isEmpty() && slug != QFileInfo(url).completeBaseName();
    return renames && !QFileInfo::exists(renamed) ? renamed : url;
}

std::expected<Engine, Engine::LoadError> EngineCatalogue::save(const QString& text, const QString& url,
                                                               const QString& renameTo) {
    const QString path = target(url, renameTo);
    auto engine = Engine::parse(text, path);
    if (!engine || (path == url && readTextFile(url) == text)) {
        return engine;
    }
    if (const auto written = writeFileAtomically(path, text.toUtf8()); !written) {
        return std::unexpected(Engine::LoadError{written.error().message});
    }
    if (path != url) {
        QFile::remove(url);
    }
    reload(true);
    AppLog::info(u"library"_s, u"saved engine "_s + QFileInfo(path).fileName());
    return engine;
}

QString EngineCatalogue::templateText(const QString& id) {
    return uR"(---
name: New engine
shortcut: %1
icon: wand.and.stars
description: What it does, in one line
scope: meeting
result: chat
suggest: [notes, ask]
auto: false
model: sonnet
inputs: [transcript, notes]
version: 1
---
You help the person labeled "Me" after a call.

Say what to write, in what order, and how long. Use MY NOTES as the spine and the TRANSCRIPT for detail.
Never invent facts.
)"_s.arg(id);
}

std::optional<Engine> EngineCatalogue::create() {
    QString id = u"new-engine"_s;
    for (int number = 2; QFileInfo::exists(m_folder + u'/' + id + u".md"_s); ++number) {
        id = u"new-engine-%1"_s.arg(number);
    }
    const auto written = writeFileAtomically(m_folder + u'/' + id + u".md"_s, templateText(id).toUtf8());
    if (!written) {
        AppLog::error(u"library"_s, written.error().message);
        return std::nullopt;
    }
    reload(true);
    return engine(id);
}

void EngineCatalogue::discardIfTemplate(const Engine& engine) {
    if (readTextFile(engine.url) == templateText(engine.id)) {
        QFile::remove(engine.url);
        reload(true);
    }
}

Result<> EngineCatalogue::remove(const Engine& engine) {
    if (const auto moved = moveToTrash(engine.url); !moved) {
        return std::unexpected(moved.error());
    }
    const QString name = QFileInfo(engine.url).fileName();
    if (m_installer.builtInFiles().contains(name)) {
        m_installer.markDeleted(name);
    }
    reload(true);
    AppLog::info(u"library"_s, u"deleted engine "_s + name);
    return {};
}

}  // namespace lumbro
