#pragma once

#include <QByteArray>

namespace lumbro {

/// The text of a calendar file before the calendar library gets it. Any bytes, any thread.
struct IcalText {
    /// The library makes a structure for each line, a large one for each rule, and calls itself for what is
    /// nested. False for a text that would take it too much memory or go down too far.
    static bool isBounded(const QByteArray& bytes);
    /// Without the descriptions of zones that the system knows better: they are half of most files, and the
    /// library takes as long for them as for the event.
    static QByteArray withoutKnownZones(const QByteArray& bytes);
    /// What is complete of a calendar that breaks off. Empty when nothing is.
    static QByteArray completePart(const QByteArray& bytes);
    /// The text ends as a calendar does.
    static bool isWhole(QByteArrayView bytes);
};

}  // namespace lumbro
