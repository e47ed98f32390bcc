#include "recording/transcription/SpeechAssets.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "LumbroSpeech/FallbackRecognizer.h"
#include "LumbroSpeech/PocketsphinxRecognizer.h"
#include "LumbroSpeech/WhisperRecognizer.h"
#include "recording/transcription/SpeechError.h"

#include <QHash>
#include <QLocale>

#include <algorithm>
#include <thread>
#include <utility>

namespace lumbro {

namespace {

const QString fallbackLocale = u"en-US"_s;

/// The parts of a BCP 47 identifier that the choice looks at.
struct LocaleParts {
    QString language;
    QString script;
    QString region;
};

LocaleParts partsOf(const QString& identifier) {
    LocaleParts parts;
    const QStringList tags = QString(identifier).replace(u'_', u'-').split(u'-');
    if (tags.first().size() >= 2 && tags.first().size() <= 3) {
        parts.language = tags.first().toLower();
    }
    for (const QString& tag : tags.mid(1)) {
        if (tag.size() == 4 && tag[0].isLetter() && parts.script.isEmpty()) {
            parts.script = tag.toLower();
        } else if ((tag.size() == 2 || tag.size() == 3) && parts.region.isEmpty()) {
            parts.region = tag.toUpper();
        }
    }
    return parts;
}

SpeechAssets*& sharedAssets() {
    static SpeechAssets* assets = nullptr;
    return assets;
}

}  // namespace

SpeechAssets::SpeechAssets(Settings& settings, QString systemLocale)
    : SpeechAssets(settings, std::move(systemLocale), QString(), QString()) {}

SpeechAssets::SpeechAssets(Settings& settings, QString systemLocale, QString modelsFolder,
                           QString embeddedModel)
    : m_systemLocale(systemLocale.isEmpty() ? identifierOf(QLocale::system()) : std::move(systemLocale)),
      m_embeddedModel(embeddedModel.isEmpty() ? speech::PocketsphinxRecognizer::defaultModelPath()
                                              : std::move(embeddedModel)),
      m_models(settings, modelsFolder, m_embeddedModel) {}

SpeechAssets::~SpeechAssets() {
    if (sharedAssets() == this) {
        setShared(nullptr);
    }
}

SpeechAssets& SpeechAssets::shared() {
    Q_ASSERT(sharedAssets() != nullptr);
    return *sharedAssets();
}

void SpeechAssets::setShared(SpeechAssets* assets) {
    sharedAssets() = assets;
}

QString SpeechAssets::identifierOf(const QLocale& locale) {
    if (locale.language() == QLocale::C) {
        return {};
    }
    // The shortest name would leave out the customary region, and with it the accent.
    QStringList parts = locale.name().split(u'_');
    // By these the models know them.
    static const QHash<QString, QString> modelNames{
        {u"nb"_s, u"no"_s}, {u"nn"_s, u"no"_s}, {u"fil"_s, u"tl"_s}};
    parts.first() = modelNames.value(parts.first(), parts.first());
    if (locale.language() == QLocale::Chinese) {
        parts.insert(1, QLocale::scriptToCode(locale.script()));
    }
    return parts.join(u'-');
}

std::optional<QString> SpeechAssets::resolve(const QString& current, const QStringList& supported) {
    const auto same = std::ranges::find_if(
        supported, [&](const QString& locale) { return locale.compare(current, Qt::CaseInsensitive) == 0; });
    if (same != supported.end()) {
        return *same;
    }
    const LocaleParts wanted = partsOf(current);
    if (wanted.language.isEmpty()) {
        return std::nullopt;
    }
    QStringList candidates;
    std::ranges::copy_if(supported, std::back_inserter(candidates), [&](const QString& locale) {
        const LocaleParts parts = partsOf(locale);
        return parts.language == wanted.language &&
               (wanted.script.isEmpty() || parts.script == wanted.script);
    });
    candidates.sort();
    const auto near = std::ranges::find_if(
        candidates, [&](const QString& locale) { return partsOf(locale).region == wanted.region; });
    if (near != candidates.end()) {
        return *near;
    }
    return candidates.isEmpty() ? std::nullopt : std::optional(candidates.first());
}

QStringList SpeechAssets::supportedLocales() const {
    QStringList locales = speech::PocketsphinxRecognizer::locales();
    if (speech::WhisperRecognizer::isAvailable()) {
        for (const speech::SpeechModel& model : speech::SpeechModels::catalogue()) {
            locales += model.languages;
        }
    }
    locales.removeDuplicates();
    return locales;
}

QStringList SpeechAssets::installedLocales() const {
    QStringList locales;
    for (const auto& status : m_models.list()) {
        const bool isUsable = status.model.id == speech::SpeechModels::embedded().id ||
                              speech::WhisperRecognizer::isAvailable();
        if (status.isInstalled && isUsable) {
            locales += status.model.languages;
        }
    }
    locales.removeDuplicates();
    return locales;
}

std::optional<QString> SpeechAssets::resolvedLocale() const {
    const QStringList supported = supportedLocales();
    const auto own = resolve(m_systemLocale, supported);
    if (own) {
        return own;
    }
    return supported.contains(fallbackLocale) ? std::optional(fallbackLocale) : std::nullopt;
}

std::optional<QString> SpeechAssets::heardLocale(const QString& locale) const {
    const QStringList installed = installedLocales();
    if (installed.contains(locale)) {
        return locale;
    }
    // An accent of a language is heard well enough by a model of another one.
    return resolve(locale, installed);
}

QString SpeechAssets::usedLocale() const {
    const auto locale = resolvedLocale();
    return locale ? heardLocale(*locale).value_or(QString()) : QString();
}

bool SpeechAssets::isInstalled() const {
    return !usedLocale().isEmpty();
}

std::shared_ptr<speech::Recognizer> SpeechAssets::makeRecognizer(const QString& locale) const {
    const QString embeddedModel = m_embeddedModel;
    const auto makeEmbedded = [embeddedModel]() -> std::shared_ptr<speech::Recognizer> {
        return std::make_shared<speech::PocketsphinxRecognizer>(embeddedModel);
    };
    const auto model = speech::WhisperRecognizer::isAvailable() ? m_models.inUse(locale) : std::nullopt;
    if (!model) {
        return makeEmbedded();
    }
    speech::WhisperOptions options;
    options.modelPath = m_models.path(*model);
    options.voiceModelPath = m_models.voiceModelPath();
    options.language = partsOf(locale).language;
    options.threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()) / 2, 1, 4);
    auto whisper = std::make_shared<speech::WhisperRecognizer>(options);
    if (!speech::PocketsphinxRecognizer::locales().contains(locale)) {
        return whisper;
    }
    return std::make_shared<speech::FallbackRecognizer>(std::move(whisper), makeEmbedded);
}

