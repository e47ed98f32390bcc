#pragma once

#include "LumbroCore/Clock.h"
#include "library/ContextLibrary.h"
#include "recording/RecordingSession.h"

#include <QStringList>

#include <coroutine>
#include <functional>
#include <optional>
#include <utility>

namespace lumbro::test {

/// What the next recordings do.
struct SessionScript {
    /// Words that the recording hears; they are in its transcript after the stop.
    int words = 0;
    std::optional<Failure> startFailure;
    std::optional<QString> lostAudio;
    std::optional<QString> lostText;
    /// Sound that the recogniser did not come to.
    double untranscribedSeconds = 0;
    /// The transcript cannot be written.
    bool losesWords = false;
    /// There is no speech model.
    bool hearsNothing = false;
    /// Called when the packing is waited for.
    std::function<void()> onPacked;
    /// True: `stop` waits for `FakeSession::finish`.
    bool holdStop = false;
};

/// A recording without audio.
class FakeSession final : public RecordingSession {
  public:
    FakeSession(CaptureRecord record, bool includeSystemAudio, const SessionScript& script,
                ContextLibrary& library, Clock& clock)
        : hasSystemAudio(includeSystemAudio),
          m_record(std::move(record)),
          m_script(script),
          m_library(library),
          m_clock(clock) {}

    const bool hasSystemAudio;

    Task<Result<>> start() override {
        if (m_script.startFailure) {
            co_return std::unexpected(*m_script.startFailure);
        }
        co_return Result<>{};
    }
    void halt() override {
        m_record.meta.endedAt = m_clock.now();
        m_library.save(m_record);
    }
    Task<CaptureRecord> stop() override {
        halt();
        if (m_script.holdStop) {
            co_await Hold{*this};
        }
        TranscriptSegments segments;
        if (m_script.words > 0 && !m_script.losesWords) {
            const QStringList words(m_script.words, QStringLiteral("word"));
            segments.append({QUuid::createUuid(), Speaker::me, 0, words.join(u' ')});
        }
        [[maybe_unused]] const Result<> written = m_library.writeTranscript(segments, m_record);
        co_return CaptureRecord(m_record);
    }
    Task<> packed() override {
        if (m_script.onPacked) {
            m_script.onPacked();
        }
        co_return;
    }
    /// Lets a held `stop` go on.
    void finish() {
        if (m_held) {
            std::exchange(m_held, nullptr).resume();
        }
    }

    const CaptureRecord& record() const override { return m_record; }
    bool transcribing() const override { return !m_script.hearsNothing; }
    void setTitle(const QString& title) override {
        m_record.meta.title = title;
        m_library.save(m_record);
    }
    int wordCount() const override { return m_script.words; }
    bool isCall() const override { return m_isCall; }
    void setIsCall(bool isCall) override { m_isCall = isCall; }
    double untranscribedSeconds() const override { return m_script.untranscribedSeconds; }
    std::optional<QString> lostAudio() const override { return m_script.lostAudio; }
    std::optional<QString> lostText() const override { return m_script.lostText; }

  private:
    struct Hold {
        FakeSession& session;

        bool await_ready() const { return false; }
        void await_suspend(std::coroutine_handle<> handle) { session.m_held = handle; }
        void await_resume() const {}
    };

    CaptureRecord m_record;
    SessionScript m_script;
    ContextLibrary& m_library;
    Clock& m_clock;
    bool m_isCall = false;
    std::coroutine_handle<> m_held;
};

}  // namespace lumbro::test
