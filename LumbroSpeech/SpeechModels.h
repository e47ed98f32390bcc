#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "LumbroSpeech/SpeechModel.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace lumbro::speech {

/// The model files of the good recogniser: what there is, what is here, fetching and removing. They live in
/// one folder, one file each. Main thread.
class SpeechModels final : public QObject {
    Q_OBJECT

  public:
    /// Fraction done, 0 to 1.
    using Progress = std::function<void(double)>;

    /// `folder` empty means `$XDG_DATA_HOME/lumbro/models`; `embeddedPath` empty the system's model.
    explicit SpeechModels(Settings& settings, const QString& folder = {}, const QString& embeddedPath = {});
    ~SpeechModels() override;

    /// Every model that can be installed, the quickest first.
    static std::span<const SpeechModel> catalogue();
    /// Null when there is no such model in the catalogue.
    static const SpeechModel* find(const QString& id);
    /// The model of the embedded recogniser, which comes with the system.
    static const SpeechModel& embedded();

    QString folder() const { return m_folder; }
    /// Where the model's file is or would be.
    QString path(const SpeechModel& model) const;
    /// Whether the model is here and its file is sound. A look at a large file takes some milliseconds once.
    bool isInstalled(const SpeechModel& model) const;
    /// The model that would be in use if its file could be read; another one stands in for it.
    std::optional<SpeechModel> brokenChoice(const QString& locale = QStringLiteral("en-US")) const;
    /// The embedded model, the catalogue and imported files. What is in use is told for `locale`;
    /// an empty one has no model.
    QList<SpeechModelStatus> list(const QString& locale = QStringLiteral("en-US")) const;
    /// The recogniser model to use for the locale: the one set, else the best installed one that knows it.
    /// None means the embedded recogniser.
    std::optional<SpeechModel> inUse(const QString& locale) const;
    /// The path of the voice detector's model file; empty when it is not installed.
    QString voiceModelPath() const;

    /// Downloads the model, going on where an earlier try ended, and verifies it. A second call for the same
    /// model fails while the first one runs, in whichever process.
    Task<Result<>> install(QString id, Progress progress = {});
    /// Ends a running install of the model; its `install` fails as cancelled and can be resumed later.
    void cancel(const QString& id);
    /// Copies a model file from elsewhere into the folder; gives its id. Fails on a file of another kind.
    Task<Result<QString>> importFile(QString path);
    /// Moves the model's file to the Trash. The setting is cleared when it named this model.
    Result<> remove(const QString& id);
    /// Makes an installed model the one in use; empty means the best one.
    Result<> use(const QString& id);

  Q_SIGNALS:
    /// What is installed or in use has changed.
    void changed();

  private:
    struct Downloads;
    /// What was found in a file of this size and time.
    struct Look {
        qint64 bytes = 0;
        QDateTime changed;
        bool isSound = false;
    };

    bool isBroken(const SpeechModel& model) const;
    bool isSound(const QString& filePath, SpeechModel::Kind kind) const;
    QList<SpeechModel> presentModels() const;
    std::optional<SpeechModel> presentModel(const QString& id) const;
    QList<SpeechModel> installedModels() const;
    QList<SpeechModel> importedModels() const;
    QUrl address(const SpeechModel& model) const;

    Settings& m_settings;
    QString m_folder;
    QString m_embeddedPath;
    std::unique_ptr<Downloads> m_downloads;
    /// What was found in files, by path.
    mutable QHash<QString, Look> m_looks;
};

}  // namespace lumbro::speech
