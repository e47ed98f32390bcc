#pragma once

#include <QDate>

#include <functional>

#include <libical/ical.h>

namespace lumbro {

class IcalBudget;

/// A rule that repeats by the day, the week, the month or the year. All times are what clocks show; the
/// bounds of a search in seconds since 1970.
class IcalDayRule {
  public:
    /// False for another kind of rule, and for more than one time a minute.
    static bool canFollow(const icalrecurrencetype& rule);

    /// Both must be fit to be followed and outlive this.
    IcalDayRule(const icalrecurrencetype& rule, const icaltimetype& start) : m_rule(rule), m_start(start) {}

    /// What is done with a time; false when no more are wanted.
    using Take = std::function<bool(const icaltimetype& wall)>;
    /// Calls `take` with every time after the first one that lies from `from` to `to`, in order, until the
    /// budget is spent.
    void follow(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const;

  private:
    void followPlain(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const;
    void followLibrary(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const;
    void followPlaces(qint64 from, qint64 to, IcalBudget& budget, const Take& take) const;
    qint64 periodOf(const QDate& date) const;

    const icalrecurrencetype& m_rule;
    const icaltimetype& m_start;
};

}  // namespace lumbro
