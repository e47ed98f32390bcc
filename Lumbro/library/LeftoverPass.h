#pragma once

#include <QString>

#include <functional>
#include <stop_token>
#include <thread>

namespace lumbro {

/// The background work of start-up: in every capture's folder, removes what killed writes left and packs
/// audio that a crash left. Touches files only, and leaves captures that another process is recording alone.
class LeftoverPass {
  public:
    using PackTracks = std::function<void(const QString& captureFolder)>;

    LeftoverPass() = default;
    LeftoverPass(const LeftoverPass&) = delete;
    LeftoverPass& operator=(const LeftoverPass&) = delete;
    /// Stops after the capture that is being worked on.
    ~LeftoverPass() = default;

    /// Runs on a thread of low priority. Once.
    void start(const QString& capturesFolder, PackTracks packTracks);

  private:
    static void run(const std::stop_token& stop, const QString& capturesFolder, const PackTracks& packTracks);

    std::jthread m_thread;
};

}  // namespace lumbro
