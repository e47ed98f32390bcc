#include "LumbroCore/Literals.h"
#include "LumbroSpeech/PocketsphinxRecognizer.h"
#include "LumbroSpeech/WhisperRecognizer.h"
#include "recording/transcription/SpeechAssets.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

namespace lumbro {
namespace {

TEST(SpeechAssetsTest, theLocaleIsChosenByLanguageScriptAndRegion) {
    struct Row {
        QString current;
        QStringList supported;
        std::optional<QString> chosen;
    };
    const std::vector<Row> rows = {
        {u"en-GB"_s, {u"en-US"_s, u"en-GB"_s}, u"en-GB"_s},
        {u"fr-CH"_s, {u"fr-FR"_s, u"fr-CA"_s}, u"fr-CA"_s},
        {u"fr-Latn-FR"_s, {u"fr-CA"_s, u"fr-Latn-FR"_s}, u"fr-Latn-FR"_s},
        {u"zh-Hant-TW"_s, {u"zh-Hans-CN"_s}, std::nullopt},
        {u"zh-TW"_s, {u"zh-Hans-CN"_s, u"zh-Hant-TW"_s}, u"zh-Hant-TW"_s},
        {u"de-DE"_s, {u"de"_s, u"en-US"_s}, u"de"_s},
        {u"de_AT"_s, {u"de-AT"_s}, u"de-AT"_s},
        {u"C"_s, {u"en-US"_s}, std::nullopt},
        {QString(), {u"en-US"_s}, std::nullopt},
        {u"sv-SE"_s, {}, std::nullopt},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(SpeechAssets::resolve(row.current, row.supported), row.chosen) << qPrintable(row.current);
    }
}

TEST(SpeechAssetsTest, aSystemsLocaleKeepsItsRegion) {
    for (const auto& [name, identifier] : std::initializer_list<std::pair<QString, QString>>{
             {u"en_US"_s, u"en-US"_s},
             {u"de_AT"_s, u"de-AT"_s},
             {u"zh_TW"_s, u"zh-Hant-TW"_s},
             {u"zh_CN"_s, u"zh-Hans-CN"_s},
             {u"sr_RS"_s, u"sr-RS"_s},
             {u"nb_NO"_s, u"no-NO"_s},
             {u"fil_PH"_s, u"tl-PH"_s},
             {u"C"_s, QString()},
         }) {
        EXPECT_EQ(SpeechAssets::identifierOf(QLocale(name)), identifier);
    }
}

class SpeechAssetsFolderTest : public testing::Test {
  protected:
    test::ScratchFolder folder;
    Settings settings{folder.path(u"settings.ini"_s)};
};

TEST_F(SpeechAssetsFolderTest, anUnknownLanguageGetsEnglishAndNothingInstalledIsSaid) {
    SpeechAssets assets(settings, u"tlh"_s, folder.path(u"models"_s), folder.path(u"absent"_s));
    EXPECT_EQ(assets.resolvedLocale(), u"en-US"_s);
    EXPECT_FALSE(assets.isInstalled());
    EXPECT_FALSE(test::wait(assets.warm()).has_value());
}

TEST_F(SpeechAssetsFolderTest, anotherAccentIsHeardByTheModelThatIsThere) {
    if (!speech::PocketsphinxRecognizer::isInstalled()) {
        GTEST_SKIP() << "the package pocketsphinx-en-us is not installed";
    }
    SpeechAssets assets(settings, u"en-GB"_s, folder.path(u"models"_s), QString());
    ASSERT_TRUE(assets.isInstalled());
    const auto warmed = test::wait(assets.warm());
    ASSERT_TRUE(warmed);
    EXPECT_EQ(warmed->locale, speech::WhisperRecognizer::isAvailable() ? u"en-US"_s : warmed->locale);
    EXPECT_EQ(test::wait(assets.warm()), warmed) << "the loaded recogniser is kept";
}

TEST_F(SpeechAssetsFolderTest, aBrokenModelFileFallsBackToTheEmbeddedRecogniser) {
    if (!speech::PocketsphinxRecognizer::isInstalled() || !speech::WhisperRecognizer::isAvailable()) {
        GTEST_SKIP() << "needs the package pocketsphinx-en-us and a build with whisper";
    }
    folder.write(u"models/ggml-base.en.bin"_s, QByteArray(1000, 'x'));
    SpeechAssets assets(settings, u"en-US"_s, folder.path(u"models"_s), QString());
    const auto warmed = test::wait(assets.warm());
    ASSERT_TRUE(warmed);
    speech::RecognitionEvents events;
    const auto opened = test::wait(warmed->recognizer->open(events));
    ASSERT_TRUE(opened);
    EXPECT_NE(opened->stream, nullptr);
}

}  // namespace
}  // namespace lumbro
