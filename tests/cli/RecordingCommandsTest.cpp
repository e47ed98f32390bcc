#include "tests/cli/CommandLine.h"
#include "tests/support/Wait.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <csignal>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

QString spoken(const QJsonObject& capture, const QString& speaker) {
    QStringList texts;
    for (const auto& segment : capture.value(u"segments"_s).toArray()) {
        if (segment.toObject().value(u"speaker"_s) == speaker) {
            texts += segment.toObject().value(u"text"_s).toString();
        }
    }
    return texts.join(u' ').toLower();
}

// Half a second of silence: a WAV head of 16 kHz, 16 bit, one channel.
QByteArray silence() {
    return QByteArray::fromHex(
               "524946468c3e000057415645666d74201000000001000100803e0000007d000002001000"
               "64617461803e0000") +
           QByteArray(16000, '\0');
}

}  // namespace

TEST(RecordingCommands, importEndsWithNotesTitleAndPackedAudio) {
    CommandLine line;
    line.installAgent();
    line.set(u"LUMBRO_NOW"_s, u"2026-03-05T10:00:00"_s);
    const Finished run =
        line.run({u"import"_s, CommandLine::demoSide(u"me"_s), u"--them"_s, CommandLine::demoSide(u"them"_s),
                  u"--at"_s, u"2026-03-02T09:14"_s, u"--json"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    const QJsonObject capture = run.object();
    EXPECT_EQ(capture.value(u"id"_s), u"2026-03-02-0914-meeting"_s);
    EXPECT_EQ(capture.value(u"title"_s), u"Weekly Sync"_s);
    EXPECT_EQ(capture.value(u"sources"_s).toArray(), QJsonArray({u"mic"_s, u"system"_s}));
    EXPECT_TRUE(spoken(capture, u"Me"_s).contains(u"rather cold hearted"_s)) << qPrintable(run.output);
    EXPECT_TRUE(spoken(capture, u"Them"_s).contains(u"young man"_s)) << qPrintable(run.output);
    EXPECT_TRUE(capture.value(u"handoffs"_s).toObject().value(u"notes"_s).toString().contains(u"Summary"_s));
    const QJsonObject audio = capture.value(u"audio"_s).toObject();
    EXPECT_TRUE(audio.value(u"me"_s).toString().endsWith(u"/me.m4a"_s));
    EXPECT_TRUE(audio.value(u"them"_s).toString().endsWith(u"/them.m4a"_s));
    // The length of the audio, not of the import.
    const auto start = QDateTime::fromString(capture.value(u"startedAt"_s).toString(), Qt::ISODate);
    const auto end = QDateTime::fromString(capture.value(u"endedAt"_s).toString(), Qt::ISODate);
    EXPECT_NEAR(double(start.secsTo(end)), 30.5, 1);
    // The memory learns of it today, whenever it was recorded.
    const QJsonObject meta =
        json::object(line.home().read(u"Quillet/captures/2026-03-02-0914-meeting/meta.json"_s));
    const auto memorized = QDateTime::fromString(meta.value(u"memorizedAt"_s).toString(), Qt::ISODate);
    EXPECT_EQ(memorized.toLocalTime(), QDateTime(QDate(2026, 3, 5), QTime(10, 0)));
}

TEST(RecordingCommands, recordTakesFilesAndATitleAndPrintsTheId) {
    CommandLine line;
    line.set(u"LUMBRO_NOW"_s, u"2026-03-02T09:14:05"_s);
    const Finished run = line.run({u"record"_s, u"--mic"_s, u"file:"_s + CommandLine::demoSide(u"them"_s),
                                   u"--kind"_s, u"thought"_s, u"--title"_s, u"Jane"_s, u"--fast"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_EQ(run.output, u"2026-03-02-0914-thought\n"_s);
    const QJsonObject capture = line.run({u"show"_s, u"last"_s, u"--json"_s}).object();
    EXPECT_EQ(capture.value(u"title"_s), u"Jane"_s);
    EXPECT_EQ(capture.value(u"sources"_s).toArray(), QJsonArray({u"mic"_s}));
    EXPECT_TRUE(line.home()
                    .read(u"Quillet/captures/2026-03-02-0914-thought/transcript.md"_s)
                    .startsWith("# Jane\n\n[00:00:0"));
}

TEST(RecordingCommands, keepTheCaptureAndSayWhyThereAreNoNotes) {
    const CommandLine line;
    const Finished run = line.run({u"import"_s, CommandLine::demoSide(u"me"_s)});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_TRUE(run.errors.contains(u"Claude Code"_s)) << qPrintable(run.errors);
    EXPECT_EQ(run.errors.count(u"The memory was not updated either. Later: "_s), 1) << qPrintable(run.errors);
    EXPECT_EQ(run.errors.count(u"note: "_s), 2) << qPrintable(run.errors);
    const QJsonObject capture = line.run({u"show"_s, u"last"_s, u"--json"_s}).object();
    EXPECT_GT(capture.value(u"words"_s).toInt(), 20);
    EXPECT_TRUE(capture.value(u"handoffs"_s).toObject().isEmpty());
}

TEST(RecordingCommands, sayBeforehandThatALanguageHasNoModel) {
    CommandLine line;
    line.set(u"LC_ALL"_s, u"de_DE.UTF-8"_s);
    const Finished run = line.run({u"import"_s, CommandLine::demoSide(u"me"_s)});
    EXPECT_TRUE(run.errors.contains(u"No speech model for de"_s)) << qPrintable(run.errors);
    EXPECT_TRUE(run.errors.contains(u"`lumbro speech list`"_s)) << qPrintable(run.errors);
    EXPECT_FALSE(run.errors.contains(u"downloading"_s)) << "nothing is";
    const QByteArray log = line.home().read(u"Library/Logs/Quillet/handoff.log"_s);
    EXPECT_TRUE(log.contains("[capture] me from the file me.flac, as fast as it goes")) << log.constData();
    EXPECT_FALSE(log.contains("capture-mic")) << "no microphone has a part in it";
}

TEST(RecordingCommands, theDemoIsHeardInEveryLocale) {
    CommandLine line;
    line.set(u"LC_ALL"_s, u"de_DE.UTF-8"_s);
    line.set(u"TMPDIR"_s, line.home().path());
    const Finished run = line.run({u"demo"_s, u"--json"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_TRUE(spoken(run.object(), u"Them"_s).contains(u"young man"_s)) << qPrintable(run.output);
    // No agent is there, so that it is said how to get the notes later, of this library.
    EXPECT_TRUE(run.errors.contains(u"QUILLET_ROOT=%1/lumbro-demo-"_s.arg(line.home().path())));
    EXPECT_TRUE(run.errors.contains(CommandLine::program() + u" engine-run "_s)) << qPrintable(run.errors);
}

TEST(RecordingCommands, sayNothingOfRecordingBeforeItHasBegun) {
    const CommandLine line;
    const Finished run = line.run({u"record"_s});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              u"lumbro: No audio server answers. Start PipeWire or PulseAudio, then try again.\n"_s);
    EXPECT_EQ(line.run({u"captures"_s, u"--json"_s}).output, u"[]\n"_s);
}

TEST(RecordingCommands, sayWhereCtrlCStoppedTheFiles) {
    const CommandLine line;
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.start(CommandLine::program(),
                  {u"record"_s, u"--mic"_s, u"file:"_s + CommandLine::demoSide(u"me"_s)});
    const auto hasAudio = [&line] {
        const QStringList found =
            QDir(line.home().path(u"Quillet/captures"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        return !found.isEmpty() &&
               QFileInfo(line.home().path(u"Quillet/captures/%1/me.caf"_s.arg(found.first()))).size() >
                   5 * 16000 * 2;
    };
    // Long before the end of the file.
    ASSERT_TRUE(eventually(hasAudio));
    ::kill(pid_t(process.processId()), SIGINT);
    process.waitForFinished(-1);
    const QString errors = QString::fromUtf8(process.readAllStandardError());
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_TRUE(errors.contains(
        QRegularExpression(u"stopped at 0:\\d\\d of 0:3\\d; what was heard until then is kept"_s)))
        << qPrintable(errors);
}

TEST(RecordingCommands, endingAtOnceLeavesNoAgentBehindThatIgnoresTheRequest) {
    const CommandLine line;
    const QString agent = line.home().path(u".local/bin/claude"_s);
    line.home().write(u".local/bin/claude"_s,
                      "#!/bin/sh\ntrap '' TERM HUP\nsleep 300 &\necho $! >> \"$0.pids\"\n"
                      "echo $$ >> \"$0.pids\"\nwhile :; do sleep 0.05; done\n");
    QFile::setPermissions(agent, QFile::ReadOwner | QFile::ExeOwner);
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.start(CommandLine::program(), {u"import"_s, CommandLine::demoSide(u"me"_s)});
    const auto pids = [&line] { return line.home().read(u".local/bin/claude.pids"_s).trimmed().split('\n'); };
    // The memory and the notes at least, each with a child of its own; a name may be looked for, too.
    ASSERT_TRUE(eventually([&] { return pids().size() >= 4; }));
    QByteArray said;
    for (int i = 0; i < 2 && process.state() == QProcess::Running; ++i) {
        ::kill(pid_t(process.processId()), SIGINT);
        while (i == 0 && !said.contains("press Ctrl-C once more") && process.waitForReadyRead()) {
            said += process.readAllStandardError();
        }
    }
    process.waitForFinished(-1);
    EXPECT_EQ(process.exitCode(), 130) << said.constData();
    EXPECT_TRUE(
        (said + process.readAllStandardError())
            .contains(line.run({u"captures"_s, u"--json"_s}).array()[0][u"id"_s].toString().toUtf8()));
    for (const QByteArray& pid : pids()) {
        EXPECT_TRUE(eventually([&] { return ::kill(pid.toInt(), 0) != 0; })) << pid.constData();
    }
}

TEST(RecordingCommands, importWhatCanBeReadOfADamagedFileAndSaySo) {
    const CommandLine line;
    line.home().write(u"cut.flac"_s, readFile(CommandLine::demoSide(u"me"_s))->left(130000));
    const Finished run = line.run({u"import"_s, line.home().path(u"cut.flac"_s), u"--json"_s});
    EXPECT_EQ(run.status, 0) << qPrintable(run.errors);
    EXPECT_TRUE(run.errors.contains(
        QRegularExpression(u"“cut.flac” is damaged: only 0:\\d\\d of 0:3\\d could be read"_s)))
        << qPrintable(run.errors);
    EXPECT_TRUE(!spoken(run.object(), u"Me"_s).isEmpty());
}

TEST(RecordingCommands, failWithWhatToDoWhenTheWordsCannotBeSaved) {
    const CommandLine line;
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.start(CommandLine::program(), {u"import"_s, CommandLine::demoSide(u"me"_s)});
    QString folder;
    ASSERT_TRUE(eventually([&] {
        const QDir captures(line.home().path(u"Quillet/captures"_s));
        folder = captures.entryList(QDir::Dirs | QDir::NoDotAndDotDot).value(0);
        return QFileInfo::exists(captures.filePath(folder + u"/meta.json"_s));
    }));
    QDir(line.home().path(u"Quillet/captures"_s)).mkpath(folder + u"/transcript.json/in the way"_s);
    process.waitForFinished(-1);
    EXPECT_EQ(process.exitCode(), 1);
    const QString errors = QString::fromUtf8(process.readAllStandardError());
    EXPECT_TRUE(errors.contains(u"the last words of this recording couldn't be saved: "_s))
        << qPrintable(errors);
    EXPECT_TRUE(errors.contains(QRegularExpression(u"not on the disk:\n\\[00:00:0\\d\\] Me: \\w"_s)))
        << qPrintable(errors);
    EXPECT_EQ(QString::fromUtf8(process.readAllStandardOutput()), folder + u'\n') << "the audio is kept";
}

TEST(RecordingCommands, failWithTheWordsWhenTheFolderIsGone) {
    const CommandLine line;
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.start(CommandLine::program(), {u"import"_s, CommandLine::demoSide(u"me"_s), u"--json"_s});
    QString folder;
    ASSERT_TRUE(eventually([&] {
        const QDir captures(line.home().path(u"Quillet/captures"_s));
        folder = captures.filePath(captures.entryList(QDir::Dirs | QDir::NoDotAndDotDot).value(0));
        return QFileInfo::exists(folder + u"/me.caf"_s);
    }));
    ASSERT_TRUE(QDir().rename(folder, line.home().path(u"elsewhere"_s)));
    process.waitForFinished(-1);
    const QString errors = QString::fromUtf8(process.readAllStandardError());
    EXPECT_EQ(process.exitCode(), 1) << qPrintable(errors);
    EXPECT_EQ(process.readAllStandardOutput(), QByteArray()) << "there is no such capture";
    EXPECT_TRUE(errors.contains(u"lumbro: %1 was moved or removed during the recording"_s.arg(folder)))
        << qPrintable(errors);
    EXPECT_TRUE(errors.contains(u"The words that are not on the disk:\n[00:00:0"_s)) << qPrintable(errors);
    EXPECT_FALSE(errors.contains(u"memory"_s) || errors.contains(u"full"_s)) << qPrintable(errors);
}

TEST(RecordingCommands, failWithOneSentenceWhenAudioCannotBeWrittenAndKeepTheWords) {
    const CommandLine line;
    QProcess shell;
    shell.setProcessEnvironment(line.environment());
    // Room for the words and for a second of the audio.
    shell.start(u"/bin/bash"_s, {u"-c"_s, u"ulimit -f 32; exec \"$0\" import \"$1\""_s,
                                 CommandLine::program(), CommandLine::demoSide(u"me"_s)});
    shell.waitForFinished(-1);
    const QString errors = QString::fromUtf8(shell.readAllStandardError());
    EXPECT_EQ(shell.exitCode(), 1) << qPrintable(errors);
    EXPECT_TRUE(
        errors.endsWith(u"lumbro: Part of the audio of this recording couldn't be written (Couldn't write "
                        "me.caf: File too large); what was heard is in the transcript.\n"_s))
        << qPrintable(errors);
    const QString id = QString::fromUtf8(shell.readAllStandardOutput()).trimmed();
    EXPECT_TRUE(line.home().read(u"Quillet/captures/%1/transcript.md"_s.arg(id)).contains("Me: "));
}

TEST(RecordingCommands, leaveNothingOfASilentFile) {
    const CommandLine line;
    line.home().write(u"silence.wav"_s, silence());
    const Finished run = line.run({u"import"_s, line.home().path(u"silence.wav"_s)});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.errors.contains(u"Nothing was heard"_s)) << qPrintable(run.errors);
    EXPECT_EQ(line.run({u"captures"_s, u"--json"_s}).output, u"[]\n"_s);
    const Finished split = line.run({u"import"_s, line.home().path(u"silence.wav"_s), u"--split"_s});
    EXPECT_EQ(split.status, 1);
    EXPECT_TRUE(split.errors.contains(u"one channel only"_s));
}

TEST(RecordingCommands, leaveNothingWhereThereIsNoRoom) {
    const CommandLine line;
    QProcess shell;
    shell.setProcessEnvironment(line.environment());
    shell.start(u"/bin/sh"_s, {u"-c"_s, u"ulimit -f 0; exec \"$0\" import \"$1\""_s, CommandLine::program(),
                               CommandLine::demoSide(u"me"_s)});
    shell.waitForFinished(-1);
    const QString errors = QString::fromUtf8(shell.readAllStandardError());
    EXPECT_EQ(shell.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(shell.exitCode(), 1);
    EXPECT_TRUE(errors.contains(u"There is no room to record: "_s)) << qPrintable(errors);
    EXPECT_TRUE(QDir(line.home().path(u"Quillet/captures"_s)).isEmpty());
}

TEST(RecordingCommands, repairWhatAKilledRecordingLeft) {
    const CommandLine line;
    const QString id = u"2026-03-01-0914-meeting"_s;
    line.write(id, u"meta.json"_s,
               R"({"kind":"meeting","sources":["mic"],"startedAt":"2026-03-01T08:14:00Z","title":"Cut"})");
    line.write(id, u"notes.md"_s, "Mine");
    line.home().write(u"silence.wav"_s, silence());
    line.run({u"import"_s, line.home().path(u"silence.wav"_s)});
    EXPECT_TRUE(line.run({u"show"_s, id, u"--json"_s}).object().contains(u"endedAt"_s));
}

TEST(RecordingCommands, refuseWhatHoldsNoSoundAndMakeNothing) {
    const CommandLine line;
    line.home().write(u"cut.wav"_s, silence().left(100));
    const struct {
        QString path;
        QString says;
    } rows[] = {
        {line.home().path(u"cut.wav"_s), u"cut.wav” holds no sound."_s},
        {line.home().path(), u"“%1” is a folder"_s.arg(line.home().path())},
        {u"/dev/zero"_s, u"“/dev/zero” isn't a regular file"_s},
    };
    for (const auto& row : rows) {
        const Finished run = line.run({u"import"_s, row.path});
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.errors.contains(row.says)) << qPrintable(run.errors);
    }
    EXPECT_FALSE(line.home().has(u".local/share/Trash"_s));
    EXPECT_FALSE(line.home().has(u"Quillet/.trash"_s));
}
