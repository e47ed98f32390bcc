#include "recording/CaptureSession.h"

#include "LumbroCore/AppLog.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "recording/CallApps.h"
#include "recording/CaptureTrack.h"
#include "recording/CaptureTranscribers.h"
#include "recording/DiskSpace.h"
#include "recording/audio/AudioArchive.h"
#include "recording/audio/CaptureError.h"

#include <QFile>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

constexpr int levelCount = 24;
constexpr Clock::Duration levelInterval{1000 / 12};
constexpr Clock::Duration saveInterval{8000};

QString trackFile(Speaker speaker) {
    return speaker == Speaker::me ? u"me.caf"_s : u"them.caf"_s;
}

QString word(bool value) {
    return value ? u"true"_s : u"false"_s;
}

double secondsFrom(const QDateTime& start, const QDateTime& end) {
    return static_cast<double>(start.msecsTo(end)) / 1000;
}

/// What was only guessed when the recording ended; nothing while it runs.
TranscriptSegments leftoverOf(const GrowingTranscript& transcript, const CaptureMeta& meta) {
    return meta.endedAt ? transcript.leftover(secondsFrom(meta.startedAt, *meta.endedAt))
                        : TranscriptSegments();
}

std::chrono::nanoseconds steadyTime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

Task<> packInto(QString folder, std::shared_ptr<Latch> packed) {
    co_await audioArchive::packAllInBackground(folder);
    packed->open();
}

Task<> waitFor(std::shared_ptr<Latch> latch) {
    co_await *latch;
}

Failure endedMeanwhile() {
    return {FailureKind::cancelled, u"The recording was stopped before it began."_s};
}

}  // namespace

CaptureSession::CaptureSession(CaptureRecord record, bool includeSystemAudio, Ports ports)
    : m_ports(std::move(ports)),
      m_includeSystemAudio(includeSystemAudio),
      m_saving(m_ports.library, std::move(record)),
      m_levels(levelCount, 0.F) {
    if (!m_ports.monotonic) {
        m_ports.monotonic = steadyTime;
    }
}

CaptureSession::~CaptureSession() {
    stopAudio();
    for (const auto& track : std::as_const(m_tracks)) {
        track->dropTranscriber();
    }
    if (m_transcribers) {
        m_transcribers->abandon();
    }
}

Task<Result<>> CaptureSession::start() {
    const QPointer<CaptureSession> self(this);
    if (m_ports.authorizeMicrophone) {
        const bool isAllowed = co_await m_ports.authorizeMicrophone();
        if (!self || m_halted) {
            co_return std::unexpected(endedMeanwhile());
        }
        if (!isAllowed) {
            co_return std::unexpected(captureError::micDenied());
        }
    }
    std::optional<WarmSpeech> speech;
    if (m_ports.warmSpeech) {
        speech = co_await m_ports.warmSpeech();
        if (!self || m_halted) {
            co_return std::unexpected(endedMeanwhile());
        }
    }
    if (speech) {
        makeTranscribers();
    } else {
        setNotice(m_ports.withoutModel);
    }
    makeTracks();
    const Result<> microphone = co_await startSource(*m_ports.microphone, Speaker::me);
    if (!self || m_halted || !microphone) {
        co_return microphone ? Result<>(std::unexpected(endedMeanwhile())) : microphone;
    }
    const bool hasSystem = co_await startSystemAudio();
    if (!self || m_halted) {
        co_return std::unexpected(endedMeanwhile());
    }
    if (std::exchange(m_systemAudioActive, hasSystem) != hasSystem) {
        Q_EMIT systemAudioActiveChanged();
    }
    begin(std::move(speech));
    co_return Result<>();
}

void CaptureSession::makeTranscribers() {
    const auto onDropped = [this](Speaker) {
        if (m_transcribers->isEmpty()) {
            Q_EMIT transcribingChanged();
        }
    };
    CaptureTranscribers::Plan plan{m_ports.timing, m_ports.finishWait, {Speaker::me}};
    // The other side of a call may be heard later; that of a file is there or isn't.
    if (m_ports.timing == CaptureTiming::live || (m_includeSystemAudio && m_ports.system)) {
        plan.speakers += Speaker::them;
    }
    m_transcribers = std::make_shared<CaptureTranscribers>(
        m_ports.clock, plan,
        CaptureTranscribers::Events{
            .onFinal = [this](const TranscriptSegment& segment) { append(segment); },
            .onVolatile = [this](Speaker speaker, const QString& text) { setVolatile(speaker, text); },
            .onNotice = [this](const QString& text) { setNotice(text); },
            .onDropped = onDropped,
        });
    Q_EMIT transcribingChanged();
}

