#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Literals.h"
#include "LumbroSpeech/Recognizer.h"

#include <QCoroTask>

#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace lumbro::test {

/// What a fake stream was given and what it says, driven by the test.
struct FakeStreamState {
    speech::RecognitionEvents events;
    size_t samples = 0;
    double backlog = 0;
    /// Looked at and without a result.
    double unsaid = 0;
    quint64 activity = 0;
    bool isFinished = false;
    bool isGone = false;

    void say(const QString& text, double start, bool isFinal) const {
        events.onResult({text, start, isFinal});
    }
    void end(const Result<>& outcome = {}) const { events.onEnd(outcome); }
};

class FakeStream final : public speech::RecognitionStream {
  public:
    explicit FakeStream(std::shared_ptr<FakeStreamState> state) : m_state(std::move(state)) {}
    ~FakeStream() override { m_state->isGone = true; }

    void feed(std::span<const float> samples) override { m_state->samples += samples.size(); }
    void finish() override { m_state->isFinished = true; }
    double backlog() const override { return m_state->backlog; }
    double unheard() const override { return m_state->backlog + m_state->unsaid; }
    quint64 activity() const override { return m_state->activity; }

  private:
    std::shared_ptr<FakeStreamState> m_state;
};

/// A recogniser that fails when told to, and otherwise opens streams that the test speaks for.
class FakeRecognizer final : public speech::Recognizer {
  public:
    std::vector<std::shared_ptr<FakeStreamState>> streams;
    int opens = 0;
    int failuresToCome = 0;
    std::function<void()> onOpen;
    /// While set, `open` waits on this clock for a second, as a model that is being loaded.
    Clock* loading = nullptr;

    Task<Result<speech::OpenedStream>> open(speech::RecognitionEvents events) override {
        ++opens;
        if (onOpen) {
            onOpen();
        }
        if (loading != nullptr) {
            co_await loading->sleep(std::chrono::seconds(1));
        }
        if (failuresToCome > 0) {
            --failuresToCome;
            co_return fail(FailureKind::speech, u"no model"_s);
        }
        auto state = std::make_shared<FakeStreamState>();
        state->events = std::move(events);
        streams.push_back(state);
        co_return speech::OpenedStream(std::make_shared<FakeStream>(state));
    }
};

}  // namespace lumbro::test
