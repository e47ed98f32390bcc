#include "platform/linux/desktop/IcalBudget.h"

#include <algorithm>
#include <ctime>

namespace lumbro {

namespace {

using namespace std::chrono_literals;

/// Not the time of day: beside other work on the machine the same is read.
std::chrono::nanoseconds processorTime() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

IcalBudget IcalBudget::forReading() {
    return IcalBudget({.steps = 4'000'000, .occurrences = 100'000, .time = 2s});
}

IcalBudget IcalBudget::atMost(const Means& most) const {
    return IcalBudget({.steps = std::min(m_left.steps, most.steps),
                       .occurrences = std::min(m_left.occurrences, most.occurrences),
                       .time = std::min(m_left.time, most.time)});
}

IcalBudget IcalBudget::firstShare() const {
    return atMost({.steps = 5'000, .occurrences = 500, .time = 5ms});
}

/// A hundred meetings a day are still no more than that.
IcalBudget IcalBudget::share(qsizetype files) const {
    constexpr Means most{.steps = 250'000, .occurrences = 10'000, .time = 500ms};
    const int count = int(std::max<qsizetype>(files, 1));
    return atMost({.steps = std::min(m_left.steps / count, most.steps),
                   .occurrences = std::min(m_left.occurrences / count, most.occurrences),
                   .time = std::min(m_left.time / count, std::chrono::nanoseconds(most.time))});
}

void IcalBudget::settle(const IcalBudget& share, bool isKept) {
    m_left.steps -= share.m_given.steps - share.m_left.steps;
    m_left.occurrences -= isKept ? share.m_given.occurrences - share.m_left.occurrences : 0;
    m_left.time -= share.m_given.time - share.m_left.time;
}

bool IcalBudget::pay(int& left) {
    if (left <= 0) {
        m_isSpent = true;
        return false;
    }
    --left;
    return true;
}

bool IcalBudget::payStep() {
    constexpr int stepsPerLook = 16;
    if (m_isInLibrary && m_left.steps % stepsPerLook == 0 && !hasTime()) {
        return false;
    }
    return pay(m_left.steps);
}

bool IcalBudget::payOccurrence() {
    return pay(m_left.occurrences);
}

bool IcalBudget::beginLibrary() {
    m_began = processorTime();
    m_isInLibrary = hasTime();
    return m_isInLibrary && payStep();
}

void IcalBudget::endLibrary() {
    hasTime();
    m_isInLibrary = false;
}

bool IcalBudget::hasTime() {
    const auto now = processorTime();
    m_left.time -= now - m_began;
    m_began = now;
    m_isSpent = m_isSpent || m_left.time <= 0ns;
    return m_left.time > 0ns;
}

}  // namespace lumbro
