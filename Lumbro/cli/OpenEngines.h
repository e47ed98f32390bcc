#pragma once

#include "LumbroCore/Clock.h"
#include "cli/CaptureLookup.h"
#include "library/ContextLibrary.h"

namespace lumbro::cli {

/// This run's library as the commands over engines need it: only that, not the captures' words.
class OpenEngines {
  public:
    OpenEngines()
        : m_clock(SystemClock::dateFromEnvironment()),
          m_library(ContextLibrary::rootFromEnvironment(), m_clock),
          m_usable(checkLibrary(m_library.root(), LibraryUse::write)) {
        if (m_usable) {
            m_library.openEngines();
        }
    }
    ContextLibrary* operator->() { return &m_library; }
    ContextLibrary& operator*() { return m_library; }
    Clock& clock() { return m_clock; }
    /// Why the library cannot be used so.
    const Result<>& usable() const { return m_usable; }

  private:
    SystemClock m_clock;
    ContextLibrary m_library;
    Result<> m_usable;
};

}  // namespace lumbro::cli
