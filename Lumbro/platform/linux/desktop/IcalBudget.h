#pragma once

#include <chrono>

namespace lumbro {

/// How much may still be done for what repeats. A calendar file can ask for any amount of work, so each gets
/// a share of what all may take together. What is over it is left out.
class IcalBudget {
  public:
    /// For all files of one reading.
    static IcalBudget forReading();

    /// What one file may take of this.
    IcalBudget share() const;
    /// Takes off what the file has used of its share.
    void settle(const IcalBudget& share);

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

    bool pay(int& left);
    bool hasTime();

    Means m_given;
    Means m_left;
    bool m_isInLibrary = false;
    bool m_isSpent = false;
    std::chrono::nanoseconds m_began{0};
};

}  // namespace lumbro
