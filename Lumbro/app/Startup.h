#pragma once

#include "LumbroCore/Failure.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <map>

namespace lumbro {

/// The start of the application: named steps in one fixed order. A step that nobody has given is passed over,
/// and one that fails is logged; neither stops the next. Nothing waits for a flow that a step starts.
class Startup {
  public:
    using Step = std::function<Result<>()>;

    /// The names of all steps, in the order in which they run.
    static const QStringList& order();

    /// Gives the step its work, in place of earlier work. The name must be one of `order`.
    void set(const QString& name, Step step);
    void set(const QString& name, std::function<void()> step);
    /// Runs the steps; gives the names of those that had work.
    QStringList run();

  private:
    std::map<QString, Step> m_steps;
};

}  // namespace lumbro
