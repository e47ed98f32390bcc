#pragma once

#include <string>

namespace lumbro::bench {

/// How large the calendar is.
struct CalendarSize {
    int items = 5000;
    /// Of these.
    int recurring = 500;
    int tasks = 300;
};

/// Makes four folders of calendar files, as those of a synchronised account look: the same ones at every
/// call. Events lie around the spring of 2026 and up to three years before; series have exceptions and moved
/// occurrences. False when not all could be written.
bool makeCalendar(const std::string& root, const CalendarSize& size);

}  // namespace lumbro::bench
