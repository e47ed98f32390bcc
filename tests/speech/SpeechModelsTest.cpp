#include "LumbroCore/Literals.h"
#include "LumbroCore/LockFile.h"
#include "LumbroSpeech/ModelDownload.h"
#include "LumbroSpeech/SpeechModels.h"
#include "tests/speech/ModelServer.h"
#include "tests/speech/SpeechData.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

namespace lumbro::speech {
namespace {

/// As many tensors as a tiny model has, each of one number.
QByteArray tinyTensors() {
    constexpr int count = 11 + (15 * 4) + (24 * 4);
    const QByteArray tensor = QByteArray::fromHex(
                                  "01000000"
                                  "01000000"
                                  "00000000"
                                  "01000000") +
                              "a" + QByteArray(4, '\0');
    return tensor.repeated(count);
}

class ModelDownloadTest : public testing::Test {
  public:
    ModelDownloadTest() {
        for (int i = 0; i < 300'000; ++i) {
            server.content.append(char(i * 7 + i / 256));
        }
    }

    Result<> download(const QString& sha1 = {}) {
        const DownloadRequest request{QUrl(server.address() + u"/model.bin"_s), target, sha1, needsHttps};
        const auto run = std::make_shared<ModelDownload>(network, request, [this](double done) {
            EXPECT_GE(done, progress);
            progress = done;
        });
        progress = 0;
        return test::wait(run->run());
    }
    QString sha1() const { return hash(QCryptographicHash::Sha1); }
    QString hash(QCryptographicHash::Algorithm algorithm) const {
        return QString::fromLatin1(QCryptographicHash::hash(server.content, algorithm).toHex());
    }

    test::ScratchFolder folder;
    test::ModelServer server;
    QNetworkAccessManager network;
    QString target = folder.path(u"model.bin"_s);
    bool needsHttps = false;
    double progress = 0;
};

TEST_F(ModelDownloadTest, aFileComesWhole) {
    EXPECT_TRUE(download(sha1()));
    EXPECT_EQ(folder.read(u"model.bin"_s), server.content);
    EXPECT_FALSE(folder.has(u"model.bin.part"_s));
    EXPECT_DOUBLE_EQ(progress, 1);
}

TEST_F(ModelDownloadTest, aDroppedConnectionIsResumedWhereItEnded) {
    server.cutAfter = 100'000;
    const auto dropped = download(sha1());
    ASSERT_FALSE(dropped);
    EXPECT_TRUE(dropped.error().message.contains(u"interrupted"_s)) << qPrintable(dropped.error().message);
    EXPECT_FALSE(folder.has(u"model.bin"_s));
    const qint64 have = folder.read(u"model.bin.part"_s).size();
    EXPECT_GT(have, 0);
    server.cutAfter = -1;
    EXPECT_TRUE(download(sha1()));
    EXPECT_EQ(server.ranges.last(), QByteArray::number(have));
    EXPECT_EQ(folder.read(u"model.bin"_s), server.content);
}

TEST_F(ModelDownloadTest, serversWithoutRangesAndFinishedPartsAreServedToo) {
    folder.write(u"model.bin.part"_s, "stale bytes of something else");
    server.knowsRanges = false;
    EXPECT_TRUE(download(sha1()));
    EXPECT_EQ(folder.read(u"model.bin"_s), server.content);
    server.knowsRanges = true;
    folder.write(u"model.bin.part"_s, server.content);
    EXPECT_TRUE(download(sha1()));
    EXPECT_EQ(folder.read(u"model.bin"_s), server.content);
}

TEST_F(ModelDownloadTest, wrongBytesLeaveNothingBehind) {
    struct Row {
        const char* what;
        QString sha1;
        QByteArray headers;
        bool isRight;
    };
    const QByteArray right = hash(QCryptographicHash::Sha256).toLatin1();
    const std::vector<Row> rows = {
        {"known digest is another", QString(40, u'0'), {}, false},
        {"the server's tag is another", {}, "ETag: \"" + QByteArray(64, 'a') + "\"\r\n", false},
        {"the server's tag fits", {}, "x-linked-etag: \"" + right + "\"\r\n", true},
        {"a tag that is no digest", {}, "ETag: \"abc\"\r\n", true},
        {"the known digest goes first", sha1(), "ETag: \"" + QByteArray(64, 'a') + "\"\r\n", true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        QFile::remove(target);
        server.headers = row.headers;
        EXPECT_EQ(download(row.sha1).has_value(), row.isRight);
        EXPECT_EQ(folder.has(u"model.bin"_s), row.isRight);
        EXPECT_FALSE(folder.has(u"model.bin.part"_s));
    }
}

TEST_F(ModelDownloadTest, refusalsAndRedirectsEndInASentence) {
    server.status = "404 Not Found";
    EXPECT_EQ(download().error().kind, FailureKind::notFound);
    server.status = "503 Busy";
    EXPECT_TRUE(download().error().message.contains(u"503"_s));
    server.status = "302 Found";
    server.headers = "Location: /model.bin\r\n";
    EXPECT_FALSE(download());
    server.headers = "Location: file:///etc/passwd\r\n";
    EXPECT_FALSE(download());
    EXPECT_FALSE(folder.has(u"model.bin"_s));

    test::ModelServer other;
    other.content = "the file";
    server.headers = "Location: " + other.address().toLatin1() + "/real.bin\r\n";
    EXPECT_TRUE(download());
    EXPECT_EQ(folder.read(u"model.bin"_s), other.content);
}

TEST_F(ModelDownloadTest, whatNeedsHttpsIsNotAskedForOtherwise) {
    needsHttps = true;
    const auto refused = download();
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().message.contains(u"https"_s)) << qPrintable(refused.error().message);
    EXPECT_TRUE(server.paths.isEmpty());
}

TEST_F(ModelDownloadTest, aCancelledRunSaysSo) {
    const auto run = std::make_shared<ModelDownload>(
        network, DownloadRequest{QUrl(server.address() + u"/model.bin"_s), target, {}, false}, nullptr);
    auto running = run->run();
    run->cancel();
    const auto outcome = test::wait(std::move(running));
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().kind, FailureKind::cancelled);
}

class SpeechModelsTest : public testing::Test {
  public:
    SpeechModelStatus status(const QString& id) const {
        for (const auto& row : models.list()) {
            if (row.model.id == id) {
                return row;
            }
        }
        return {};
    }

