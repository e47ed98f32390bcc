#include "LumbroCore/Literals.h"
#include "LumbroSpeech/SpeechModels.h"

#include <algorithm>
#include <vector>

namespace lumbro::speech {

namespace {

constexpr qint64 mebibyte = qint64(1024) * 1024;

const QStringList& english() {
    static const QStringList list{u"en-AU"_s, u"en-CA"_s, u"en-GB"_s, u"en-IN"_s, u"en-US"_s};
    return list;
}

// What the multilingual models write well enough to be of use.
const QStringList& many() {
    static const QStringList list =
        english() +
        u"ar bg bs ca cs da de el es et fa fi fr gl he hi hr hu id it ja kk ko lt lv mk ms nl no pl pt "
        "ro ru sk sl sr sv ta th tl tr uk ur vi zh-Hans zh-Hant"_s.split(u' ');
    return list;
}

SpeechModel whisper(const QString& id, const QString& name, bool isEnglish, qint64 mebibytes,
                    const QString& sha1, int rank) {
    return {.id = id,
            .name = name,
            .fileName = u"ggml-%1.bin"_s.arg(id),
            .kind = SpeechModel::Kind::recognizer,
            .languages = isEnglish ? english() : many(),
            .bytes = mebibytes * mebibyte,
            .sha1 = sha1,
            .rank = rank};
}

SpeechModel voiceDetector() {
    return {.id = u"silero-v6.2.0"_s,
            .name = u"Voice detector"_s,
            .fileName = u"ggml-silero-v6.2.0.bin"_s,
            .kind = SpeechModel::Kind::voiceDetector,
            .languages = {},
            .bytes = mebibyte,
            .sha1 = {},
            .rank = 0};
}

// The digests are those that whisper.cpp itself publishes with its list of models. Where it publishes none,
// the server's own SHA-256 of the file decides, and without that the size it announced.
std::vector<SpeechModel> makeCatalogue() {
    return {
        whisper(u"tiny.en-q5_1"_s, u"Tiny, English, compressed"_s, true, 31, {}, 0),
        whisper(u"tiny.en"_s, u"Tiny, English"_s, true, 75, u"c78c86eb1a8faa21b369bcd33207cc90d64ae9df"_s, 1),
        whisper(u"tiny"_s, u"Tiny"_s, false, 75, u"bd577a113a864445d4c299885e0cb97d4ba92b5f"_s, 1),
        whisper(u"base.en-q5_1"_s, u"Base, English, compressed"_s, true, 57, {}, 2),
        whisper(u"base.en"_s, u"Base, English"_s, true, 142, u"137c40403d78fd54d454da0f9bd998f78703390c"_s,
                3),
        whisper(u"base"_s, u"Base"_s, false, 142, u"465707469ff3a37a2b9b8d8f89f2f99de7299dac"_s, 3),
        whisper(u"small.en-q5_1"_s, u"Small, English, compressed"_s, true, 181, {}, 4),
        whisper(u"small.en"_s, u"Small, English"_s, true, 466, u"db8a495a91d927739e50b3fc1cc4c6b8f6c2d022"_s,
                5),
        whisper(u"small"_s, u"Small"_s, false, 466, u"55356645c2b361a969dfd0ef2c5a50d530afd8d5"_s, 5),
        whisper(u"medium.en-q5_0"_s, u"Medium, English, compressed"_s, true, 514, {}, 6),
        whisper(u"medium.en"_s, u"Medium, English"_s, true, 1463,
                u"8c30f0e44ce9560643ebd10bbe50cd20eafd3723"_s, 7),
        whisper(u"medium"_s, u"Medium"_s, false, 1463, u"fd9727b6e1217c2f614f9b698455c4ffd82463b4"_s, 7),
        whisper(u"large-v3-turbo-q5_0"_s, u"Large v3 turbo, compressed"_s, false, 547,
                u"e050f7970618a659205450ad97eb95a18d69c9ee"_s, 8),
        whisper(u"large-v3-turbo"_s, u"Large v3 turbo"_s, false, 1550,
                u"4af2b29d7ec73d781377bfd1758ca957a807e941"_s, 9),
        voiceDetector(),
    };
}

}  // namespace

std::span<const SpeechModel> SpeechModels::catalogue() {
    static const std::vector<SpeechModel> models = makeCatalogue();
    return models;
}

const SpeechModel* SpeechModels::find(const QString& id) {
    const auto models = catalogue();
    const auto found = std::ranges::find(models, id, &SpeechModel::id);
    return found == models.end() ? nullptr : &*found;
}

const SpeechModel& SpeechModels::embedded() {
    static const SpeechModel model{.id = u"pocketsphinx-en-us"_s,
                                   .name = u"US English, built in"_s,
                                   .fileName = {},
                                   .kind = SpeechModel::Kind::recognizer,
                                   .languages = {u"en-US"_s},
                                   .bytes = 0,
                                   .sha1 = {},
                                   .rank = -1};
    return model;
}

}  // namespace lumbro::speech
