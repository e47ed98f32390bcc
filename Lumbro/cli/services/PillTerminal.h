#pragma once

#include "LumbroCore/Task.h"
#include "cli/Output.h"
#include "library/model/PillMode.h"

#include <QObject>
#include <QString>

#include <functional>

namespace lumbro {
class Services;
}

namespace lumbro::cli {

/// The pill of an application without a desktop: what it shows is said in lines, and what it offers is asked
/// on the terminal, where there is one. Main thread.
class PillTerminal final : public QObject {
    Q_OBJECT

  public:
    /// Both must outlive it. The model must have been made.
    PillTerminal(Output& output, Services& services);

  private:
    void show(const PillMode& mode);
    void offerMeeting(const MeetingOffer& offer);
    void joinMeeting(const MeetingOffer& offer);
    void offerNotes(const QString& app);
    void tellPromises(const QStringList& ids);
    void tellRun(const QString& runID);
    /// One question at a time; one that comes meanwhile was said at least.
    Task<> ask(QString question, std::function<void()> onYes);

    Output& m_output;
    Services& m_services;
    bool m_isAsking = false;
};

}  // namespace lumbro::cli
