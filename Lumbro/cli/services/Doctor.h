#pragma once

#include "LumbroCore/Task.h"
#include "app/Services.h"
#include "surfaces/PermissionState.h"

#include <QList>
#include <QString>

#include <functional>

namespace lumbro::cli {

/// One thing that was looked at: how it stands, and what to do where it does not stand well.
struct DoctorCheck {
    QString check;
    PermissionState state;
    QString message;

    bool operator==(const DoctorCheck&) const = default;
};

/// Looks at everything that recording, words and notes need, one after the other; the agent of the settings
/// is really asked, which takes seconds.
class Doctor {
  public:
    /// The services must outlive it.
    explicit Doctor(Services& services) : m_services(services) {}

    /// Called with each check before it begins.
    std::function<void(const QString& name)> onBegin;

    /// All checks, in the order in which they matter.
    Task<QList<DoctorCheck>> examine();

  private:
    DoctorCheck library() const;
    DoctorCheck diskSpace() const;
    Task<DoctorCheck> audioServer();
    Task<DoctorCheck> microphone();
    Task<DoctorCheck> systemAudio();
    DoctorCheck speech();
    Task<DoctorCheck> claude();
    Task<DoctorCheck> codex();
    static DoctorCheck ownCommand(const QString& command);
    void begin(const QString& name) const;

    Services& m_services;
};

}  // namespace lumbro::cli
