#pragma once

#include <string>
#include <vector>

namespace lumbro::bench {

/// What a child process has used.
struct Usage {
    double cpuSeconds = 0;
    double peakMegabytes = 0;
    bool succeeded = false;
};

/// Runs a program to its end.
Usage run(const std::vector<std::string>& command);

/// The median processor time and the highest peak memory of each side in `rounds` alternating rounds.
struct Comparison {
    Usage ours;
    Usage peer;
};
Comparison compare(const std::vector<std::string>& ours, const std::vector<std::string>& peer, int rounds);

/// Prints the rows of a comparison: the ratio of the processor time, and the peak memory of our whole
/// process. The status that the program should end with: 1 when one of the two sides failed.
int report(const std::string& name, const Comparison& comparison, double ratioLimit, double megabytesLimit);

/// A minute of interleaved samples that are like speech: voiced sounds with pauses over noise. The same at
/// each call.
std::vector<float> speechLike(int rate, int channels);

/// The path of this very program.
std::string self();

}  // namespace lumbro::bench
