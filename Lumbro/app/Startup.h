#pragma once

#include "LumbroCore/Failure.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <type_traits>
#include <utility>

namespace lumbro {

/// The start of the application: named steps in one fixed order. A step that nobody has given is passed over,
/// and one that fails is logged; neither stops the next. Nothing waits for a flow that a step starts.
class Startup {
  public:
    using Step = std::function<Result<>()>;

    /// The names of all steps, in the order in which they run.
    static const QStringList& order();

    /// Gives the step its work, in place of earlier work: something to call that gives a Result or nothing.
    /// The name must be one of `order`.
    template <typename Work>
    void set(const QString& name, Work work) {
        if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
            setStep(name, [work = std::move(work)]() -> Result<> {
                work();
                return {};
            });
        } else {
            setStep(name, std::move(work));
        }
    }
    /// Runs the steps; gives the names of those that had work.
    QStringList run();

  private:
    void setStep(const QString& name, Step step);

    std::map<QString, Step> m_steps;
};

}  // namespace lumbro
