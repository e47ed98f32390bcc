#pragma once

#include "actions/ActionRunner.h"
#include "actions/formats/ActionRun.h"
#include "cli/services/FinishSteps.h"

#include <QObject>
#include <QString>

namespace lumbro::cli {

/// Shows how a run goes, and tells once that it has ended. Both references must outlive it.
class RunWatch final : public QObject {
    Q_OBJECT

  public:
    RunWatch(ActionRunner& runner, FinishSteps& steps, ActionRun run);

    /// As it stands now.
    const ActionRun& run() const { return m_run; }

  Q_SIGNALS:
    void ended();

  private:
    void look();

    ActionRunner& m_runner;
    FinishSteps& m_steps;
    ActionRun m_run;
    QString m_title;
};

}  // namespace lumbro::cli
