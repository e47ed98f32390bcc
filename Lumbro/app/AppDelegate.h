#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Task.h"
#include "app/Startup.h"
#include "meetings/formats/PrepEvent.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <vector>

namespace lumbro {

class Services;

/// Brings the services up in their order, keeps the status line, and sees to it that a recording is finished
/// before the process ends. Main thread.
class AppDelegate final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString statusTitle READ statusTitle NOTIFY statusTitleChanged)

  public:
    /// One of the timers that live as long as the application.
    struct Periodic {
        QString name;
        std::chrono::milliseconds interval;
        std::function<void()> work;
    };

    /// The services must outlive the delegate.
    explicit AppDelegate(Services& services);
    ~AppDelegate() override;

    /// The start's steps. What is set before `applicationDidFinishLaunching` takes part in it.
    Startup& startup() { return m_startup; }
    /// The day's events, for the status line. Set with the step "meetingPrep".
    std::function<QList<PrepEvent>()> agenda = [] { return QList<PrepEvent>(); };

    /// Runs the start's steps; gives the names of those that ran.
    QStringList applicationDidFinishLaunching();
    /// Starts a timer of the application's life.
    void every(Periodic periodic);
    /// The running timers, by name and interval.
    const std::vector<Periodic>& periodics() const { return m_periodics; }

    /// The title beside the status symbol; empty without an event today.
    const QString& statusTitle() const { return m_statusTitle; }
    /// The same for the pointer: the application's name when the title is empty.
    QString statusToolTip() const;
    void updateStatusTitle();

    /// Ends the application: at once, or once a running recording is finished. Engine runs are not waited
    /// for. A second call changes nothing.
    void terminate();

  Q_SIGNALS:
    void statusTitleChanged();
    /// Quitting has to wait for a recording; the text is for the user.
    void terminationDelayed(const QString& text);
    /// The process may end now.
    void readyToTerminate();

  private:
    void setUpSteps();
    void startMeetings();
    void startActions();
    Task<> finishRecording();

    Services& m_services;
    Startup m_startup;
    std::vector<Periodic> m_periodics;
    std::vector<Timer> m_timers;
    QString m_statusTitle;
    bool m_terminating = false;
};

}  // namespace lumbro
