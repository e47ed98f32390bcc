#pragma once

#include <QString>

namespace lumbro {

/// Space on the disk that is held for what comes at the end of a work: when the disk is full by then, there
/// is room for it all the same. The space belongs to no name, so that nothing stays behind, however the
/// process ends. Any thread.
class SpaceReserve {
  public:
    /// Holds space on the file system of `folder`; none where that is full already.
    explicit SpaceReserve(const QString& folder);
    SpaceReserve(const SpaceReserve&) = delete;
    SpaceReserve& operator=(const SpaceReserve&) = delete;
    ~SpaceReserve();

    /// False where there was none, or after `release`.
    bool isHeld() const { return m_descriptor >= 0; }
    /// Gives the space back, for what is to be written next. A second call does nothing.
    void release();

  private:
    int m_descriptor = -1;
};

}  // namespace lumbro
