#include "cli/services/DeviceWatch.h"
#include "cli/services/RecordingRun.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "recording/DiskSpace.h"
#include "recording/audio/FileAudioSource.h"

#include <QFileInfo>

namespace lumbro::cli {

namespace {

/// What is to be told of a file that isn't what it says; else empty.
QString endSentence(const FileAudioSource& file) {
    const QString name = QFileInfo(file.file()).fileName();
    const QString read = clockText(file.position());
    switch (file.end()) {
        case MediaEnd::damaged:
            return u"“%1” is damaged: only %2 of %3 could be read."_s.arg(name, read,
                                                                          clockText(file.duration()));
        case MediaEnd::cutOff:
            return u"“%1” was cut off: its end is missing, after %2."_s.arg(name, read);
        case MediaEnd::longer:
            return u"“%1” says that it is %2 long, but holds %3; all of that was taken."_s.arg(
                name, clockText(file.duration()), read);
        case MediaEnd::whole:
            break;
    }
    return {};
}

/// Why a part of the result is missing, as a sentence.
QString reasonText(const QString& message, const QString& detail) {
    const QString reason = detail.isEmpty() ? message : message + u" ("_s + detail + u')';
    return reason.endsWith(u'.') ? reason : reason + u'.';
}

QString lostAudioText(const CaptureRecord& record, QString reason) {
    if (diskSpace::isUsedUp(record.folder)) {
        reason = u"the disk is full"_s;
    } else if (reason.endsWith(u'.')) {
        reason.chop(1);
    }
    const QString what = captureFiles::hasSound(record) ? u"Part of the audio"_s : u"The audio"_s;
    return u"%1 of this recording couldn't be written (%2); what was heard is in the transcript."_s.arg(
        what, reason);
}

}  // namespace

QStringList RecordingRun::damages() const {
    QStringList sentences;
    for (const FileAudioSource* file : m_files) {
        sentences += endSentence(*file);
    }
    sentences.removeAll(QString());
    sentences.removeDuplicates();
    return sentences;
}

Task<Result<RecordingRun::Outcome>> RecordingRun::finish() {
    m_isFinishing = true;
    m_devices.reset();
    m_live.reset();
    QStringList remarks = damages();
    m_files.clear();
    AppModel& model = m_services.model();
    m_waitsForWords = true;
    CaptureEnd end = co_await model.captures().stopCapture();
    m_waitsForWords = false;
    end.waitWasEnded = m_waitWasEnded;
    if (end.kind == CaptureEnd::Kind::gone) {
        m_steps.end();
        co_return Outcome{.record = end.record,
                          .remarks = {},
                          .lostAudio = {},
                          .lostText = end.lostText,
                          .unsavedWords = end.unsavedWords,
                          .missedWords = {},
                          .isGone = true};
    }
    if (end.kind != CaptureEnd::Kind::kept) {
        m_steps.end();
        if (m_stoppedAt) {
            remarks += u"Stopped at %1 of %2."_s.arg(clockText(m_stoppedAt->at), clockText(m_stoppedAt->of));
        }
        remarks += u"Nothing was heard, so the note was removed."_s;
        co_return fail(remarks.join(u' '));
    }
    co_await model.finished();
    m_steps.end();
    if (m_stoppedAt) {
        remarks += u"stopped at %1 of %2; what was heard until then is kept."_s.arg(
            clockText(m_stoppedAt->at), clockText(m_stoppedAt->of));
    }
    std::optional<QString> lostAudio;
    if (end.lostAudio) {
        lostAudio = lostAudioText(end.record, *end.lostAudio);
    }
    co_return Outcome{.record = end.record,
                      .remarks = remarks + failures(end.record.id()),
                      .stoppedEarly = m_stoppedAt.has_value(),
                      .lostAudio = lostAudio,
                      .lostText = end.lostText,
                      .unsavedWords = end.unsavedWords,
                      .missedWords = end.missedWords()};
}

QStringList RecordingRun::failures(const QString& captureID) {
    QStringList seen;
    QStringList sentences;
    const QString command = commandOn(m_services.library().root());
    const auto& runs = m_services.model().runs().runs();
    for (auto it = runs.begin(); it != runs.end(); ++it) {
        const QString& message = it.value().failure;
        if (!it.key().startsWith(captureID + u'/') || message.isEmpty() || seen.contains(message)) {
            continue;
        }
        seen += message;
        sentences +=
            u"\"%1\" wrote nothing: %2 Mend that (`lumbro doctor` helps), then: %4 engine-run %1 %3"_s.arg(
                it.key().section(u'/', 1), reasonText(message, it.value().detail), captureID, command);
    }
    if (m_memoryFailure) {
        const QString why = seen.contains(m_memoryFailure->message)
                                ? u" either."_s
                                : u": "_s + reasonText(m_memoryFailure->message, m_memoryFailure->detail);
        sentences +=
            u"The memory was not updated%1 Later: %2 memory update %3"_s.arg(why, command, captureID);
    }
    return sentences;
}

}  // namespace lumbro::cli
