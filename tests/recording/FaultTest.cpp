#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Clock.h"
#include "library/ContextLibrary.h"
#include "recording/audio/AudioArchive.h"
#include "tests/recording/KnownSound.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/SoundFile.h"
#include "tests/support/Wait.h"

#include <QDirIterator>
#include <QProcess>
#include <QProcessEnvironment>
#include <QThread>

#include <random>

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <utime.h>

namespace lumbro {
namespace {

using test::soundOf;
using test::knownSound::rightSeconds;

/// What a recorder has said so far.
struct Progress {
    double audio = 0;
    int said = 0;
    QStringList notices;
    /// What was said at the end of words that are not on the disk.
    QString lost;
    bool isStopping = false;
    bool isPacked = false;
};

class Recorder {
  public:
    explicit Recorder(const QStringList& arguments) {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(RECORDER_PROGRAM), arguments);
    }
    /// Lets it run for a while, or until it is done or begins to stop.
    void run(std::chrono::milliseconds time, bool untilStopping = false) {
        QElapsedTimer elapsed;
        elapsed.start();
        while (!elapsed.hasExpired(time.count()) && m_process.state() != QProcess::NotRunning &&
               !(untilStopping && progress().isStopping)) {
            m_process.waitForReadyRead(
                static_cast<int>(std::max<qint64>(1, time.count() - elapsed.elapsed())));
            m_output += m_process.readAllStandardOutput();
        }
    }
    void kill() {
        m_process.kill();
        m_process.waitForFinished(-1);
        m_output += m_process.readAllStandardOutput();
    }
    bool endedWell() {
        m_process.waitForFinished(-1);
        m_output += m_process.readAllStandardOutput();
        return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
    }
    Progress progress() const {
        Progress progress;
        for (const QString& line : QString::fromUtf8(m_output).split(u'\n')) {
            const QString rest = line.section(u' ', 1);
            if (line.startsWith(u"audio ")) {
                progress.audio = rest.toDouble();
            } else if (line.startsWith(u"said ")) {
                progress.said = rest.toInt();
            } else if (line.startsWith(u"notice ")) {
                progress.notices.append(rest);
            } else if (line.startsWith(u"lost ")) {
                progress.lost = rest;
            }
            progress.isStopping |= line == u"stopping";
            progress.isPacked |= line == u"packed";
        }
        return progress;
    }

