#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace lumbro::speech {

/// One model that can be installed.
struct SpeechModel {
    enum class Kind { recognizer, voiceDetector };

    QString id;
    QString name;
    /// The file's name, on the server and in the models folder.
    QString fileName;
    Kind kind = Kind::recognizer;
    /// Locale identifiers that the model can write down.
    QStringList languages;
    /// About the file's size in bytes; exact once it is here.
    qint64 bytes = 0;
    /// Lower case hexadecimal digest that the file must have; empty means what the server says.
    QString sha1;
    /// From 0 for the quickest; a higher one is better and slower.
    int rank = 0;

    bool operator==(const SpeechModel&) const = default;
};

/// A model as the user sees it.
struct SpeechModelStatus {
    SpeechModel model;
    bool isInstalled = false;
    bool isInUse = false;

    bool operator==(const SpeechModelStatus&) const = default;
};

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
    bool isInstalled(const SpeechModel& model) const;
    /// The embedded model, the catalogue and imported files. What is in use is told for `locale`.
    QList<SpeechModelStatus> list(const QString& locale = QStringLiteral("en-US")) const;
    /// The recogniser model to use for the locale: the one set, else the best installed one that knows it.
    /// None means the embedded recogniser.
    std::optional<SpeechModel> inUse(const QString& locale) const;
    /// The path of the voice detector's model file; empty when it is not installed.
    QString voiceModelPath() const;

    /// Downloads the model, going on where an earlier try ended, and verifies it. A second call for the same
    /// model fails while the first one runs.
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

    QList<SpeechModel> installedModels() const;
    std::optional<SpeechModel> installedModel(const QString& id) const;
    QList<SpeechModel> importedModels() const;
    QUrl address(const SpeechModel& model) const;

    Settings& m_settings;
    QString m_folder;
    QString m_embeddedPath;
    std::unique_ptr<Downloads> m_downloads;
};

}  // namespace lumbro::speech
