#include "Comparison.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <numbers>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumbro::bench {

namespace {

double secondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

Usage median(std::vector<Usage> runs) {
    std::ranges::sort(runs, {}, &Usage::cpuSeconds);
    return {runs[runs.size() / 2].cpuSeconds, std::ranges::max(runs, {}, &Usage::peakMegabytes).peakMegabytes,
            std::ranges::all_of(runs, &Usage::succeeded)};
}

}  // namespace

Usage run(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
        return {};
    }
    int status = 0;
    rusage used{};
    wait4(child, &status, 0, &used);
    return {secondsOf(used.ru_utime) + secondsOf(used.ru_stime), static_cast<double>(used.ru_maxrss) / 1024,
            WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

Comparison compare(const std::vector<std::string>& ours, const std::vector<std::string>& peer, int rounds) {
    std::vector<Usage> ourRuns;
    std::vector<Usage> peerRuns;
    for (int round = 0; round < rounds; ++round) {
        ourRuns.push_back(run(ours));
        peerRuns.push_back(run(peer));
    }
    return {median(std::move(ourRuns)), median(std::move(peerRuns))};
}

int report(const std::string& name, const Comparison& comparison, double ratioLimit, double megabytesLimit) {
    const auto& [ours, peer] = comparison;
    if (!ours.succeeded || !peer.succeeded) {
        std::fprintf(stderr, "%s: %s failed\n", name.c_str(), ours.succeeded ? "ffmpeg" : "our side");
        return 1;
    }
    const double ratio = ours.cpuSeconds / peer.cpuSeconds;
    std::printf(
        "{\"name\": \"%s: processor time against ffmpeg\", \"ours\": %.3f, \"peer\": %.3f, \"ratio\": "
        "%.3f, \"value\": %.3f, \"limit\": %.2f, \"unit\": \"times\", \"note\": \"%.2f s against %.2f "
        "s\"}\n",
        name.c_str(), ours.cpuSeconds, peer.cpuSeconds, ratio, ratio, ratioLimit, ours.cpuSeconds,
        peer.cpuSeconds);
    std::printf(
        "{\"name\": \"%s: peak memory\", \"value\": %.1f, \"limit\": %.0f, \"unit\": \"MB\", \"note\": "
        "\"ffmpeg %.1f MB\"}\n",
        name.c_str(), ours.peakMegabytes, megabytesLimit, peer.peakMegabytes);
    return 0;
}

std::vector<float> speechLike(int rate, int channels) {
    constexpr int seconds = 60;
    std::vector<float> samples;
    samples.reserve(static_cast<size_t>(rate) * seconds * static_cast<size_t>(channels));
    uint32_t random = 12345;
    double phase = 0;
    for (int i = 0; i < rate * seconds; ++i) {
        const double time = static_cast<double>(i) / rate;
        phase += 2 * std::numbers::pi * (120 + 30 * std::sin(time * 2.3)) / rate;
        const double syllable = std::max(0.0, std::sin(time * 13)) * (std::fmod(time, 4) < 3 ? 1 : 0);
        double voice = 0;
        for (int harmonic = 1; harmonic <= 12; ++harmonic) {
            voice += std::sin(phase * harmonic) / harmonic;
        }
        for (int channel = 0; channel < channels; ++channel) {
            random = random * 1664525U + 1013904223U;
            const double noise = static_cast<double>(random >> 8) / (1 << 23) - 1;
            samples.push_back(
                static_cast<float>(0.15 * voice * syllable + noise * (0.005 + 0.03 * syllable)));
        }
    }
    return samples;
}

std::string self() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

}  // namespace lumbro::bench
