#include "LumbroSpeech/PocketsphinxRecognizer.h"

#include "LumbroCore/Literals.h"
#include "LumbroSpeech/PocketsphinxDecoder.h"
#include "LumbroSpeech/ReadAhead.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <atomic>
#include <utility>
#include <vector>

namespace lumbro::speech {

namespace {

constexpr std::array modelFiles = {
    "cmudict-en-us.dict", "en-us.lm.bin",  "en-us/feat.params",         "en-us/mdef",      "en-us/means",
    "en-us/noisedict",    "en-us/sendump", "en-us/transition_matrices", "en-us/variances",
};

QString modelFile(const QString& modelPath, const char* name) {
    return QDir(modelPath).filePath(QString::fromLatin1(name));
}

}  // namespace

/// Loaded decoders that no stream uses, on the worker's thread but where said.
struct PocketsphinxRecognizer::Decoders {
    QString modelPath;
    std::vector<std::unique_ptr<UtteranceDecoder>> idle;
    /// Any thread.
    std::atomic<bool> isLoaded = false;

    Result<> take(std::unique_ptr<UtteranceDecoder>& out) {
        const auto filled = fill(1);
        if (filled) {
            out = std::move(idle.back());
            idle.pop_back();
        }
        return filled;
    }

    Result<> fill(int count) {
        while (std::ssize(idle) < count) {
            auto decoder = load();
            if (!decoder) {
                return std::unexpected(decoder.error());
            }
            idle.push_back(std::move(*decoder));
            isLoaded = true;
        }
        return {};
    }

    void letGo() {
        idle.clear();
        isLoaded = false;
    }

    Result<std::unique_ptr<UtteranceDecoder>> load() const {
        if (!isInstalled(modelPath)) {
            return fail(FailureKind::speech,
                        u"The speech model is missing; install the package pocketsphinx-en-us."_s);
        }
        return PocketsphinxDecoder::load(modelPath);
    }
};

PocketsphinxRecognizer::PocketsphinxRecognizer(QString modelPath, std::chrono::milliseconds kept)
    : m_decoders(std::make_shared<Decoders>()),
      m_worker(std::make_shared<RecognitionWorker>([decoders = m_decoders] { decoders->letGo(); }, kept)) {
    m_decoders->modelPath = std::move(modelPath);
}

PocketsphinxRecognizer::~PocketsphinxRecognizer() = default;

QString PocketsphinxRecognizer::defaultModelPath() {
    return u"/usr/share/pocketsphinx/model/en-us"_s;
}

bool PocketsphinxRecognizer::isInstalled(const QString& modelPath) {
    // The library ends the process on some missing files, so it is never let near an incomplete model.
    return std::ranges::all_of(modelFiles, [&](const char* name) {
        const QFileInfo file(modelFile(modelPath, name));
        return file.isFile() && file.isReadable() && file.size() > 0;
    });
}

QStringList PocketsphinxRecognizer::locales() {
    return {u"en-US"_s};
}

Task<Result<OpenedStream>> PocketsphinxRecognizer::open(RecognitionEvents events) {
    // Nothing of this object is used after the wait: it may be gone by then.
    const auto worker = m_worker;
    const auto decoders = m_decoders;
    const auto decoder = std::make_shared<std::unique_ptr<UtteranceDecoder>>();
    std::function<Result<>()> take = [decoders, decoder] { return decoders->take(*decoder); };
    const auto loaded = co_await worker->call(std::move(take));
    if (!loaded) {
        co_return std::unexpected(loaded.error());
    }
    const auto recycle = [decoders](std::unique_ptr<UtteranceDecoder> used) {
        used->forget();
        decoders->idle.push_back(std::move(used));
    };
    auto cutter = std::make_unique<UtteranceCutter>(std::make_unique<WebRtcVoiceDetector>());
    co_return OpenedStream(
        worker->openStream(std::move(cutter), std::move(*decoder), recycle, std::move(events)));
}

Task<Result<>> PocketsphinxRecognizer::warm(int streams) {
    const auto worker = m_worker;
    const auto decoders = m_decoders;
    std::function<Result<>()> fill = [decoders, streams] { return decoders->fill(streams); };
    co_return co_await worker->call(std::move(fill));
}

void PocketsphinxRecognizer::readAhead() {
    m_worker->post([modelPath = m_decoders->modelPath] {
        for (const char* name : modelFiles) {
            readFileAhead(modelFile(modelPath, name));
        }
    });
}

bool PocketsphinxRecognizer::isLoaded() const {
    return m_decoders->isLoaded;
}

}  // namespace lumbro::speech