void CaptureSession::makeTracks() {
    const auto timeline = std::make_shared<TrackTimeline>();
    for (const Speaker speaker : {Speaker::me, Speaker::them}) {
        std::optional<CaptureTrack::Pace> pace;
        if (m_ports.timing == CaptureTiming::live) {
            pace = CaptureTrack::Pace{timeline, m_ports.monotonic};
        }
        // The pipeline tells this on an audio thread; the track is closed before the session goes.
        const auto onWriteFailed = [this](const QString& sentence) {
            m_mailbox.post([this, sentence] { noteLostAudio(sentence); });
        };
        const auto track = std::make_shared<CaptureTrack>(
            record().path(trackFile(speaker)),
            m_transcribers ? m_transcribers->transcriber(speaker) : nullptr, pace, onWriteFailed);
        m_tracks.insert(speaker, track);
        if (m_ports.gate) {
            m_ports.gate->attach(
                speaker, [track] { return track->seconds(); }, [track] { return track->backlog(); });
        }
    }
    if (m_ports.gate) {
        m_ports.gate->m_onEnded = [this] { Q_EMIT ended(); };
    }
}

Task<Result<>> CaptureSession::startSource(AudioSource& source, Speaker speaker) {
    const QPointer<CaptureSession> self(this);
    const std::shared_ptr<CaptureTrack> track = m_tracks.value(speaker);
    const Result<> result =
        co_await source.start([track](const AudioBuffer& buffer) { track->ingest(buffer); });
    if (self && m_halted) {
        source.stop();
    }
    co_return result;
}

Task<bool> CaptureSession::startSystemAudio() {
    const QPointer<CaptureSession> self(this);
    Result<> result = fail(FailureKind::systemAudio, {});
    if (m_includeSystemAudio && m_ports.system) {
        result = co_await startSource(*m_ports.system, Speaker::them);
        if (!self || m_halted) {
            co_return false;
        }
    }
    if (m_includeSystemAudio && !result) {
        AppLog::error(u"capture"_s, u"no system audio: "_s + result.error().message);
        setNotice(
            u"Recording your mic only. Allow System Audio Recording in Settings → Privacy to record the call."_s);
    }
    if (!result && m_ports.gate) {
        m_ports.gate->noteEnd(Speaker::them);
    }
    co_return result.has_value();
}

void CaptureSession::begin(std::optional<WarmSpeech> speech) {
    AppLog::info(u"capture"_s, u"started %1 system=%2 transcribing=%3"_s.arg(
                                   record().id(), word(m_systemAudioActive), word(transcribing())));
    m_saving.ownMeta().sources =
        m_systemAudioActive ? QStringList{u"mic"_s, u"system"_s} : QStringList{u"mic"_s};
    saveRecord();
    m_levelTimer.start(m_ports.clock, levelInterval, Clock::Repeat::always, [this] { tickLevels(); });
    m_saveTimer.start(m_ports.clock, saveInterval, Clock::Repeat::always, [this] { runDetached(flush()); });
    if (speech) {
        captureFiles::beginWords(record());
        m_transcribers->start(std::move(*speech));
    }
}

void CaptureSession::halt() {
    if (m_halted) {
        return;
    }
    m_halted = true;
    // The words go on being saved: `stop` may wait long for the last ones.
    m_levelTimer.stop();
    stopAudio();
    m_saving.useReserve();
    m_saving.ownMeta().endedAt = endTime();
    writeAll(segments() + leftoverOf(m_transcript, record().meta));
}

void CaptureSession::stopAudio() {
    m_ports.microphone->stop();
    if (m_ports.system) {
        m_ports.system->stop();
    }
    for (const auto& track : std::as_const(m_tracks)) {
        track->close();
    }
    if (m_ports.gate) {
        m_ports.gate->detach();
    }
}

