#pragma once

#include <QtGlobal>

#include <functional>
#include <vector>

#include <libical/ical.h>

namespace lumbro {

class IcalBudget;

/// A rule that repeats by the hour, the minute or the second, or by the day where that is limited further.
/// The calendar library would try each hour up to the end of its calendar where the rule also names days, and
/// doesn't know the last days of months there. All times are what clocks show, in seconds since 1970.
class IcalClockRule {
  public:
    static bool isOne(const icalrecurrencetype& rule);
    /// False for what is not followed: parts that such a rule can't have, and more than one time a minute
    /// without end.
    static bool canFollow(const icalrecurrencetype& rule);

    /// Both must be fit to be followed; the rule must outlive this.
    IcalClockRule(const icalrecurrencetype& rule, qint64 start);

    /// Calls `take` with every time from `from` to `to`, in order, until it gives false or the budget is
    /// spent.
    void follow(qint64 from, qint64 to, IcalBudget& budget, const std::function<bool(qint64)>& take) const;

  private:
    qint64 firstFit(qint64 period) const;
    bool isDay(qint64 day) const;
    std::vector<qint64> offsets() const;

    const icalrecurrencetype& m_rule;
    qint64 m_start;
    qint64 m_unit;
    qint64 m_until;
    quint64 m_hours;
    quint64 m_minutes;
    quint64 m_seconds;
    unsigned m_weekdays;
};

}  // namespace lumbro