QString SpeechAssets::choiceFor(const QString& locale) const {
    const auto model = m_models.inUse(locale);
    return locale + u' ' + (model ? model->id : speech::SpeechModels::embedded().id) + u' ' +
           m_models.voiceModelPath();
}

Task<std::optional<WarmSpeech>> SpeechAssets::warm() {
    const auto resolved = resolvedLocale();
    const auto locale = resolved ? heardLocale(*resolved) : std::nullopt;
    if (!locale) {
        co_return std::nullopt;
    }
    const QString choice = choiceFor(*locale);
    if (!m_warmed || m_warmedChoice != choice) {
        m_warmed = WarmSpeech{*locale, makeRecognizer(*locale)};
        m_warmedChoice = choice;
        AppLog::info(u"speech"_s, u"warmed %1"_s.arg(*locale));
    }
    // A copy, since a coroutine's result is moved from what it is given.
    const WarmSpeech warmed = *m_warmed;
    warmed.recognizer->readAhead();
    co_return warmed;
}

Task<Result<>> SpeechAssets::install(Progress progress) {
    const auto locale = resolvedLocale();
    if (!locale) {
        co_return std::unexpected(captureError::speech(u"language not supported"_s));
    }
    if (isInstalled()) {
        co_return Result<>();
    }
    const bool isEnglish = partsOf(*locale).language == u"en"_s;
    co_return co_await m_models.install(isEnglish ? u"base.en"_s : u"base"_s, std::move(progress));
}

}  // namespace lumbro
