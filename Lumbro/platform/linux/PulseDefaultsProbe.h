#pragma once

#include <QString>

#include <functional>

struct pa_context;
struct pa_threaded_mainloop;

namespace lumbro {

/// What the server calls its default devices; a name may be empty, or of nothing that there is.
struct PulseDefaults {
    QString sink;
    QString source;

    bool operator==(const PulseDefaults&) const = default;
};

/// Asks the server for its default devices over a connection of its own, made anew for each question.
/// PipeWire passes over who is connected already while somebody else connects, and for good when that one is
/// ended in the middle of it: then only a new connection is told the truth. Every call needs the loop's lock.
class PulseDefaultsProbe {
  public:
    /// Called on the loop's thread.
    using Answer = std::function<void(const PulseDefaults&)>;

    PulseDefaultsProbe(pa_threaded_mainloop* loop, Answer answer);
    /// No answer comes after it.
    ~PulseDefaultsProbe();
    PulseDefaultsProbe(const PulseDefaultsProbe&) = delete;
    PulseDefaultsProbe& operator=(const PulseDefaultsProbe&) = delete;

    /// Begins to ask, unless the last question is still open. A question that fails stays without an answer.
    void ask();

  private:
    void stateChanged();
    void finish();

    pa_threaded_mainloop* m_loop;
    Answer m_answer;
    pa_context* m_context = nullptr;
};

}  // namespace lumbro
