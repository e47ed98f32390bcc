#pragma once

#include "platform/AudioServer.h"

#include <QList>

#include <optional>

namespace lumbro {

/// Tells, from one look at the microphone after the other, when a call starts and ends. A value; it knows
/// neither time nor devices.
class CallWatch {
  public:
    /// A microphone that is let go for fewer looks than these in a row does not end a call.
    static constexpr int silentTicksToEnd = 3;
    /// For so many looks in a row it is borne that nobody can tell, as while an audio server restarts.
    static constexpr int blindTicksBorne = 15;

    /// What one look has changed.
    struct Change {
        /// A call has started, or goes on in another application.
        std::optional<MicrophoneUser> started;
        /// The call has ended.
        std::optional<MicrophoneUser> ended;

        bool operator==(const Change&) const = default;
    };

    /// Takes in who uses the microphone now; nothing when that is not known.
    Change look(const std::optional<QList<MicrophoneUser>>& users);

    /// The application of the call; none without a call.
    const std::optional<MicrophoneUser>& active() const { return m_active; }
    int silentTicks() const { return m_silentTicks; }

    bool operator==(const CallWatch&) const = default;

  private:
    std::optional<MicrophoneUser> m_active;
    int m_silentTicks = 0;
    int m_blindTicks = 0;
};

}  // namespace lumbro
