#include "LumbroSpeech/SpeechModels.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/InBackground.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/LockFile.h"
#include "LumbroCore/Trash.h"
#include "LumbroSpeech/ModelDownload.h"
#include "LumbroSpeech/PocketsphinxRecognizer.h"
#include "LumbroSpeech/WhisperFile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QNetworkAccessManager>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro::speech {

namespace {

const QString setting = u"speechModel"_s;
const QString prefix = u"ggml-"_s;
const QString suffix = u".bin"_s;

QString idOf(const QString& fileName) {
    return fileName.mid(prefix.size(), fileName.size() - prefix.size() - suffix.size());
}

QString defaultFolder() {
    const QString data = qEnvironmentVariable("XDG_DATA_HOME");
    return (QDir::isAbsolutePath(data) ? data : QDir::home().filePath(u".local/share"_s)) +
           u"/lumbro/models"_s;
}

qint64 folderSize(const QString& path) {
    qint64 bytes = 0;
    QDirIterator files(path, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        bytes += files.nextFileInfo().size();
    }
    return bytes;
}

bool knows(const SpeechModel& model, const QString& locale) {
    return model.kind == SpeechModel::Kind::recognizer && model.languages.contains(locale);
}

/// Held by whoever writes the ".part" of a model, since two processes would mix their bytes in it.
LockFile claimOn(const QString& target) {
    return LockFile(target + u".part.lock"_s);
}

std::unexpected<Failure> isBeingWritten(const QString& target) {
    return fail(u"%1 is being downloaded already; wait until that is done."_s.arg(
        idOf(QFileInfo(target).fileName())));
}

/// Copies by way of ".part", so that a copy that was cut off never looks like a model.
Result<QString> copyModel(const QString& from, const QString& to) {
    const LockFile claim = claimOn(to);
    if (!claim.isMine()) {
        return isBeingWritten(to);
    }
    const QString part = to + u".part"_s;
    QFile::remove(part);
    if (!QFile::copy(from, part)) {
        QFile::remove(part);
        return fail(u"%1 could not be copied into the models folder."_s.arg(QFileInfo(from).fileName()));
    }
    QFile::setPermissions(part, QFile::ReadOwner | QFile::WriteOwner);
    QFile::remove(to);
    return QFile::rename(part, to) ? Result<QString>(to)
                                   : Result<QString>(fail(u"%1 could not be written."_s.arg(to)));
}

Result<QString> importModel(const QString& from, const QString& folder) {
    const bool isVoice = isVoiceModelFile(from);
    const auto info = readWhisperFile(from);
    if (!isVoice && !info) {
        return std::unexpected(info.error());
    }
    if (!isVoice && info->tensors == 0) {
        return fail(FailureKind::speech,
                    u"%1 is a whisper model without its weights, so it would never give a word."_s.arg(
                        QFileInfo(from).fileName()));
    }
    QString name = isVoice ? u"ggml-silero-v6.2.0.bin"_s : QFileInfo(from).fileName();
    if (!name.startsWith(prefix)) {
        name.prepend(prefix);
    }
    if (!name.endsWith(suffix)) {
        name.append(suffix);
    }
    const QString target = QDir(folder).filePath(name);
    if (QFileInfo(from).canonicalFilePath() == QFileInfo(target).canonicalFilePath()) {
        return target;
    }
    return copyModel(from, target);
}

}  // namespace

struct SpeechModels::Downloads {
    QNetworkAccessManager network;
    QHash<QString, std::shared_ptr<ModelDownload>> running;
};

SpeechModels::SpeechModels(Settings& settings, const QString& folder, const QString& embeddedPath)
    : m_settings(settings),
      m_folder(folder.isEmpty() ? defaultFolder() : folder),
      m_embeddedPath(embeddedPath.isEmpty() ? PocketsphinxRecognizer::defaultModelPath() : embeddedPath),
      m_downloads(std::make_unique<Downloads>()) {}

SpeechModels::~SpeechModels() {
    for (const auto& download : std::as_const(m_downloads->running)) {
        download->cancel();
    }
}

QString SpeechModels::path(const SpeechModel& model) const {
    return QDir(m_folder).filePath(model.fileName);
}

bool SpeechModels::isInstalled(const SpeechModel& model) const {
    if (model.id == embedded().id) {
        return PocketsphinxRecognizer::isInstalled(m_embeddedPath);
    }
    return isSound(path(model), model.kind);
}

