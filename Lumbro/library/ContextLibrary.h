#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"
#include "library/LibraryHooks.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <expected>
#include <memory>
#include <optional>

namespace lumbro {

/// The folder that holds everything the system knows, as plain files: captures, engines and voices. The files
/// are the truth; the lists here are rebuilt from them. Reading a missing or broken file gives the empty
/// value and leaves the file alone. Main thread only.
class ContextLibrary final : public QObject {
    Q_OBJECT

  public:
    using Hooks = LibraryHooks;

    /// Touches nothing yet. `builtInEngines` is the folder of the engine files that come with the
    /// application.
    ContextLibrary(const QString& root, Clock& clock, Hooks hooks = {},
                   const QString& builtInEngines = QStringLiteral(":/engines"));
    ~ContextLibrary() override;

    /// The environment variable QUILLET_ROOT when it is set and not empty, else "Quillet" in the home folder.
    static QString rootFromEnvironment();

    QString root() const;
    QString capturesFolder() const;
    QString enginesFolder() const;
    QString voicesFolder() const;
    /// Whether a file or folder of the library may be read by what this library serves.
    const ReadGuard& guard() const;

    /// Start-up of the application: `open`, `repair`, memory, the watch timer.
    void bootstrap();
    /// For one command beside a running application: makes the folders, installs engines and reads all lists,
    /// but repairs nothing and starts no timer.
    void open();
    /// The same, but the list of captures stays as it is: for what needs engines and voices alone.
    void openEngines();

    /// Repairs what a crash left, after `open`: captures without an end get one, empty ones go to the Trash,
    /// and a background thread packs their audio. Those that some process records stay as they are.
    void repair();

    const QList<CaptureRecord>& captures() const;
    std::optional<CaptureRecord> record(const QString& id) const;
    /// Makes the folder "<stamp>-<kind>", with "-2", "-3" … when that is taken, and its `meta.json`. A
    /// meeting or thought is under way until it is saved with an end: no other process repairs or packs it
    /// meanwhile.
    CaptureRecord createCapture(CaptureKind kind, const QString& title, const QStringList& sources,
                                const QDateTime& at);
    /// Updates the entry in `captures` and writes `meta.json`; when that fails, it is logged and given back.
    Result<> save(const CaptureRecord& record);
    /// Moves the folder to the Trash, or to ".trash" under the root. Fails while another one records into it.
    Result<> deleteCapture(const CaptureRecord& record);
    /// True for a meeting or thought with less than three words, no notes and no hand-offs.
    bool isEmpty(const CaptureRecord& record) const;
    void reloadCaptures();

    // Readers give the empty value on any failure.
    TranscriptSegments segments(const CaptureRecord& record) const;
    QString notes(const CaptureRecord& record) const;
    /// Engine id to text.
    QMap<QString, QString> handoffs(const CaptureRecord& record) const;
    /// Writes `transcript.json` and `transcript.md`. The first failure is given back; the caller logs it.
    Result<> writeTranscript(const TranscriptSegments& segments, const CaptureRecord& record);
    /// Replaces the engine's earlier result. A failure is logged and given back.
    Result<> writeHandoff(const QString& text, const QString& engineID, const CaptureRecord& record);

    const QList<Engine>& engines() const;
    const QList<Engine>& systemEngines() const;
    const QStringList& engineWarnings() const;
    const QList<Voice>& voices() const;
    void reloadEngines(bool force);
    void reloadVoices();
    /// Also finds hidden ones.
    std::optional<Engine> engine(const QString& id) const;
    QList<Engine> enginesSuggestedAt(const QString& place) const;
    QList<Engine> enginesIn(EngineScope scope) const;
    QList<Engine> handoffEngines() const;
    QList<Engine> autoEngines() const;
    std::optional<Engine> enhanceEngine() const;
    QSet<QString> builtInEngineFiles() const;
    /// Writes an engine's text, under the name `renameTo` when that is free; nothing when it is no engine.
    std::expected<Engine, Engine::LoadError> saveEngine(const QString& text, const QString& url,
                                                        const QString& renameTo = {});
    std::optional<Engine> createEngine();
    void discardIfTemplate(const Engine& engine);
    Result<> deleteEngine(const Engine& engine);
    std::optional<Voice> saveVoice(const QString& name, const QString& samples);

  Q_SIGNALS:
    void capturesChanged();
    void enginesChanged();
    void voicesChanged();

  private:
    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
