#pragma once

#include "platform/CalendarStore.h"
#include "platform/linux/desktop/IcalTime.h"

#include <QList>
#include <QSet>

#include <limits>
#include <memory>
#include <vector>

namespace lumbro {

class IcalBudget;

/// When something happens, in seconds since 1970; of an all-day event, local midnights.
struct IcalSpan {
    qint64 start = 0;
    qint64 end = 0;
};

/// How long something takes: days as the calendar counts them, and seconds as they pass.
struct IcalLength {
    qint64 days = 0;
    qint64 seconds = 0;

    qint64 most() const;
};

/// The occurrence of a series that a RECURRENCE-ID names.
struct IcalInstance {
    /// In seconds since 1970, and as the day that stands there (Julian).
    qint64 moment = 0;
    qint64 day = 0;
    /// It is named by its day alone.
    bool isDay = false;
    /// All that follow it are meant too.
    bool isFuture = false;
};

/// The times of one event of a calendar file: its first one and what repeats it.
class IcalSeries {
  public:
    /// Reads the times of a VEVENT. Nothing when it has no beginning.
    static std::optional<IcalSeries> read(icalcomponent* event, IcalZones& zones);

    bool isAllDay() const { return m_isAllDay; }
    bool repeats() const { return !m_rules.empty() || !m_more.empty(); }
    /// It has a rule that isn't followed: what that adds is missing.
    bool isCut() const { return m_isCut; }
    /// For an event that stands for one occurrence of another: its own rules are that one's.
    void repeatNoMore();
    /// The occurrence that a VEVENT stands for.
    static std::optional<IcalInstance> instance(icalcomponent* event, IcalZones& zones);

    /// Another event of the file stands for this occurrence.
    void leaveOut(const IcalInstance& instance);
    /// What clocks of this series show at an occurrence, see `wallSeconds`: those of a series lie in this
    /// order.
    qint64 placeOf(const IcalInstance& instance) const;
    /// What follows the occurrence in this place, moved by as much as `change`, the event that stands for it,
    /// and as long as that. Nothing where that moves it too far.
    std::optional<IcalSeries> changedAfter(qint64 place, const IcalSeries& change) const;
    /// Nothing of this series occurs in that place or later.
    void endBefore(qint64 place) { m_before = place; }

    /// All occurrences that touch the time from `from` to before `to`, by their start. Once the budget is
    /// spent, what is added to the first one is left out.
    std::vector<IcalSpan> spans(qint64 from, qint64 to, IcalBudget& budget) const;

  private:
    /// A time that was added to the series, and its own length, if it has one.
    struct More {
        icaltimetype wall;
        std::optional<IcalLength> length;
    };
    /// What is asked for, and between which walls it must be looked for.
    struct Search {
        qint64 from = 0;
        qint64 to = 0;
        qint64 first = 0;
        qint64 last = 0;
    };

    IcalSpan span(const icaltimetype& wall, const IcalLength& length) const;
    void readRules(icalcomponent* event);
    void readDates(icalcomponent* event, IcalZones& zones);
    void readLength(icalcomponent* event, IcalZones& zones);
    bool isLeftOut(const icaltimetype& wall) const;
    Search search(qint64 from, qint64 to, const IcalLength& length) const;
    bool add(const icaltimetype& wall, const Search& search, IcalBudget& budget,
             std::vector<IcalSpan>& found) const;

    icaltimetype m_start = {};
    IcalZone m_zone;
    bool m_isAllDay = false;
    bool m_isCut = false;
    IcalLength m_length;
    QList<icalrecurrencetype> m_rules;
    QList<More> m_more;
    QSet<qint64> m_leftOut;
    QSet<qint64> m_leftOutDays;
    /// Only what lies between these places occurs, and is shown as it stands, or moved, in another zone or
    /// for the whole day.
    qint64 m_after = std::numeric_limits<qint64>::min();
    qint64 m_before = std::numeric_limits<qint64>::max();
    qint64 m_shift = 0;
    IcalZone m_shownZone;
    bool m_isShownAllDay = false;
};

}  // namespace lumbro
