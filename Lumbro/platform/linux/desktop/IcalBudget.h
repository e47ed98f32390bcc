#pragma once

#include <QtGlobal>

#include <chrono>

namespace lumbro {

/// How much may still be done for what repeats. A calendar file can ask for any amount of work, so each gets
/// a share of what all may take together. What is over it is left out.
class IcalBudget {
  public:
    /// For all files of one round of a reading.
    static IcalBudget forReading();

    /// What a file may take in the first round: more than usual calendars need, and little enough that many
    /// hostile ones leave something for all others.
    IcalBudget firstShare() const;
    /// What a file may take that wants more, where `files` want so, itself included.
    IcalBudget share(qsizetype files = 1) const;
    /// Takes off what the file has used of its share; its occurrences only where they are kept.
    void settle(const IcalBudget& share, bool isKept = true);

    /// Pays for a look at one more time. False when nothing is left.
    bool payStep();
    /// Pays for one more occurrence, likewise.
    bool payOccurrence();
    /// From here on to the end the calendar library works, whose steps can be long: its processor time on
    /// this thread counts too. False when nothing is left; it must not begin then.
    bool beginLibrary();
    void endLibrary();
    /// Something couldn't be paid.
    bool isSpent() const { return m_isSpent; }

  private:
    struct Means {
        int steps = 0;
        int occurrences = 0;
        std::chrono::nanoseconds time{0};
    };
    explicit IcalBudget(const Means& given) : m_given(given), m_left(given) {}
    IcalBudget atMost(const Means& most) const;

    bool pay(int& left);
    bool hasTime();

    Means m_given;
    Means m_left;
    bool m_isInLibrary = false;
    bool m_isSpent = false;
    std::chrono::nanoseconds m_began{0};
};

}  // namespace lumbro