Task<CaptureRecord> CaptureSession::stop() {
    const QPointer<CaptureSession> self(this);
    halt();
    if (m_transcribers) {
        co_await m_transcribers->finish();
        if (!self) {
            co_return CaptureRecord();
        }
    }
    m_saveTimer.stop();
    const std::shared_ptr<CaptureTrack> them = m_tracks.value(Speaker::them);
    if (!them || !them->receivedAudio()) {
        QFile::remove(record().path(trackFile(Speaker::them)));
    }
    runDetached(packInto(record().folder, m_packed));
    for (const TranscriptSegment& segment : leftoverOf(m_transcript, record().meta)) {
        append(segment);
    }
    setVolatile(Speaker::me, {});
    setVolatile(Speaker::them, {});
    AppLog::info(
        u"capture"_s,
        u"stopped %1 segments=%2 words=%3"_s.arg(record().id()).arg(segments().size()).arg(wordCount()));
    writeAll(segments());
    if (lostText()) {
        // Packing may have made the room that was missing.
        co_await waitFor(m_packed);
        if (!self) {
            co_return CaptureRecord();
        }
        writeAll(segments());
    }
    if (!lostText()) {
        captureFiles::endWords(record());
    }
    m_ports.library.reloadCaptures();
    co_return CaptureRecord(record());
}

double CaptureSession::untranscribedSeconds() const {
    return m_transcribers ? m_transcribers->lost() : 0;
}

Task<> CaptureSession::packed() {
    return waitFor(m_packed);
}

void CaptureSession::noteCallApp(const QString& name, const QString& bundleID) {
    CaptureMeta& meta = m_saving.ownMeta();
    const bool mayReplace = !meta.callApp || (callApps::isBrowser(meta.callAppBundleID.value_or(QString())) &&
                                              !callApps::isBrowser(bundleID));
    if (!m_isCall || !mayReplace || name.isEmpty()) {
        return;
    }
    meta.callApp = name;
    meta.callAppBundleID = bundleID.isEmpty() ? std::nullopt : std::optional(bundleID);
    saveRecord();
}

void CaptureSession::tickLevels() {
    float level = 0;
    for (const auto& track : std::as_const(m_tracks)) {
        level = std::max(level, track->level());
    }
    const QList<float> before = m_levels;
    m_levels.removeFirst();
    m_levels.append(level);
    if (m_levels != before) {
        Q_EMIT levelsChanged();
    }
}

Task<> CaptureSession::flush() {
    if (!m_dirty || m_isFlushing) {
        co_return;
    }
    const QPointer<CaptureSession> self(this);
    m_dirty = false;
    m_isFlushing = true;
    const bool isWritten =
        co_await m_saving.writeInBackground(segments() + leftoverOf(m_transcript, record().meta));
    if (self) {
        m_isFlushing = false;
        m_dirty = m_dirty || !isWritten;
    }
}

void CaptureSession::writeAll(const TranscriptSegments& segments) {
    saveRecord();
    m_saving.write(segments);
}

void CaptureSession::append(const TranscriptSegment& segment) {
    if (m_transcript.append(segment)) {
        m_dirty = true;
        Q_EMIT segmentsChanged();
    }
}

QDateTime CaptureSession::endTime() const {
    if (m_ports.timing == CaptureTiming::live) {
        return m_ports.clock.now();
    }
    double seconds = 0;
    for (const auto& track : std::as_const(m_tracks)) {
        seconds = std::max(seconds, track->seconds());
    }
    return record().meta.startedAt.addMSecs(static_cast<qint64>(seconds * 1000));
}

void CaptureSession::noteLostAudio(const QString& sentence) {
    if (m_lostAudio) {
        return;
    }
    m_lostAudio = diskSpace::isUsedUp(record().folder)
                      ? u"The disk is full: free some space, or this recording goes on without its audio."_s
                      : sentence;
    setNotice(*m_lostAudio);
}

void CaptureSession::setNotice(const QString& notice) {
    if (m_notice != notice) {
        m_notice = notice;
        Q_EMIT noticeChanged();
    }
}

void CaptureSession::setVolatile(Speaker speaker, const QString& text) {
    if (m_transcript.setVolatile(speaker, text)) {
        Q_EMIT volatileChanged();
    }
}

bool CaptureSession::transcribing() const {
    return m_transcribers && !m_transcribers->isEmpty();
}

void CaptureSession::setIsCall(bool isCall) {
    if (m_isCall != isCall) {
        m_isCall = isCall;
        Q_EMIT isCallChanged();
    }
}

void CaptureSession::setTitle(const QString& title) {
    m_saving.setTitle(title);
    Q_EMIT recordChanged();
}

void CaptureSession::saveRecord() {
    m_saving.saveRecord();
    Q_EMIT recordChanged();
}

}  // namespace lumbro