bool SpeechModels::isBroken(const SpeechModel& model) const {
    return model.id != embedded().id && QFileInfo(path(model)).isFile() && !isInstalled(model);
}

bool SpeechModels::isSound(const QString& filePath, SpeechModel::Kind kind) const {
    const QFileInfo file(filePath);
    if (!file.isFile()) {
        m_looks.remove(filePath);
        return false;
    }
    Look& look = m_looks[filePath];
    if (look.bytes != file.size() || look.changed != file.lastModified()) {
        const bool isVoice = kind == SpeechModel::Kind::voiceDetector;
        look = {file.size(), file.lastModified(),
                isVoice ? isVoiceModelFile(filePath) : readWhisperFile(filePath).has_value()};
    }
    return look.isSound;
}

std::optional<SpeechModel> SpeechModels::brokenChoice(const QString& locale) const {
    const QString wanted = m_settings.string(setting);
    const auto current = inUse(locale);
    if (wanted == (current ? current->id : embedded().id)) {
        return std::nullopt;
    }
    std::optional<SpeechModel> best;
    for (const SpeechModel& model : presentModels()) {
        if (model.kind != SpeechModel::Kind::recognizer || !isBroken(model)) {
            continue;
        }
        if (model.id == wanted) {
            return model;
        }
        if (model.rank > (best ? best->rank : current ? current->rank : embedded().rank)) {
            best = model;
        }
    }
    return best;
}

QList<SpeechModel> SpeechModels::importedModels() const {
    QList<SpeechModel> models;
    const auto files = QDir(m_folder).entryInfoList({prefix + u'*' + suffix}, QDir::Files, QDir::Name);
    for (const QFileInfo& file : files) {
        const QString id = idOf(file.fileName());
        if (find(id) != nullptr) {
            continue;
        }
        const auto info = readWhisperFile(file.filePath());
        const SpeechModel* like = find(info && info->isMultilingual ? u"base"_s : u"base.en"_s);
        models.append({.id = id,
                       .name = file.completeBaseName(),
                       .fileName = file.fileName(),
                       .kind = SpeechModel::Kind::recognizer,
                       .languages = info ? like->languages : QStringList(),
                       .bytes = file.size(),
                       .sha1 = {},
                       .rank = 0});
    }
    return models;
}

QList<SpeechModel> SpeechModels::presentModels() const {
    QList<SpeechModel> models = importedModels();
    for (const SpeechModel& model : catalogue()) {
        if (QFileInfo(path(model)).isFile()) {
            models.append(model);
        }
    }
    return models;
}

QList<SpeechModel> SpeechModels::installedModels() const {
    QList<SpeechModel> models = presentModels();
    models.removeIf([this](const SpeechModel& model) { return !isInstalled(model); });
    return models;
}

std::optional<SpeechModel> SpeechModels::presentModel(const QString& id) const {
    const auto models = presentModels();
    const auto found = std::ranges::find(models, id, &SpeechModel::id);
    return found == models.end() ? std::nullopt : std::optional(*found);
}

std::optional<SpeechModel> SpeechModels::inUse(const QString& locale) const {
    const QString wanted = m_settings.string(setting);
    if (wanted == embedded().id && embedded().languages.contains(locale)) {
        return std::nullopt;
    }
    std::optional<SpeechModel> best;
    for (const SpeechModel& model : installedModels()) {
        if (!knows(model, locale)) {
            continue;
        }
        if (model.id == wanted) {
            return model;
        }
        if (!best || model.rank > best->rank) {
            best = model;
        }
    }
    return best;
}

QList<SpeechModelStatus> SpeechModels::list(const QString& locale) const {
    const auto current = inUse(locale);
    QList<SpeechModelStatus> all;
    const auto add = [&](SpeechModel model) {
        const bool isHere = isInstalled(model);
        const bool isCurrent =
            current ? current->id == model.id : isHere && model.id == embedded().id && knows(model, locale);
        const bool isUnreadable = isBroken(model);
        all.append({std::move(model), isHere, isCurrent, isUnreadable});
    };
    SpeechModel builtIn = embedded();
    builtIn.bytes = folderSize(m_embeddedPath);
    add(builtIn);
    for (SpeechModel model : catalogue()) {
        const QFileInfo file(path(model));
        model.bytes = file.isFile() ? file.size() : model.bytes;
        add(std::move(model));
    }
    for (const SpeechModel& model : importedModels()) {
        add(model);
    }
    return all;
}

