#include "recording/CaptureSession.h"

#include "LumbroCore/AppLog.h"
#include "library/ContextLibrary.h"
#include "recording/CallApps.h"
#include "recording/CaptureTrack.h"
#include "recording/EchoFilter.h"
#include "recording/audio/AudioArchive.h"
#include "recording/audio/CaptureError.h"
#include "recording/transcription/LiveTranscriber.h"

#include <QFile>
#include <QPointer>
#include <QStorageInfo>

#include <algorithm>
#include <utility>
#include <vector>

namespace lumbro {

namespace {

constexpr int levelCount = 24;
constexpr Clock::Duration levelInterval{1000 / 12};
constexpr Clock::Duration saveInterval{8000};
constexpr qint64 leastFreeBytes = 1 << 20;

QString trackFile(Speaker speaker) {
    return speaker == Speaker::me ? u"me.caf"_s : u"them.caf"_s;
}

QString word(bool value) {
    return value ? u"true"_s : u"false"_s;
}

std::chrono::nanoseconds steadyTime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

Task<> packInto(QString folder, std::shared_ptr<Latch> packed) {
    co_await audioArchive::packAllInBackground(folder);
    packed->open();
}

Task<> waitFor(std::shared_ptr<Latch> latch) {
    if (latch) {
        co_await *latch;
    }
}

Failure endedMeanwhile() {
    return {FailureKind::cancelled, u"The recording was stopped before it began."_s};
}

}  // namespace

CaptureSession::CaptureSession(CaptureRecord record, bool includeSystemAudio, Ports ports)
    : m_record(std::move(record)),
      m_ports(std::move(ports)),
      m_includeSystemAudio(includeSystemAudio),
      m_levels(levelCount, 0.F),
      m_packed(std::make_shared<Latch>()),
      m_fed(std::make_shared<Latch>()) {
    if (!m_ports.monotonic) {
        m_ports.monotonic = steadyTime;
    }
}

CaptureSession::~CaptureSession() {
    stopAudio();
    for (const auto& track : std::as_const(m_tracks)) {
        track->dropTranscriber();
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
    if (!speech) {
        setNotice(u"The speech model is still downloading. Audio is being recorded."_s);
    }
    makeTracks(speech.has_value());
    const Result<> microphone = co_await startSource(*m_ports.microphone, Speaker::me);
    if (!self || m_halted || !microphone) {
        co_return microphone ? Result<>(std::unexpected(endedMeanwhile())) : microphone;
    }
    const bool hasSystem = co_await startSystemAudio();
    if (!self || m_halted) {
        co_return std::unexpected(endedMeanwhile());
    }
    setSystemAudioActive(hasSystem);
    begin(std::move(speech));
    co_return Result<>();
}

void CaptureSession::makeTracks(bool withSpeech) {
    const auto timeline = std::make_shared<TrackTimeline>();
    for (const Speaker speaker : {Speaker::me, Speaker::them}) {
        if (withSpeech) {
            makeTranscriber(speaker);
        }
    }
    setTranscribing(!m_transcribers.isEmpty());
    for (const Speaker speaker : {Speaker::me, Speaker::them}) {
        std::optional<CaptureTrack::Pace> pace;
        if (m_ports.timing == CaptureTiming::live) {
            pace = CaptureTrack::Pace{timeline, m_ports.monotonic};
        }
        // The pipeline tells this on an audio thread; the track is closed before the session goes.
        const auto onWriteFailed = [this](const QString& sentence) {
            m_mailbox.post([this, sentence] { noteLostAudio(sentence); });
        };
        const auto track = std::make_shared<CaptureTrack>(m_record.path(trackFile(speaker)),
                                                          m_transcribers.value(speaker), pace, onWriteFailed);
        m_tracks.insert(speaker, track);
        if (m_ports.gate) {
            m_ports.gate->attach(
                speaker, [track] { return track->seconds(); }, [track] { return track->backlog(); });
        }
    }
    if (m_ports.gate) {
        m_ports.gate->m_onEnded = [this] { noteFed(); };
    }
}

void CaptureSession::makeTranscriber(Speaker speaker) {
    const auto transcriber = std::make_shared<LiveTranscriber>(speaker, m_ports.clock);
    transcriber->onFinal = [this](const TranscriptSegment& segment) { append(segment); };
    transcriber->onVolatile = [this, speaker](const QString& text) { setVolatile(speaker, text); };
    transcriber->onGaveUp = [this](const QString& text) { setNotice(text); };
    transcriber->open();
    m_transcribers.insert(speaker, transcriber);
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
                                   m_record.id(), word(m_systemAudioActive), word(m_transcribing)));
    m_record.meta.sources = m_systemAudioActive ? QStringList{u"mic"_s, u"system"_s} : QStringList{u"mic"_s};
    saveRecord();
    m_levelTimer.start(m_ports.clock, levelInterval, Clock::Repeat::always, [this] { tickLevels(); });
    m_saveTimer.start(m_ports.clock, saveInterval, Clock::Repeat::always, [this] { flush(); });
    if (speech) {
        m_speechStarted = std::make_shared<Latch>();
        runDetached(startSpeech(std::move(*speech), m_speechStarted));
    }
}

Task<> CaptureSession::startSpeech(WarmSpeech speech, std::shared_ptr<Latch> started) {
    const QPointer<CaptureSession> self(this);
    const auto transcribers = m_transcribers;
    std::vector<std::pair<Speaker, Task<Result<>>>> starts;
    for (const auto& [speaker, transcriber] : transcribers.asKeyValueRange()) {
        starts.emplace_back(speaker, transcriber->start(speech.recognizer, speech.locale));
    }
    for (auto& [speaker, task] : starts) {
        const Result<> result = co_await task;
        if (!self) {
            co_return;
        }
        if (!result) {
            m_tracks.value(speaker)->dropTranscriber();
            m_transcribers.remove(speaker);
            setNotice(u"Live transcript is off: "_s + result.error().message);
        }
    }
    setTranscribing(!m_transcribers.isEmpty());
    started->open();
}

