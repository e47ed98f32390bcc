#pragma once

#include "LumbroCore/Clock.h"
#include "cli/Output.h"
#include "cli/services/FinishSteps.h"

#include <QString>

namespace lumbro::cli {

/// Shows on a terminal that an answer is on its way, and its words as they come. Elsewhere it shows nothing.
class LiveAnswer {
  public:
    LiveAnswer(Output& output, Clock& clock, QString waiting);

    /// Shows the line that work goes on.
    void begin();
    /// The next words; `isNew` takes back those shown so far.
    void add(const QString& piece, bool isNew);
    /// The whole answer, of which a part may be shown already.
    void finish(const QString& answer);
    /// Nothing more comes; what is shown stays.
    void giveUp();

  private:
    void takeBack();

    Output& m_output;
    FinishSteps m_steps;
    QString m_waiting;
    QString m_shown;
};

}  // namespace lumbro::cli