  private:
    QProcess m_process;
    QByteArray m_output;
};

QStringList tracksIn(const QString& root, const QString& pattern) {
    QStringList files;
    QDirIterator all(root, {pattern}, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (all.hasNext()) {
        files.append(all.next());
    }
    return files;
}

/// A start of the application some minutes later.
void startAgain(const QString& root) {
    QDirIterator all(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (all.hasNext()) {
        const utimbuf past{::time(nullptr) - 120, ::time(nullptr) - 120};
        utime(QFile::encodeName(all.next()).constData(), &past);
    }
    SystemClock clock;
    ContextLibrary::Hooks hooks;
    hooks.packTracks = audioArchive::packAll;
    ContextLibrary library(root, clock, hooks);
    library.bootstrap();
    EXPECT_TRUE(test::eventually([&] { return tracksIn(library.capturesFolder(), u"*.caf"_s).isEmpty(); }));
}

void expectAudioUpTo(const QString& folder, double seconds) {
    for (const int track : {0, 1}) {
        const QString file = audioArchive::playableURL(folder, track == 0 ? u"me"_s : u"them"_s);
        ASSERT_FALSE(file.isEmpty()) << "no audio after " << seconds << " s";
        const std::vector<float> sound = soundOf(file);
        const double length = static_cast<double>(sound.size()) / test::knownSound::rate;
        EXPECT_GE(length, seconds - 1);
        EXPECT_GE(rightSeconds(sound, track), static_cast<int>(length - 0.8));
    }
}

void expectTranscriptUpTo(const QString& folder, int said) {
    const TranscriptSegments segments =
        transcript::decode(readFile(folder + u"/transcript.json"_s).value_or(QByteArray()));
    if (segments.isEmpty()) {
        // The first flush comes after 8 s.
        EXPECT_LT(said, 10);
        return;
    }
    // One flush, and the moment that it takes.
    EXPECT_GE(segments.last().start, said - 9);
    for (qsizetype i = 0; i < segments.size(); ++i) {
        EXPECT_EQ(segments[i].text, u"second number %1"_s.arg(i + 1));
    }
}

void expectNothingStray(const QString& folder) {
    const QStringList known{u"meta.json"_s, u"transcript.json"_s, u"transcript.md"_s,
                            u"me.m4a"_s,    u"them.m4a"_s,        u".transcribing"_s};
    for (const QString& name : QDir(folder).entryList(QDir::Files | QDir::Hidden)) {
        EXPECT_TRUE(known.contains(name)) << name.toStdString();
    }
}

void killAndCheck(unsigned seed) {
    std::mt19937 random(seed);
    const test::ScratchFolder scratch;
    Recorder recorder({scratch.path(), u"20"_s, u"30"_s});
    if (seed % 3 == 0) {
        recorder.run(std::chrono::seconds(60), true);
        recorder.run(std::chrono::milliseconds(std::uniform_int_distribution(0, 400)(random)));
    } else {
        recorder.run(std::chrono::milliseconds(std::uniform_int_distribution(50, 1500)(random)));
    }
    recorder.kill();
    const Progress progress = recorder.progress();
    startAgain(scratch.path());
    const QStringList metas = tracksIn(scratch.path(u"captures"_s), u"meta.json"_s);
    // A capture with neither words nor sound is empty and goes to the Trash.
    if (metas.isEmpty()) {
        EXPECT_LT(progress.audio, 1.2);
        return;
    }
    const QString folder = QFileInfo(metas.first()).path();
    expectNothingStray(folder);
    expectTranscriptUpTo(folder, progress.said);
    expectAudioUpTo(folder, progress.audio);
}

int rounds() {
    return qEnvironmentVariableIntValue("LUMBRO_KILLS") > 0 ? qEnvironmentVariableIntValue("LUMBRO_KILLS")
                                                            : 5;
}

TEST(RecorderFaults, aKilledRecordingPlaysAndReadsUpToTheKill) {
    for (int seed = 1; seed <= rounds(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        killAndCheck(static_cast<unsigned>(seed));
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
}

/// The right audio at the beginning of both tracks, as long as there was room for it.
void expectAudioAtLeast(const QString& folder, int seconds) {
    EXPECT_GE(rightSeconds(soundOf(audioArchive::playableURL(folder, u"me"_s)), 0), seconds);
    EXPECT_GE(rightSeconds(soundOf(audioArchive::playableURL(folder, u"them"_s)), 1), seconds);
}

TEST(RecorderFaults, aTrackThatMayNotGrowIsToldOnceAndTheWordsGoOn) {
    const test::ScratchFolder scratch;
    // Room for 8 s of a track.
    Recorder recorder({scratch.path(), u"20"_s, u"30"_s, u"262144"_s});
    ASSERT_TRUE(recorder.endedWell());
    EXPECT_EQ(recorder.progress().notices.size(), 1) << recorder.progress().notices.join(u"; ").toStdString();
    EXPECT_TRUE(recorder.progress().isPacked);
    const QString folder = QFileInfo(tracksIn(scratch.path(), u"meta.json"_s).value(0)).path();
    expectNothingStray(folder);
    expectTranscriptUpTo(folder, recorder.progress().said + 8);
    expectAudioAtLeast(folder, 7);
}

/// A disk of a few bytes, where that may be made.
class SmallDisk {
  public:
    explicit SmallDisk(const QString& folder)
        : m_folder(QFile::encodeName(folder)),
          isThere(mount("tmpfs", m_folder.constData(), "tmpfs", 0, "size=1m") == 0) {}
    ~SmallDisk() {
        if (isThere) {
            umount2(m_folder.constData(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    void makeRoom() const {
        EXPECT_EQ(mount("tmpfs", m_folder.constData(), "tmpfs", MS_REMOUNT, "size=32m"), 0);
    }

  private:
    QByteArray m_folder;

  public:
    const bool isThere;
};

TEST(RecorderFaults, aFullDiskIsToldAndLosesNothingOfWhatWasThere) {
    const test::ScratchFolder scratch;
    const SmallDisk disk(scratch.path());
    if (!disk.isThere) {
        GTEST_SKIP() << "only the superuser may mount a small disk";
    }
    Recorder recorder({scratch.path(), u"20"_s, u"40"_s});
    EXPECT_TRUE(recorder.endedWell());
    EXPECT_EQ(recorder.progress().notices.size(), 1);
    EXPECT_TRUE(recorder.progress().notices.value(0).startsWith(u"The disk is full: "_s));
    const QString folder = QFileInfo(tracksIn(scratch.path(), u"meta.json"_s).value(0)).path();
    expectAudioAtLeast(folder, 10);
    // For the words and the end of the recording there was room that the audio could not take.
    const auto words = transcript::decodeWhole(*readFile(folder + u"/transcript.json"_s));
    ASSERT_TRUE(words);
    EXPECT_EQ(words->size(), recorder.progress().said);
    EXPECT_EQ(recorder.progress().lost, QString());
    const auto meta = CaptureMeta::fromBytes(*readFile(folder + u"/meta.json"_s));
    EXPECT_TRUE(meta && meta->endedAt);
    EXPECT_EQ(tracksIn(folder, u"*.partial.m4a"_s), QStringList());

    // With room again, the next start packs what was kept.
    disk.makeRoom();
    startAgain(scratch.path());
    expectNothingStray(folder);
    expectAudioAtLeast(folder, 10);
}

TEST(RecorderFaults, onceThereIsRoomAgainTheAudioGoesOnAtItsTime) {
    const test::ScratchFolder scratch;
    const SmallDisk disk(scratch.path());
    if (!disk.isThere) {
        GTEST_SKIP() << "only the superuser may mount a small disk";
    }
    // Long enough for a test that is held up to make room before the end.
    Recorder recorder({scratch.path(), u"20"_s, u"160"_s});
    while (recorder.progress().audio < 20) {
        recorder.run(std::chrono::milliseconds(10));
    }
    disk.makeRoom();
    EXPECT_TRUE(recorder.endedWell());
    EXPECT_EQ(recorder.progress().lost, QString());
    const QString folder = QFileInfo(tracksIn(scratch.path(), u"meta.json"_s).value(0)).path();
    expectNothingStray(folder);
    expectAudioAtLeast(folder, 10);
    for (const int track : {0, 1}) {
        const auto sound = soundOf(audioArchive::playableURL(folder, track == 0 ? u"me"_s : u"them"_s));
        EXPECT_FALSE(test::knownSound::isRight(sound, 18, track)) << "there was no room for it";
        EXPECT_TRUE(test::knownSound::isRight(sound, 155, track));
    }
}

TEST(RecorderFaults, aRecordingThatIsLeftAloneIsWhole) {
    const test::ScratchFolder scratch;
    Recorder recorder({scratch.path(), u"20"_s, u"20"_s});
    ASSERT_TRUE(recorder.endedWell());
    const QString folder = QFileInfo(tracksIn(scratch.path(), u"meta.json"_s).value(0)).path();
    expectNothingStray(folder);
    expectTranscriptUpTo(folder, recorder.progress().said + 8);
    expectAudioUpTo(folder, recorder.progress().audio + 0.9);
}

}  // namespace
}  // namespace lumbro
