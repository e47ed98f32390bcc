#include "benchmarks/library/MadeFiles.h"

#include <array>
#include <ctime>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro::bench {

namespace {

std::string formatted(long long seconds, const char* format) {
    const auto time = static_cast<time_t>(seconds);
    tm utc{};
    gmtime_r(&time, &utc);
    std::array<char, 40> text{};
    strftime(text.data(), text.size(), format, &utc);
    return text.data();
}

}  // namespace

void MadeFiles::folder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    m_isWhole = m_isWhole && !error;
}

void MadeFiles::write(const std::string& path, const std::string& bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    const bool isWritten = file >= 0 && ::write(file, bytes.data(), bytes.size()) == ssize_t(bytes.size());
    m_isWhole = m_isWhole && isWritten && close(file) == 0;
}

std::string MadeFiles::iso(long long seconds) {
    return formatted(seconds, "%Y-%m-%dT%H:%M:%SZ");
}

std::string MadeFiles::isoWithFraction(long long seconds) {
    return formatted(seconds, "%Y-%m-%dT%H:%M:%S.123Z");
}

std::string MadeFiles::stamp(long long seconds) {
    return formatted(seconds, "%Y-%m-%d-%H%M");
}

std::string MadeFiles::day(long long seconds) {
    return formatted(seconds, "%Y-%m-%d");
}

}  // namespace lumbro::bench