void CaptureSession::halt() {
    if (m_halted) {
        return;
    }
    m_halted = true;
    m_levelTimer.stop();
    m_saveTimer.stop();
    stopAudio();
    m_record.meta.endedAt = endTime();
    saveRecord();
    writeTranscript(m_segments + leftover());
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
    co_await waitFor(m_speechStarted);
    if (!self) {
        co_return CaptureRecord();
    }
    co_await finishTranscribers();
    if (!self) {
        co_return CaptureRecord();
    }
    const std::shared_ptr<CaptureTrack> them = m_tracks.value(Speaker::them);
    if (!them || !them->receivedAudio()) {
        QFile::remove(m_record.path(trackFile(Speaker::them)));
    }
    runDetached(packInto(m_record.folder, m_packed));
    for (const TranscriptSegment& segment : leftover()) {
        append(segment);
    }
    setVolatile(Speaker::me, {});
    setVolatile(Speaker::them, {});
    AppLog::info(
        u"capture"_s,
        u"stopped %1 segments=%2 words=%3"_s.arg(m_record.id()).arg(m_segments.size()).arg(wordCount()));
    saveRecord();
    m_dirty = true;
    flush();
    m_ports.library.reloadCaptures();
    // As an expression of its own: a task would take the member away.
    co_return CaptureRecord(m_record);
}

Task<> CaptureSession::finishTranscribers() {
    const FinishWait wait =
        m_ports.timing == CaptureTiming::audio ? FinishWait::allFinals : FinishWait::brief;
    const auto transcribers = m_transcribers;
    std::vector<Task<>> ends;
    for (const auto& transcriber : transcribers) {
        ends.push_back(transcriber->finish(wait));
    }
    for (Task<>& end : ends) {
        co_await end;
    }
}

Task<> CaptureSession::packed() {
    return waitFor(m_packed);
}

Task<> CaptureSession::fed() {
    return waitFor(m_fed);
}

void CaptureSession::noteFed() {
    m_fed->open();
    Q_EMIT ended();
}

void CaptureSession::noteCallApp(const QString& name, const QString& bundleID) {
    CaptureMeta& meta = m_record.meta;
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

void CaptureSession::flush() {
    if (m_dirty) {
        m_dirty = !writeTranscript(m_segments);
    }
}

bool CaptureSession::writeTranscript(const TranscriptSegments& segments) {
    const Result<> result = m_ports.library.writeTranscript(segments, m_record);
    if (!result && !m_writeFailureLogged) {
        AppLog::error(u"capture"_s, u"transcript of %1 not written, it is tried again: %2"_s.arg(
                                        m_record.id(), result.error().message));
    }
    m_writeFailureLogged = !result;
    return result.has_value();
}

void CaptureSession::append(const TranscriptSegment& segment) {
    if (segment.speaker == Speaker::me && echoFilter::isEcho(segment, m_segments)) {
        return;
    }
    m_segments.append(segment);
    m_dirty = true;
    Q_EMIT segmentsChanged();
}

TranscriptSegments CaptureSession::leftover() const {
    TranscriptSegments segments;
    for (const auto& [speaker, text] : m_volatile.asKeyValueRange()) {
        segments.append({.speaker = speaker, .start = secondsFromStart(), .text = text});
    }
    return segments;
}

double CaptureSession::audioSeconds() const {
    double seconds = 0;
    for (const auto& track : std::as_const(m_tracks)) {
        seconds = std::max(seconds, track->seconds());
    }
    return seconds;
}

double CaptureSession::secondsFromStart() const {
    return static_cast<double>(m_record.meta.startedAt.msecsTo(endTime())) / 1000;
}

QDateTime CaptureSession::endTime() const {
    if (m_ports.timing == CaptureTiming::live) {
        return m_ports.clock.now();
    }
    return m_record.meta.startedAt.addMSecs(static_cast<qint64>(audioSeconds() * 1000));
}

int CaptureSession::wordCount() const {
    qsizetype words = 0;
    for (const TranscriptSegment& segment : m_segments) {
        words += segment.text.split(u' ', Qt::SkipEmptyParts).size();
    }
    return static_cast<int>(words);
}

void CaptureSession::noteLostAudio(const QString& sentence) {
    if (m_lostAudio) {
        return;
    }
    const bool isFull = QStorageInfo(m_record.folder).bytesAvailable() < leastFreeBytes;
    m_lostAudio = isFull
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
    if (m_volatile.value(speaker) == text) {
        return;
    }
    if (text.isEmpty()) {
        m_volatile.remove(speaker);
    } else {
        m_volatile.insert(speaker, text);
    }
    Q_EMIT volatileChanged();
}

void CaptureSession::setTranscribing(bool transcribing) {
    if (m_transcribing != transcribing) {
        m_transcribing = transcribing;
        Q_EMIT transcribingChanged();
    }
}

void CaptureSession::setSystemAudioActive(bool active) {
    if (m_systemAudioActive != active) {
        m_systemAudioActive = active;
        Q_EMIT systemAudioActiveChanged();
    }
}

void CaptureSession::setIsCall(bool isCall) {
    if (m_isCall != isCall) {
        m_isCall = isCall;
        Q_EMIT isCallChanged();
    }
}

void CaptureSession::setTitle(const QString& title) {
    m_record.meta.title = title;
    saveRecord();
}

void CaptureSession::saveRecord() {
    m_ports.library.save(m_record);
    Q_EMIT recordChanged();
}

}  // namespace lumbro
