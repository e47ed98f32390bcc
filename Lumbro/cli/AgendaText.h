#pragma once

#include "cli/Output.h"
#include "meetings/formats/PrepEvent.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

/// Meetings as commands print them.
namespace lumbro::cli {

/// `id`, `key`, `title`, `start`, `end`, `attendees`, `link`, `app` and, with a brief, its capture's id.
QJsonObject meetingJson(const MeetingOffer& meeting);

/// A table with the time, the title, the people, the place and whether there is a brief.
QString meetingTable(const Output& output, const QList<MeetingOffer>& meetings, const QDateTime& now);

/// "Mar 2, 2026 at 2:30 PM, in 5 min, with Ann Lee, Bo".
QString meetingLine(const PrepEvent& event, const QDateTime& now);

/// Says on standard error what is missing in a calendar, a few sentences at most.
void sayLeftOut(Output& output, const QStringList& sentences);

}  // namespace lumbro::cli
