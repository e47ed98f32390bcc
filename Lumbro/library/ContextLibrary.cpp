#include "library/ContextLibrary.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "library/BrokenFiles.h"
#include "library/CaptureFiles.h"
#include "library/CaptureStore.h"
#include "library/EngineCatalogue.h"
#include "library/LeftoverPass.h"
#include "library/VoiceShelf.h"

#include <QDir>

#include <utility>

namespace lumbro {

namespace {

constexpr auto watchInterval = std::chrono::seconds(2);

template <typename Matches>
QList<Engine> filtered(const QList<Engine>& engines, const Matches& matches) {
    QList<Engine> found;
    for (const Engine& engine : engines) {
        if (matches(engine)) {
            found.append(engine);
        }
    }
    return found;
}

}  // namespace

struct ContextLibrary::Private {
    Private(const QString& absoluteRoot, Clock& theClock, Hooks theHooks, const QString& builtIns)
        : root(absoluteRoot),
          clock(theClock),
          hooks(std::move(theHooks)),
          captures(absoluteRoot, broken),
          engines(builtIns, absoluteRoot + u"/engines"_s),
          voices(absoluteRoot + u"/voices"_s) {}

    QString root;
    Clock& clock;
    Hooks hooks;
    BrokenFiles broken;
    CaptureStore captures;
    EngineCatalogue engines;
    VoiceShelf voices;
    LeftoverPass leftovers;
    Timer watch;
};

ContextLibrary::ContextLibrary(const QString& root, Clock& clock, Hooks hooks, const QString& builtInEngines)
    : m_private(std::make_unique<Private>(QDir::cleanPath(QDir(root).absolutePath()), clock, std::move(hooks),
                                          builtInEngines)) {
    m_private->captures.mayRead = guard();
    m_private->captures.onChanged = [this] { Q_EMIT capturesChanged(); };
    m_private->engines.onChanged = [this] { Q_EMIT enginesChanged(); };
    m_private->voices.onChanged = [this] { Q_EMIT voicesChanged(); };
}

ContextLibrary::~ContextLibrary() = default;

QString ContextLibrary::rootFromEnvironment() {
    const QString root = qEnvironmentVariable("QUILLET_ROOT");
    return root.isEmpty() ? QDir::homePath() + u"/Quillet"_s : QDir::cleanPath(QDir(root).absolutePath());
}

QString ContextLibrary::root() const {
    return m_private->root;
}

QString ContextLibrary::capturesFolder() const {
    return m_private->captures.folder();
}

QString ContextLibrary::enginesFolder() const {
    return root() + u"/engines"_s;
}

QString ContextLibrary::voicesFolder() const {
    return root() + u"/voices"_s;
}

const ReadGuard& ContextLibrary::guard() const {
    return m_private->hooks.mayRead;
}

void ContextLibrary::open() {
    openEngines();
    reloadCaptures();
}

void ContextLibrary::openEngines() {
    for (const QString& folder : {root(), capturesFolder(), enginesFolder(), voicesFolder()}) {
        if (!makePrivateFolder(folder)) {
            AppLog::error(u"library"_s, u"can't make the folder "_s + folder);
        }
    }
    m_private->engines.installer().install();
    reloadEngines(true);
    reloadVoices();
}

void ContextLibrary::repair() {
    m_private->captures.recoverUnfinished();
    m_private->captures.trashEmpty();
    m_private->leftovers.start(capturesFolder(), m_private->hooks.packTracks);
}

void ContextLibrary::bootstrap() {
    open();
    repair();
    if (m_private->hooks.bootMemory) {
        m_private->hooks.bootMemory();
    }
    m_private->watch.start(m_private->clock, watchInterval, Clock::Repeat::always, [this] {
        reloadEngines(false);
        reloadVoices();
        if (m_private->hooks.reloadMemory) {
            m_private->hooks.reloadMemory();
        }
    });
}

const QList<CaptureRecord>& ContextLibrary::captures() const {
    return m_private->captures.captures();
}

std::optional<CaptureRecord> ContextLibrary::record(const QString& id) const {
    return m_private->captures.record(id);
}

CaptureRecord ContextLibrary::createCapture(CaptureKind kind, const QString& title,
                                            const QStringList& sources, const QDateTime& at) {
    return m_private->captures.create(kind, title, sources, at);
}

Result<> ContextLibrary::save(const CaptureRecord& record) {
    return m_private->captures.save(record);
}

Result<> ContextLibrary::deleteCapture(const CaptureRecord& record) {
    return m_private->captures.remove(record);
}

bool ContextLibrary::isEmpty(const CaptureRecord& record) const {
    return captureFiles::isEmpty(record);
}

void ContextLibrary::reloadCaptures() {
    m_private->captures.reload();
}

TranscriptSegments ContextLibrary::segments(const CaptureRecord& record) const {
    return captureFiles::segments(record, m_private->broken);
}

QString ContextLibrary::notes(const CaptureRecord& record) const {
    return captureFiles::notes(record, m_private->broken);
}

QMap<QString, QString> ContextLibrary::handoffs(const CaptureRecord& record) const {
    return captureFiles::handoffs(record, m_private->broken);
}

Result<> ContextLibrary::writeTranscript(const TranscriptSegments& segments, const CaptureRecord& record) {
    return captureFiles::writeTranscript(segments, record);
}

Result<> ContextLibrary::writeHandoff(const QString& text, const QString& engineID,
                                      const CaptureRecord& record) {
    Result<> written = captureFiles::writeHandoff(text, engineID, record);
    if (!written) {
        AppLog::error(u"library"_s, record.id() + u": "_s + written.error().message);
    }
    return written;
}

const QList<Engine>& ContextLibrary::engines() const {
    return m_private->engines.engines();
}

const QList<Engine>& ContextLibrary::systemEngines() const {
    return m_private->engines.systemEngines();
}

const QStringList& ContextLibrary::engineWarnings() const {
    return m_private->engines.warnings();
}

const QList<Voice>& ContextLibrary::voices() const {
    return m_private->voices.voices();
}

void ContextLibrary::reloadEngines(bool force) {
    m_private->engines.reload(force);
}

void ContextLibrary::reloadVoices() {
    m_private->voices.reload();
}

std::optional<Engine> ContextLibrary::engine(const QString& id) const {
    return m_private->engines.engine(id);
}

QList<Engine> ContextLibrary::enginesSuggestedAt(const QString& place) const {
    return filtered(engines(), [&](const Engine& engine) { return engine.suggest.contains(place); });
}

QList<Engine> ContextLibrary::enginesIn(EngineScope scope) const {
    return filtered(engines(), [&](const Engine& engine) { return engine.scope == scope; });
}

QList<Engine> ContextLibrary::handoffEngines() const {
    return filtered(enginesIn(EngineScope::meeting),
                    [](const Engine& engine) { return !engine.suggest.contains(u"live"); });
}

QList<Engine> ContextLibrary::autoEngines() const {
    return filtered(enginesIn(EngineScope::meeting), [](const Engine& engine) { return engine.automatic; });
}

std::optional<Engine> ContextLibrary::enhanceEngine() const {
    return m_private->engines.enhanceEngine();
}

QSet<QString> ContextLibrary::builtInEngineFiles() const {
    return m_private->engines.installer().builtInFiles();
}

std::expected<Engine, Engine::LoadError> ContextLibrary::saveEngine(const QString& text, const QString& url,
                                                                    const QString& renameTo) {
    return m_private->engines.save(text, url, renameTo);
}

std::optional<Engine> ContextLibrary::createEngine() {
    return m_private->engines.create();
}

void ContextLibrary::discardIfTemplate(const Engine& engine) {
    m_private->engines.discardIfTemplate(engine);
}

Result<> ContextLibrary::deleteEngine(const Engine& engine) {
    return m_private->engines.remove(engine);
}

std::optional<Voice> ContextLibrary::saveVoice(const QString& name, const QString& samples) {
    return m_private->voices.save(name, samples);
}

}  // namespace lumbro