    test::ScratchFolder folder;
    Settings settings{folder.path(u"settings.ini"_s)};
    SpeechModels models{settings, folder.path(u"models"_s)};
};

TEST_F(SpeechModelsTest, theCatalogueIsSound) {
    QSet<QString> ids;
    int lastRank = 0;
    for (const SpeechModel& model : SpeechModels::catalogue()) {
        EXPECT_FALSE(ids.contains(model.id)) << qPrintable(model.id);
        ids.insert(model.id);
        EXPECT_TRUE(model.sha1.isEmpty() || model.sha1.size() == 40);
        EXPECT_GT(model.bytes, 0);
        if (model.kind == SpeechModel::Kind::recognizer) {
            EXPECT_GE(model.rank, lastRank);
            lastRank = model.rank;
            EXPECT_TRUE(model.languages.contains(u"en-US"_s));
        }
    }
}

TEST_F(SpeechModelsTest, theMirrorIsAskedForWhatCanBeVerified) {
    test::ModelServer mirror;
    mirror.content = "<html>please log in</html>";
    settings.set(u"speechMirror"_s, mirror.address() + u"/models"_s);
    EXPECT_FALSE(test::wait(models.install(u"base.en"_s))) << "the digest is another";
    EXPECT_EQ(mirror.paths, QList<QByteArray>{"/models/ggml-base.en.bin"});
    EXPECT_FALSE(folder.has(u"models/ggml-base.en.bin"_s));
    for (const SpeechModel& model : SpeechModels::catalogue()) {
        if (model.sha1.isEmpty()) {
            EXPECT_FALSE(test::wait(models.install(model.id))) << qPrintable(model.id);
        }
    }
    EXPECT_EQ(mirror.paths.size(), 1) << "nobody else vouches for a file without a digest";
    EXPECT_FALSE(test::wait(models.install(u"no such model"_s)));
}

TEST_F(SpeechModelsTest, twoProcessesNeverWriteTheSameFile) {
    test::ModelServer mirror;
    settings.set(u"speechMirror"_s, mirror.address());
    folder.write(u"models/ggml-base.en.bin.part"_s, "what has come");
    {
        const LockFile other(folder.path(u"models/ggml-base.en.bin.part.lock"_s));
        const auto refused = test::wait(models.install(u"base.en"_s));
        ASSERT_FALSE(refused);
        EXPECT_TRUE(refused.error().message.contains(u"being downloaded already"_s));
    }
    EXPECT_TRUE(mirror.paths.isEmpty());
    EXPECT_EQ(folder.read(u"models/ggml-base.en.bin.part"_s), "what has come");
    EXPECT_FALSE(test::wait(models.install(u"base.en"_s))) << "the digest is another";
    EXPECT_EQ(mirror.paths.size(), 1);
}

TEST_F(SpeechModelsTest, noModelIsInUseForALanguageThatNoneKnows) {
    const auto isUsed = [](const SpeechModelStatus& row) { return row.isInUse; };
    EXPECT_TRUE(std::ranges::none_of(models.list(u"de"_s), isUsed));
    EXPECT_TRUE(std::ranges::none_of(models.list(QString()), isUsed));
}

TEST_F(SpeechModelsTest, aFileThatCannotBeReadIsNeverInUse) {
    const QString locale = u"en-US"_s;
    const QByteArray whole =
        readFile(test::testModel(u"for-tests-ggml-tiny.en.bin"_s)).value_or(QByteArray());
    for (const QByteArray& bytes : {QByteArray(), QByteArray(1000, 'x'), whole.left(whole.size() / 2)}) {
        folder.write(u"models/ggml-base.en.bin"_s, bytes);
        folder.write(u"models/ggml-own.bin"_s, bytes);
        settings.set(u"speechModel"_s, u"base.en"_s);
        for (const QString& id : {u"base.en"_s, u"own"_s}) {
            EXPECT_TRUE(status(id).isBroken);
            EXPECT_FALSE(status(id).isInstalled || status(id).isInUse);
            const auto used = models.use(id);
            ASSERT_FALSE(used);
            EXPECT_TRUE(used.error().message.contains(u"can't be read"_s))
                << qPrintable(used.error().message);
        }
        EXPECT_FALSE(models.inUse(locale));
        ASSERT_TRUE(models.brokenChoice());
        EXPECT_EQ(models.brokenChoice()->id, u"base.en"_s);
    }
    EXPECT_TRUE(models.remove(u"base.en"_s)) << "what is broken can be removed";
    EXPECT_FALSE(status(u"base.en"_s).isBroken);
    EXPECT_EQ(models.brokenChoice()->id, u"own"_s) << "the best one here, had it been whole";
    settings.set(u"speechModel"_s, SpeechModels::embedded().id);
    EXPECT_FALSE(models.brokenChoice());
    settings.set(u"speechModel"_s, QVariant());
    if (!whole.isEmpty()) {
        folder.write(u"models/ggml-own.bin"_s, whole);
        EXPECT_EQ(models.inUse(locale)->id, u"own"_s) << "a file that was mended is looked at again";
    }
}

TEST_F(SpeechModelsTest, modelsAreImportedChosenAndRemoved) {
    const QString file = test::testModel(u"for-tests-ggml-tiny.en.bin"_s);
    if (file.isEmpty()) {
        GTEST_SKIP() << "the whisper test model is not on this machine";
    }
    const QString locale = u"en-US"_s;
    EXPECT_FALSE(models.inUse(locale));
    EXPECT_FALSE(test::wait(models.importFile(QStringLiteral(LUMBRO_SOURCE_DIR "/CMakeLists.txt"))));
    const auto weightless = test::wait(models.importFile(file));
    ASSERT_FALSE(weightless);
    EXPECT_TRUE(weightless.error().message.contains(u"without its weights"_s));
    EXPECT_FALSE(models.inUse(locale));
    folder.write(u"own.bin"_s, readFile(file).value_or(QByteArray()) + tinyTensors());
    const auto imported = test::wait(models.importFile(folder.path(u"own.bin"_s)));
    ASSERT_TRUE(imported);
    EXPECT_EQ(models.inUse(locale)->id, *imported);
    EXPECT_FALSE(models.inUse(u"de"_s)) << "an English model knows no German";
    EXPECT_TRUE(QFile::copy(file, folder.path(u"models/ggml-small.en.bin"_s)));
    EXPECT_EQ(models.inUse(locale)->id, u"small.en"_s) << "the best one installed";
    EXPECT_TRUE(models.use(*imported));
    EXPECT_TRUE(status(*imported).isInUse);
    EXPECT_FALSE(models.use(u"medium.en"_s)) << "not installed";
    EXPECT_TRUE(models.use(SpeechModels::embedded().id));
    EXPECT_FALSE(models.inUse(locale));
    EXPECT_TRUE(models.use(*imported));
    EXPECT_FALSE(models.remove(SpeechModels::embedded().id));
    EXPECT_TRUE(models.remove(*imported));
    EXPECT_EQ(settings.string(u"speechModel"_s), QString());
    EXPECT_EQ(models.inUse(locale)->id, u"small.en"_s);
    EXPECT_FALSE(models.remove(*imported));
}

}  // namespace
}  // namespace lumbro::speech
