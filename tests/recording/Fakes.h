#pragma once

#include "LumbroSpeech/Recognizer.h"
#include "platform/AudioSource.h"

#include <QCoreApplication>
#include <QStringList>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace lumbro::test {

/// What a test sees and sets of a fake source, which the session owns.
struct SourceState {
    QString name;
    QStringList* events = nullptr;
    Result<> answer;
    std::function<void()> onStart;
    AudioSource::Consumer consumer;
    bool isStopped = false;
};

/// A source that delivers what the test hands it.
class FakeSource final : public AudioSource {
  public:
    explicit FakeSource(std::shared_ptr<SourceState> state) : m_state(std::move(state)) {}

    Task<Result<>> start(Consumer onBuffer) override {
        m_state->events->append(m_state->name + u" start"_s);
        if (m_state->onStart) {
            m_state->onStart();
        }
        if (m_state->answer) {
            m_state->consumer = std::move(onBuffer);
        }
        co_return Result<>(m_state->answer);
    }
    void stop() override {
        if (!std::exchange(m_state->isStopped, true)) {
            m_state->events->append(m_state->name + u" stop"_s);
        }
    }

  private:
    std::shared_ptr<SourceState> m_state;
};

/// A recogniser whose words the test says. Streams are in the order of their opening: "Me", then "Them".
class FakeRecognizer final : public speech::Recognizer {
  public:
    struct Stream {
        speech::RecognitionEvents events;
        std::vector<float> heard;
        /// Said when the stream is finished, before its end.
        QString lastWords;
        double waiting = 0;
        /// It is asked to finish and does not.
        bool isStuck = false;
    };

    /// The next so many calls of `open` fail.
    int failures = 0;
    std::vector<std::shared_ptr<Stream>> streams;

    Task<Result<speech::OpenedStream>> open(speech::RecognitionEvents events) override {
        if (failures > 0) {
            --failures;
            co_return fail(u"The model is broken."_s);
        }
        const auto stream = std::make_shared<Stream>();
        stream->events = std::move(events);
        streams.push_back(stream);
        co_return speech::OpenedStream(std::make_shared<Opened>(stream));
    }

    void say(size_t stream, const QString& text, double start, bool isFinal) {
        streams.at(stream)->events.onResult({text, start, isFinal});
    }

  private:
    class Opened final : public speech::RecognitionStream {
      public:
        explicit Opened(std::shared_ptr<Stream> stream) : m_stream(std::move(stream)) {}
        void feed(std::span<const float> samples) override {
            m_stream->heard.insert(m_stream->heard.end(), samples.begin(), samples.end());
        }
        void finish() override {
            if (m_stream->isStuck) {
                return;
            }
            const std::weak_ptr<Stream> weak = m_stream;
            QMetaObject::invokeMethod(qApp, [weak] { end(weak.lock()); }, Qt::QueuedConnection);
        }
        double backlog() const override { return m_stream->waiting; }

      private:
        static void end(const std::shared_ptr<Stream>& stream) {
            if (stream && !stream->lastWords.isEmpty()) {
                stream->events.onResult({stream->lastWords, 1, true});
            }
            if (stream) {
                stream->events.onEnd({});
            }
        }
        std::shared_ptr<Stream> m_stream;
    };
};

}  // namespace lumbro::test
