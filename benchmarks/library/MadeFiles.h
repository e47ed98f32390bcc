#pragma once

#include <string>

namespace lumbro::bench {

/// Writes files one after another and remembers whether all could be written.
class MadeFiles {
  public:
    /// Makes the folder with its parents.
    void folder(const std::string& path);
    void write(const std::string& path, const std::string& bytes);
    bool isWhole() const { return m_isWhole; }

    /// "2026-03-02T13:30:00Z", and with milliseconds.
    static std::string iso(long long seconds);
    static std::string isoWithFraction(long long seconds);
    /// "2026-03-02-1330" and "2026-03-02", in UTC.
    static std::string stamp(long long seconds);
    static std::string day(long long seconds);

  private:
    bool m_isWhole = true;
};

}  // namespace lumbro::bench
