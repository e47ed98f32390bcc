#pragma once

#include "platform/CalendarStore.h"
#include "platform/linux/desktop/IcalTime.h"

#include <QSet>

#include <memory>
#include <vector>

namespace lumbro {

class IcalBudget;

/// When something happens, in seconds since 1970; of an all-day event, local midnights.
struct IcalSpan {
    qint64 start = 0;
    qint64 end = 0;
};

/// The times of one event of a calendar file: its first one and what repeats it.
class IcalSeries {
  public:
    /// Reads the times of a VEVENT. Nothing when it has no beginning.
    static std::optional<IcalSeries> read(icalcomponent* event, IcalZones& zones);

    bool isAllDay() const { return m_isAllDay; }
    bool repeats() const { return !m_rules.empty() || !m_more.empty(); }
    /// For an event that stands for one occurrence of another: its own rules are that one's.
    void repeatNoMore();
    /// The key of the occurrence that a RECURRENCE-ID names; see `leaveOut`.
    static std::optional<qint64> keyOf(icalcomponent* event, IcalZones& zones, bool& isDay);
    /// Another event of the file stands for the occurrence with this key.
    void leaveOut(qint64 key, bool isDay);

    /// All occurrences that touch the time from `from` to before `to`, by their start. Once the budget is
    /// spent, what its rules would add is left out.
    std::vector<IcalSpan> spans(qint64 from, qint64 to, IcalBudget& budget) const;

  private:
    IcalSpan span(const icaltimetype& wall) const;
    void readRules(icalcomponent* event);
    void readDates(icalcomponent* event, IcalZones& zones);
    void readLength(icalcomponent* event, IcalZones& zones);
    bool isLeftOut(const icaltimetype& wall) const;
    bool add(const icaltimetype& wall, qint64 from, qint64 to, IcalBudget& budget,
             std::vector<IcalSpan>& found) const;
    void followPlain(const icalrecurrencetype& rule, qint64 from, qint64 to, IcalBudget& budget,
                     std::vector<IcalSpan>& found) const;
    void follow(icalrecurrencetype rule, qint64 from, qint64 to, IcalBudget& budget,
                std::vector<IcalSpan>& found) const;

    icaltimetype m_start = {};
    IcalZone m_zone;
    bool m_isAllDay = false;
    /// In seconds, of an all-day event in days.
    qint64 m_length = 0;
    std::vector<icalrecurrencetype> m_rules;
    std::vector<icaltimetype> m_more;
    QSet<qint64> m_leftOut;
    QSet<qint64> m_leftOutDays;
};

}  // namespace lumbro
