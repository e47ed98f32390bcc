#pragma once

#include <QDateTime>
#include <QString>
#include <QStringView>

#include <optional>

/// The one place that writes and reads dates as text.
namespace lumbro::dates {

/// ISO 8601 in UTC with seconds, for example "2026-03-02T13:30:00Z".
QString iso(const QDateTime& date);
/// The reverse of `iso`; also takes an offset and fractional seconds. The result is in local time.
std::optional<QDateTime> fromIso(QStringView text);
/// "yyyy-MM-dd-HHmm" in local time: the stamp of capture folders.
QString folderStamp(const QDateTime& date);
/// "yyyy-MM-dd-HHmmss" in local time: the stamp of the runs of a watched folder.
QString inboxStamp(const QDateTime& date);
/// "yyyy-MM-dd" in local time: the form of dates in memory files.
QString day(const QDateTime& date);
/// "yyyy-MM-dd HH:mm:ss.SSS" in local time: the stamp of log lines.
QString logStamp(const QDateTime& date);
/// Abbreviated date for people, for example "Mar 2, 2026".
QString readableDay(const QDateTime& date);
/// Abbreviated date and short time for people, for example "Mar 2, 2026 at 2:30 PM".
QString readable(const QDateTime& date);
/// Day of the week, date and short time for people, for example "Monday, March 2, 2026 at 2:30 PM".
QString longReadable(const QDateTime& date);
/// Short time of day for people, for example "2:30 PM".
QString shortTime(const QDateTime& date);

}  // namespace lumbro::dates
