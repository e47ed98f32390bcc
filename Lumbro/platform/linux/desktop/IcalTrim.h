#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

namespace lumbro {

/// Takes out of a calendar file, piece by piece, the lines that are read here. What is attached to an event,
/// and what programs note in it for themselves, can be many times as large.
class IcalTrim {
  public:
    /// A smaller file is as well read as it is.
    static constexpr qint64 worthwhile = qint64(1024) * 1024;
    /// More than this is not kept.
    static constexpr qint64 mostKept = 4 * worthwhile;

    /// The next bytes of the file. False when more would have to be kept than may be: there is no result.
    bool take(QByteArrayView piece);
    /// The lines, once all bytes were taken.
    const QByteArray& kept() const { return m_kept; }

    /// The same for bytes that are all there. Nothing when too much would have to be kept.
    static std::optional<QByteArray> of(QByteArrayView bytes);

  private:
    enum class Place { lineStart, name, line };

    qsizetype takeName(QByteArrayView rest);
    qsizetype takeLine(QByteArrayView rest);

    QByteArray m_kept;
    QByteArray m_name;
    Place m_place = Place::lineStart;
    bool m_isKept = false;
};

}  // namespace lumbro
