#include "recording/audio/AudioArchive.h"
#include "recording/audio/FileAudioSource.h"
#include "recording/audio/MediaReader.h"
#include "recording/audio/TrackPipeline.h"
#include "tests/audio/Tones.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <QtEndian>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace lumbro;

namespace {

void record(const QString& file, double seconds) {
    TrackPipeline pipeline(file, {}, {});
    const std::vector<float> samples = test::tone(440, seconds, 16000, 1);
    pipeline.ingest({{16000, 1}, samples});
}

std::vector<float> decoded(const QString& file) {
    MediaReader reader;
    std::vector<float> all;
    if (reader.open(file)) {
        while (const auto piece = reader.read()) {
            all.insert(all.end(), piece->begin(), piece->end());
        }
    }
    return all;
}

/// Where the body of the data chunk of a track file begins.
qsizetype dataBegin(const QByteArray& caf) {
    return caf.indexOf("data") + 12;
}

}  // namespace

TEST(AudioArchive, packsEveryTrackOfAFolderAndNothingElse) {
    const test::ScratchFolder folder;
    record(folder.path(u"me.caf"_s), 21.5);
    record(folder.path(u"them.caf"_s), 2);
    folder.write(u"me.m4a"_s, "an old one");
    folder.write(u"them.partial.m4a"_s, "left by a crash");
    folder.write(u"notes.md"_s, "notes");
    folder.write(u"sub/me.caf"_s, "not mine");
    EXPECT_EQ(audioArchive::playableURL(folder.path(), u"them"_s), folder.path(u"them.caf"_s));

    test::wait(audioArchive::packAllInBackground(folder.path()));

    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files, QDir::Name),
              (QStringList{u"me.m4a"_s, u"notes.md"_s, u"them.m4a"_s}));
    EXPECT_EQ(folder.read(u"sub/me.caf"_s), "not mine");
    EXPECT_EQ(audioArchive::playableURL(folder.path(), u"them"_s), folder.path(u"them.m4a"_s));
    EXPECT_EQ(audioArchive::playableURL(folder.path(), u"other"_s), QString());

    const auto info = FileAudioSource::probe(folder.path(u"me.m4a"_s));
    ASSERT_TRUE(info) << qUtf8Printable(info.error().message);
    EXPECT_EQ(info->format, (AudioFormat{16000, 1}));
    EXPECT_NEAR(info->duration, 21.5, 0.1);
    const std::vector<float> heard = decoded(folder.path(u"me.m4a"_s));
    EXPECT_NEAR(double(heard.size()), 21.5 * 16000, 2048);
    EXPECT_NEAR(test::amplitudeOf(440, std::span(heard).subspan(16000, 16000)), 0.3, 0.02);
    struct stat status{};
    ASSERT_EQ(stat(folder.path(u"me.m4a"_s).toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(AudioArchive, anEmptyTrackIsDeletedAndAnUnreadableOneStays) {
    const test::ScratchFolder folder;
    record(folder.path(u"empty.caf"_s), 0);
    folder.write(u"broken.caf"_s, "caff\0\1 nothing that a recorder wrote");
    folder.write(u"nothing.caf"_s, "");
    folder.write(u"broken.partial.m4a"_s, "old");
    audioArchive::packAll(folder.path());
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files, QDir::Name),
              (QStringList{u"broken.caf"_s, u"nothing.caf"_s}));
}

TEST(AudioArchive, theHeaderOfAKilledRecorderIsNotBelieved) {
    const test::ScratchFolder folder;
    record(folder.path(u"whole.caf"_s), 2);
    const QByteArray whole = folder.read(u"whole.caf"_s);
    const qsizetype begin = dataBegin(whole);
    const auto withSize = [&](qint64 size) {
        QByteArray bytes = whole;
        qToBigEndian(size, bytes.data() + begin - 8);
        return bytes;
    };
    const std::vector<std::pair<QByteArray, size_t>> rows = {
        {whole, 32000},
        {withSize(-1), 32000},
        {withSize(0), 32000},
        {withSize(4), 32000},
        {withSize(4 + 3200), 32000},
        {withSize(qint64(1) << 60), 32000},
        {whole.left(begin + 4 + 1001), 500},
        {whole.left(begin + 4), 0},
        {whole.left(begin), 0},
        {whole + QByteArray("free\0\0\0\0\0\0\0\4abcd", 16), 32000},
    };
    for (size_t i = 0; i < rows.size(); ++i) {
        folder.write(u"row.caf"_s, rows[i].first);
        EXPECT_EQ(test::trackSamples(folder.path(u"row.caf"_s)).size(), rows[i].second) << "row " << i;
    }
}

TEST(AudioArchive, aFullDiskKeepsTheRecording) {
    const test::ScratchFolder folder;
    record(folder.path(u"me.caf"_s), 30);
    const QByteArray before = folder.read(u"me.caf"_s);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit small{40000, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const bool packed = audioArchive::pack(folder.path(u"me.caf"_s));
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_FALSE(packed);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{u"me.caf"_s});
    EXPECT_EQ(folder.read(u"me.caf"_s), before);
    EXPECT_TRUE(audioArchive::pack(folder.path(u"me.caf"_s)));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{u"me.m4a"_s});
}