QString SpeechModels::voiceModelPath() const {
    for (const SpeechModel& model : catalogue()) {
        if (model.kind == SpeechModel::Kind::voiceDetector && isInstalled(model)) {
            return path(model);
        }
    }
    return {};
}

QUrl SpeechModels::address(const SpeechModel& model) const {
    QString base = m_settings.string(u"speechMirror"_s);
    if (base.isEmpty()) {
        base = model.kind == SpeechModel::Kind::voiceDetector
                   ? u"https://huggingface.co/ggml-org/whisper-vad/resolve/main"_s
                   : u"https://huggingface.co/ggerganov/whisper.cpp/resolve/main"_s;
    }
    return QUrl((base.endsWith(u'/') ? base : base + u'/') + model.fileName);
}

Task<Result<>> SpeechModels::install(QString id, Progress progress) {
    const SpeechModel* model = find(id);
    if (model == nullptr) {
        co_return fail(FailureKind::notFound, u"There is no speech model \"%1\"."_s.arg(id));
    }
    if (m_downloads->running.contains(id)) {
        co_return fail(u"%1 is being downloaded already."_s.arg(id));
    }
    if (!makePrivateFolder(m_folder)) {
        co_return fail(u"The models folder %1 cannot be made."_s.arg(m_folder));
    }
    const LockFile claim = claimOn(path(*model));
    if (!claim.isMine()) {
        co_return isBeingWritten(path(*model));
    }
    const QPointer<SpeechModels> self(this);
    const DownloadRequest request{address(*model), path(*model), model->sha1, model->sha1.isEmpty()};
    const auto download = std::make_shared<ModelDownload>(m_downloads->network, request, std::move(progress));
    m_downloads->running.insert(id, download);
    auto outcome = co_await download->run();
    const bool isSound = !outcome || isVoiceModelFile(request.target) || readWhisperFile(request.target);
    if (!isSound) {
        QFile::remove(request.target);
        outcome = fail(FailureKind::speech,
                       u"What was downloaded as %1 is no speech model; it was removed."_s.arg(id));
    }
    AppLog::info(u"speech"_s, outcome ? u"installed %1"_s.arg(id)
                                      : u"install of %1 failed: %2"_s.arg(id, outcome.error().message));
    if (self) {
        m_downloads->running.remove(id);
        Q_EMIT changed();
    }
    co_return outcome;
}

void SpeechModels::cancel(const QString& id) {
    if (const auto download = m_downloads->running.value(id)) {
        download->cancel();
    }
}

Task<Result<QString>> SpeechModels::importFile(QString path) {
    if (!makePrivateFolder(m_folder)) {
        co_return fail(u"The models folder %1 cannot be made."_s.arg(m_folder));
    }
    const QPointer<SpeechModels> self(this);
    const auto target =
        co_await inBackground([path, folder = m_folder] { return importModel(path, folder); });
    if (!target) {
        co_return target;
    }
    if (self) {
        Q_EMIT changed();
    }
    co_return idOf(QFileInfo(*target).fileName());
}

Result<> SpeechModels::remove(const QString& id) {
    if (id == embedded().id) {
        return fail(u"The built-in speech model belongs to the system; remove it with its package."_s);
    }
    const auto model = presentModel(id);
    if (!model) {
        return fail(FailureKind::notFound, u"The speech model \"%1\" is not installed."_s.arg(id));
    }
    const auto trashed = moveToTrash(path(*model));
    if (!trashed) {
        return std::unexpected(trashed.error());
    }
    if (m_settings.string(setting) == id) {
        m_settings.set(setting, QVariant());
    }
    Q_EMIT changed();
    return {};
}

Result<> SpeechModels::use(const QString& id) {
    const bool isEmbedded = id == embedded().id && isInstalled(embedded());
    const auto model = presentModel(id);
    if (model && isBroken(*model)) {
        return fail(FailureKind::speech,
                    u"The file of the speech model \"%1\" can't be read; install it again."_s.arg(id));
    }
    if (!id.isEmpty() && !isEmbedded && !(model && model->kind == SpeechModel::Kind::recognizer)) {
        return fail(FailureKind::notFound, u"The speech model \"%1\" is not installed."_s.arg(id));
    }
    m_settings.set(setting, id.isEmpty() ? QVariant() : QVariant(id));
    Q_EMIT changed();
    return {};
}

}  // namespace lumbro::speech
