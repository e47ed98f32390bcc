#pragma once

#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "LumbroSpeech/Recognizer.h"
#include "LumbroSpeech/SpeechModels.h"
#include "recording/transcription/WarmSpeech.h"

#include <QLocale>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

/// Settles the language, whether a model for it is here, fetches one, and keeps a recogniser at hand so that
/// a capture starts at once. Main thread.
class SpeechAssets {
  public:
    /// Fraction done, 0 to 1.
    using Progress = std::function<void(double)>;
    /// `systemLocale` is a BCP 47 identifier; empty means the system's.
    explicit SpeechAssets(Settings& settings, QString systemLocale = {});
    /// With the model folders of a test.
    SpeechAssets(Settings& settings, QString systemLocale, QString modelsFolder, QString embeddedModel);
    ~SpeechAssets();

    static SpeechAssets& shared();
    /// Sets what `shared` gives. The object must outlive its use.
    static void setShared(SpeechAssets* assets);

    /// The BCP 47 identifier of a locale, with its region; Chinese with its script. Empty for the C locale.
    static QString identifierOf(const QLocale& locale);

    /// The supported locale to use for `current`, by the rules of language, script and region; none when no
    /// supported one has its language.
    static std::optional<QString> resolve(const QString& current, const QStringList& supported);

    /// Locales of all models, those that could be installed included.
    QStringList supportedLocales() const;
    /// Locales that work without a download.
    QStringList installedLocales() const;
    /// The locale of transcription: the user's own, else US English; none when neither is supported.
    std::optional<QString> resolvedLocale() const;
    /// The locale whose models hear the resolved one: that or another accent. Empty when none is installed.
    QString usedLocale() const;
    /// Whether a model for the resolved locale is here.
    bool isInstalled() const;
    /// The recogniser for the resolved locale, none when no model for it is installed. Its model loads when
    /// a stream is opened; until then only its files are read ahead. Later calls give the same one until the
    /// model in use changes.
    Task<std::optional<WarmSpeech>> warm();
    /// Downloads a model for the resolved locale. Does nothing when one is there.
    Task<Result<>> install(Progress progress = {});
    /// The model files, for listing, installing and choosing them.
    speech::SpeechModels& models() { return m_models; }

  private:
    std::shared_ptr<speech::Recognizer> makeRecognizer(const QString& locale) const;
    std::optional<QString> heardLocale(const QString& locale) const;
    QString choiceFor(const QString& locale) const;

    QString m_systemLocale;
    QString m_embeddedModel;
    speech::SpeechModels m_models;
    std::optional<WarmSpeech> m_warmed;
    QString m_warmedChoice;
};

}  // namespace lumbro
