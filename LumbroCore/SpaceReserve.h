#pragma once

#include <QString>

namespace lumbro {

/// Space on the disk that is held for what comes at the end of a work: when the disk is full by then, there
/// is room for it all the same. The space belongs to no name, so that nothing stays behind, however the
/// process ends. Any thread.
class SpaceReserve {
  public:
    /// A transcript of an hour takes about 150 KB, and both of its files are beside their old ones for a
    /// moment.
    static constexpr qint64 transcriptBytes = 256LL * 1024;

    /// Holds `bytes` on the file system of `folder`; none where that is full already, or where nothing can be
    /// written.
    explicit SpaceReserve(const QString& folder, qint64 bytes = transcriptBytes);
    SpaceReserve(const SpaceReserve&) = delete;
    SpaceReserve& operator=(const SpaceReserve&) = delete;
    ~SpaceReserve();

    /// False where there was none, or after `release`.
    bool isHeld() const { return m_descriptor >= 0; }
    /// Why no space could be held for `what`, such as "a brief", and what to do: a sentence without its
    /// capital and its full stop. Empty when it could.
    QString problem(const QString& what) const;
    /// Gives the space back, for what is to be written next. A second call does nothing.
    void release();

  private:
    QString m_folder;
    int m_descriptor = -1;
    /// Of `errno`, 0 when the space could be held.
    int m_error = 0;
};

}  // namespace lumbro
